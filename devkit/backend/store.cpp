#include "store.h"

#include <stdexcept>

static constexpr int kStoreVersion = 1;

static constexpr const char *kSchema =
    "CREATE TABLE parameters(name TEXT PRIMARY KEY, type TEXT NOT NULL, value TEXT NOT NULL,"
    " writable INTEGER NOT NULL, notification INTEGER NOT NULL, access_list TEXT NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE instances(path TEXT PRIMARY KEY, last INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE changes(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE);"
    "CREATE TABLE events(id INTEGER PRIMARY KEY AUTOINCREMENT, code TEXT NOT NULL, command_key TEXT NOT "
    "NULL);"
    "CREATE TABLE transfers(id INTEGER PRIMARY KEY AUTOINCREMENT, is_upload INTEGER NOT NULL, due INTEGER "
    "NOT NULL,"
    " command_key TEXT, file_type TEXT, url TEXT, username TEXT, password TEXT, file_size INTEGER,"
    " target_file_name TEXT, success_url TEXT, failure_url TEXT);"
    "CREATE TABLE transfer_completes(id INTEGER PRIMARY KEY AUTOINCREMENT, command_key TEXT NOT NULL,"
    " fault_code TEXT NOT NULL, start_time TEXT NOT NULL, complete_time TEXT NOT NULL);"
    "CREATE TABLE schedules(id INTEGER PRIMARY KEY AUTOINCREMENT, due INTEGER NOT NULL, command_key TEXT NOT "
    "NULL);";

using Value = std::variant<int64_t, std::string>;

static std::runtime_error storeError(const Store &store)
{
    return std::runtime_error(std::string("store: ") + sqlite3_errmsg(store.database.get()));
}

static void runScript(Store &store, const std::string &sql)
{
    if (sqlite3_exec(store.database.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw storeError(store);
}

static sqlite3_stmt *prepare(Store &store, const char *sql)
{
    const auto known = store.statements.find(sql);
    if (known != store.statements.end())
        return known->second.get();
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(store.database.get(), sql, -1, &statement, nullptr) != SQLITE_OK)
        throw storeError(store);
    store.statements.emplace(sql, StatementOwner(statement, sqlite3_finalize));
    return statement;
}

static int64_t integerOf(sqlite3_stmt *row, int column)
{
    return sqlite3_column_int64(row, column);
}

static std::string textOf(sqlite3_stmt *row, int column)
{
    const unsigned char *text = sqlite3_column_text(row, column);
    const int length = sqlite3_column_bytes(row, column);
    return text == nullptr ? std::string()
                           : std::string(reinterpret_cast<const char *>(text), static_cast<size_t>(length));
}

/// Runs a statement with its values bound, and visit(row) for each row of its result. Values may be borrowed:
/// they outlive the call.
template <typename Visit>
static void query(Store &store, const char *sql, std::initializer_list<Value> values, Visit visit)
{
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_reset)> statement(prepare(store, sql),
                                                                            sqlite3_reset);
    int column = 0;
    for (const Value &value : values) {
        const std::string *text = std::get_if<std::string>(&value);
        if (text != nullptr)
            sqlite3_bind_text(statement.get(), ++column, text->data(), static_cast<int>(text->size()),
                              SQLITE_STATIC);
        else
            sqlite3_bind_int64(statement.get(), ++column, std::get<int64_t>(value));
    }
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement.get())) == SQLITE_ROW)
        visit(statement.get());
    if (result != SQLITE_DONE)
        throw storeError(store);
}

static void execute(Store &store, const char *sql, std::initializer_list<Value> values = {})
{
    query(store, sql, values, [](sqlite3_stmt *) {});
}

static int64_t queryInteger(Store &store, const char *sql, std::initializer_list<Value> values = {})
{
    int64_t number = 0;
    query(store, sql, values, [&](sqlite3_stmt *row) { number = integerOf(row, 0); });
    return number;
}

Transaction::Transaction(Store &ofStore)
    : store(ofStore), isOutermost(sqlite3_get_autocommit(ofStore.database.get()) != 0)
{
    if (isOutermost)
        execute(store, "BEGIN IMMEDIATE");
}

void Transaction::end()
{
    if (isOutermost)
        execute(store, "COMMIT");
}

