#pragma once

#include "parameter_tree.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

// What outlives the process, in one SQLite file. A process that is killed leaves every finished transaction
// in it and nothing of an unfinished one. All calls throw std::runtime_error when SQLite fails.

using StatementOwner = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

struct Store {
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database{nullptr, sqlite3_close};
    std::unordered_map<std::string, StatementOwner> statements; ///< by their SQL, prepared once
};

/// Everything until the outermost end() of it is one transaction; without end() it is taken back.
struct Transaction {
    explicit Transaction(Store &store);
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;
    ~Transaction();
    void end();

    Store &store;
    bool isOutermost; ///< one inside of another is part of it
};

/// Opens or creates the file. *isNew: it holds no gateway yet, and tables without rows.
Store openStore(const std::string &path, bool *isNew);

/// Tells the store that it holds a gateway now; belongs into the transaction that fills it.
void markStoreFilled(Store &store);

// Parameters.

Tree loadTree(Store &store);
void saveNode(Store &store, const std::string &name, const Node &node);
void eraseNode(Store &store, const std::string &name);
void eraseAllNodes(Store &store);

/// The next instance number of a table: above every one that it ever gave, and above `highest`. Spent when
/// returned.
uint32_t takeInstanceNumber(Store &store, const std::string &tablePath, uint32_t highest);

// Values that changed since they were last reported, by parameter name.

struct ChangeRow {
    int64_t id; ///< rises with every change
    std::string name;
};
void addChange(Store &store, const std::string &name);
std::vector<ChangeRow> listChanges(Store &store);
void eraseChangesUpTo(Store &store, int64_t id);

// Pending events, in the order in which they arose.

struct EventRow {
    int64_t id;
    std::string code;       ///< "1 BOOT", "M Reboot"
    std::string commandKey; ///< may be empty
};

/// Adds an event. Those of multiple kind ("M ...") stand once for each cause; any other stands once, as the
/// latest.
void addEvent(Store &store, const std::string &code, const std::string &commandKey);
std::vector<EventRow> listEvents(Store &store);
void eraseEventsUpTo(Store &store, int64_t id);

// Transfers that the server ordered, and finished ones that it was not told of yet.

struct TransferRow {
    int64_t id; ///< given by the store
    bool isUpload;
    int64_t due; ///< seconds since the epoch
    std::string commandKey, fileType, url, username, password;
    uint32_t fileSize; ///< bytes, 0 when not known; downloads only, as what follows
    std::string targetFileName, successUrl, failureUrl;
};
void addTransfer(Store &store, const TransferRow &transfer);
int64_t countTransfers(Store &store);

/// The one to be done first.
std::optional<TransferRow> earliestTransfer(Store &store);
void eraseTransfer(Store &store, int64_t id);

struct TransferCompleteRow {
    int64_t id;
    std::string commandKey;
    std::string faultCode; ///< decimal; "0" when it went well
    std::string startTime, completeTime;
};
void addTransferComplete(Store &store, const TransferCompleteRow &complete);
std::optional<TransferCompleteRow> oldestTransferComplete(Store &store);
void eraseTransferComplete(Store &store, int64_t id);

// Sessions that the server asked for by ScheduleInform.

void addSchedule(Store &store, int64_t due, const std::string &commandKey);

/// When the first of them is due, in seconds since the epoch.
std::optional<int64_t> earliestSchedule(Store &store);

/// Takes those due at that time or before out of the store; returns their command keys, the earliest first.
std::vector<std::string> takeDueSchedules(Store &store, int64_t now);

/// Forgets events, changes, transfers and schedules, as a factory reset does. Spent instance numbers stay
/// spent.
void eraseHistory(Store &store);

/// Every row of every table as a line of text, for a person or a test to read.
std::vector<std::string> dumpStore(Store &store);