Transaction::~Transaction()
{
    if (isOutermost && sqlite3_get_autocommit(store.database.get()) == 0)
        sqlite3_exec(store.database.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

Store openStore(const std::string &path, bool *isNew)
{
    Store store;
    sqlite3 *database = nullptr;
    const int opened = sqlite3_open(path.c_str(), &database);
    store.database.reset(database);
    if (opened != SQLITE_OK)
        throw std::runtime_error(path + ": " + sqlite3_errmsg(database));
    sqlite3_busy_timeout(database, 1000); // milliseconds; somebody may be reading along
    // A write-ahead log that is not synchronised at each commit: it survives the process's death, which is
    // what a desk sees, without waiting for a disk.
    runScript(store, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
    const int64_t version = queryInteger(store, "PRAGMA user_version");
    *isNew = version == 0;
    if (!*isNew && version != kStoreVersion)
        throw std::runtime_error(path + ": no store of this gatewayd");
    if (*isNew && queryInteger(store, "SELECT count(*) FROM sqlite_master") == 0)
        runScript(store, std::string("BEGIN;") + kSchema + "COMMIT;");
    return store;
}

void markStoreFilled(Store &store)
{
    runScript(store, "PRAGMA user_version=" + std::to_string(kStoreVersion));
}

Tree loadTree(Store &store)
{
    Tree tree;
    query(store, "SELECT name, type, value, writable, notification, access_list FROM parameters", {},
          [&](sqlite3_stmt *row) {
              tree[textOf(row, 0)] = {textOf(row, 1), textOf(row, 2), static_cast<int>(integerOf(row, 3)),
                                      static_cast<int>(integerOf(row, 4)), textOf(row, 5)};
          });
    return tree;
}

void saveNode(Store &store, const std::string &name, const Node &node)
{
    execute(
        store, "INSERT OR REPLACE INTO parameters VALUES(?,?,?,?,?,?)",
        {name, node.type, node.value, int64_t{node.writable}, int64_t{node.notification}, node.accessList});
}

void eraseNode(Store &store, const std::string &name)
{
    execute(store, "DELETE FROM parameters WHERE name=?", {name});
}

void eraseAllNodes(Store &store)
{
    execute(store, "DELETE FROM parameters");
}

uint32_t takeInstanceNumber(Store &store, const std::string &tablePath, uint32_t highest)
{
    const int64_t last = queryInteger(store, "SELECT last FROM instances WHERE path=?", {tablePath});
    const int64_t next = std::max(last, int64_t{highest}) + 1;
    execute(store, "INSERT OR REPLACE INTO instances VALUES(?,?)", {tablePath, next});
    return static_cast<uint32_t>(next);
}

void addChange(Store &store, const std::string &name)
{
    execute(store, "INSERT OR REPLACE INTO changes(name) VALUES(?)", {name});
}

std::vector<ChangeRow> listChanges(Store &store)
{
    std::vector<ChangeRow> changes;
    query(store, "SELECT id, name FROM changes ORDER BY id", {}, [&](sqlite3_stmt *row) {
        changes.push_back({integerOf(row, 0), textOf(row, 1)});
    });
    return changes;
}

void eraseChangesUpTo(Store &store, int64_t id)
{
    execute(store, "DELETE FROM changes WHERE id<=?", {id});
}

void addEvent(Store &store, const std::string &code, const std::string &commandKey)
{
    Transaction transaction(store);
    if (!startsWith(code, "M "))
        execute(store, "DELETE FROM events WHERE code=?", {code});
    execute(store, "INSERT INTO events(code, command_key) VALUES(?,?)", {code, commandKey});
    transaction.end();
}

std::vector<EventRow> listEvents(Store &store)
{
    std::vector<EventRow> events;
    query(store, "SELECT id, code, command_key FROM events ORDER BY id", {}, [&](sqlite3_stmt *row) {
        events.push_back({integerOf(row, 0), textOf(row, 1), textOf(row, 2)});
    });
    return events;
}

void eraseEventsUpTo(Store &store, int64_t id)
{
    execute(store, "DELETE FROM events WHERE id<=?", {id});
}

void addTransfer(Store &store, const TransferRow &transfer)
{
    execute(
        store,
        "INSERT INTO transfers(is_upload, due, command_key, file_type, url, username, password, file_size,"
        " target_file_name, success_url, failure_url) VALUES(?,?,?,?,?,?,?,?,?,?,?)",
        {int64_t{transfer.isUpload}, transfer.due, transfer.commandKey, transfer.fileType, transfer.url,
         transfer.username, transfer.password, int64_t{transfer.fileSize}, transfer.targetFileName,
         transfer.successUrl, transfer.failureUrl});
}

int64_t countTransfers(Store &store)
{
    return queryInteger(store, "SELECT count(*) FROM transfers");
}

std::optional<TransferRow> earliestTransfer(Store &store)
{
    std::optional<TransferRow> earliest;
    query(store,
          "SELECT id, is_upload, due, command_key, file_type, url, username, password, file_size,"
          " target_file_name, success_url, failure_url FROM transfers ORDER BY due, id LIMIT 1",
          {}, [&](sqlite3_stmt *row) {
              earliest = {integerOf(row, 0), integerOf(row, 1) != 0, integerOf(row, 2),
                          textOf(row, 3),    textOf(row, 4),         textOf(row, 5),
                          textOf(row, 6),    textOf(row, 7),         static_cast<uint32_t>(integerOf(row, 8)),
                          textOf(row, 9),    textOf(row, 10),        textOf(row, 11)};
          });
    return earliest;
}

void eraseTransfer(Store &store, int64_t id)
{
    execute(store, "DELETE FROM transfers WHERE id=?", {id});
}

void addTransferComplete(Store &store, const TransferCompleteRow &complete)
{
    execute(
        store,
        "INSERT INTO transfer_completes(command_key, fault_code, start_time, complete_time) VALUES(?,?,?,?)",
        {complete.commandKey, complete.faultCode, complete.startTime, complete.completeTime});
}

std::optional<TransferCompleteRow> oldestTransferComplete(Store &store)
{
    std::optional<TransferCompleteRow> oldest;
    query(store,
          "SELECT id, command_key, fault_code, start_time, complete_time FROM transfer_completes"
          " ORDER BY id LIMIT 1",
          {}, [&](sqlite3_stmt *row) {
              oldest = {integerOf(row, 0), textOf(row, 1), textOf(row, 2), textOf(row, 3), textOf(row, 4)};
          });
    return oldest;
}

void eraseTransferComplete(Store &store, int64_t id)
{
    execute(store, "DELETE FROM transfer_completes WHERE id=?", {id});
}

void addSchedule(Store &store, int64_t due, const std::string &commandKey)
{
    execute(store, "INSERT INTO schedules(due, command_key) VALUES(?,?)", {due, commandKey});
}

std::optional<int64_t> earliestSchedule(Store &store)
{
    std::optional<int64_t> earliest;
    query(store, "SELECT due FROM schedules ORDER BY due LIMIT 1", {},
          [&](sqlite3_stmt *row) { earliest = integerOf(row, 0); });
    return earliest;
}

std::vector<std::string> takeDueSchedules(Store &store, int64_t now)
{
    std::vector<std::string> keys;
    query(store, "SELECT command_key FROM schedules WHERE due<=? ORDER BY due, id", {now},
          [&](sqlite3_stmt *row) { keys.push_back(textOf(row, 0)); });
    execute(store, "DELETE FROM schedules WHERE due<=?", {now});
    return keys;
}

void eraseHistory(Store &store)
{
    for (const char *sql : {"DELETE FROM changes", "DELETE FROM events", "DELETE FROM transfers",
                            "DELETE FROM transfer_completes", "DELETE FROM schedules"})
        execute(store, sql);
}

std::vector<std::string> dumpStore(Store &store)
{
    std::vector<std::string> lines;
    for (const auto &[name, node] : loadTree(store))
        lines.push_back(name + ' ' + (node.type.empty() ? "object" : node.type) + '=' + node.value +
                        " [writable " + std::to_string(node.writable) + ", notification " +
                        std::to_string(node.notification) + ", access list \"" + node.accessList + "\"]");
    const auto addRows = [&](const char *title, const char *sql) {
        query(store, sql, {}, [&](sqlite3_stmt *row) {
            std::string line = title;
            for (int column = 0; column < sqlite3_column_count(row); ++column)
                line += std::string(column == 0 ? " " : ", ") + sqlite3_column_name(row, column) + '=' +
                        textOf(row, column);
            lines.push_back(line);
        });
    };
    addRows("instances", "SELECT path, last FROM instances ORDER BY path");
    addRows("change", "SELECT name FROM changes ORDER BY id");
    addRows("event", "SELECT code, command_key FROM events ORDER BY id");
    addRows("transfer", "SELECT is_upload, command_key, file_type, url, username, file_size, target_file_name"
                        " FROM transfers ORDER BY id");
    addRows("transfer complete", "SELECT command_key, fault_code, start_time, complete_time"
                                 " FROM transfer_completes ORDER BY id");
    addRows("schedule", "SELECT due, command_key FROM schedules ORDER BY due, id");
    return lines;
}
