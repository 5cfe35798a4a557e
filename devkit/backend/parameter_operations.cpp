#include "operations.h"

#include "value_types.h"

#include <map>

static constexpr uint32_t kResultGood = 0;
static constexpr std::string_view kParameterKeyName = "InternetGatewayDevice.ManagementServer.ParameterKey";

/// A request that carries no path names the root without its "."; an empty path means the same.
static std::string_view resolvePath(std::string_view name)
{
    return name.empty() || name == kRootPath.substr(0, kRootPath.size() - 1) ? kRootPath : name;
}

static Refusal unknownName(std::string_view name)
{
    return {kFaultInvalidName, "no parameter \"" + std::string(name) + '"'};
}

/// Calls visit(name, node) for the parameter, or for each one below the object. Throws when there is no such
/// name.
template <typename Visit>
static void forEachParameter(Gateway &gateway, std::string_view name, Visit visit)
{
    const std::string_view path = resolvePath(name);
    const auto found = gateway.tree.find(path);
    if (found == gateway.tree.end())
        throw unknownName(name);
    if (!isObjectName(path))
        return visit(found->first, found->second);
    forEachBelow(gateway.tree, path, [&](const auto &entry) {
        if (!isObjectName(entry.first))
            visit(entry.first, entry.second);
    });
}

/// What a reply lists: a count, and that many strings.
struct StringList {
    std::string strings;
    uint32_t count = 0;
};

static void finishList(Exchange &exchange, const StringList &list)
{
    appendU32(exchange.reply, kResultGood);
    appendU32(exchange.reply, list.count);
    exchange.reply += list.strings;
}

static void appendValue(StringList &list, const std::string &name, const Node &node)
{
    list.strings.append(name).append(1, ' ').append(wordOfType(node.type)).append(1, '=');
    appendText(list.strings, node.value);
    ++list.count;
}

void getValues(Gateway &gateway, Exchange &exchange)
{
    StringList list;
    const uint32_t count = takeCount(exchange.request);
    for (uint32_t i = 0; i < count; ++i)
        forEachParameter(gateway, takeText(exchange.request),
                         [&](const std::string &name, const Node &node) { appendValue(list, name, node); });
    finishList(exchange, list);
    exchange.note = std::to_string(count) + " names, " + std::to_string(list.count) + " values";
}

/// Why the parameter cannot be set so; 0 when it can.
static int findFault(const Gateway &gateway, std::string_view name, std::string_view value)
{
    const auto found = gateway.tree.find(name);
    if (found == gateway.tree.end() || isObjectName(name))
        return kFaultInvalidName;
    if (found->second.writable == kReadOnly)
        return kFaultNotWritable;
    return checkValue(parseValueType(found->second.type), value);
}

static std::vector<Setting> takeSettings(BodyReader &request)
{
    std::vector<Setting> settings;
    const uint32_t count = takeCount(request);
    for (uint32_t i = 0; i < count; ++i) {
        const std::string_view text = takeText(request);
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            throw BadInput("a parameter without its \"=\"");
        settings.push_back({std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))});
    }
    return settings;
}

void setValues(Gateway &gateway, Exchange &exchange)
{
    const std::vector<Setting> settings = takeSettings(exchange.request);
    std::vector<ParameterFault> faults;
    for (const Setting &setting : settings) {
        const int fault = findFault(gateway, setting.name, setting.value);
        if (fault != 0)
            faults.push_back({setting.name, fault});
    }
    if (!faults.empty())
        throw Refusal(kFaultInvalidArguments, "parameters at fault", faults);
    bool atReboot = false;
    for (const Setting &setting : settings) {
        Node node = gateway.tree.at(setting.name);
        atReboot = atReboot || (node.writable == kWritableAtReboot && node.value != setting.value);
        node.value = setting.value;
        stageNode(gateway, setting.name, node);
    }
    appendU32(exchange.reply, kResultGood);
    appendU32(exchange.reply, atReboot ? 1 : 0);
    exchange.note =
        std::to_string(settings.size()) + " parameters" + (atReboot ? ", in effect after a reboot" : "");
}

static void appendName(StringList &list, const std::string &name, const Node &node)
{
    // The bus has no closing quote here, nor in the access lists below.
    appendText(list.strings, name + " Writable=\"" + (node.writable == kReadOnly ? '0' : '1'));
    ++list.count;
}

static bool isDirectlyBelow(std::string_view name, std::string_view path)
{
    return name.size() > path.size() && parentOfPath(name).size() == path.size();
}

void getNames(Gateway &gateway, Exchange &exchange)
{
    const bool nextLevel = takeU8(exchange.request) > 0;
    const std::string_view name = takeText(exchange.request);
    const std::string_view path = resolvePath(name);
    const auto found = gateway.tree.find(path);
    if (found == gateway.tree.end())
        throw unknownName(name);
    if (nextLevel && !isObjectName(path))
        throw Refusal(kFaultInvalidArguments, "nothing is on the level below a parameter");
    StringList list;
    if (!isObjectName(path) || (name.empty() && nextLevel)) // below the empty path there is the root alone
        appendName(list, found->first, found->second);
    else
        forEachBelow(gateway.tree, path, [&](const auto &entry) {
            if (!nextLevel || isDirectlyBelow(entry.first, path))
                appendName(list, entry.first, entry.second);
        });
    finishList(exchange, list);
    exchange.note = std::to_string(list.count) + " names";
}

void getAttributes(Gateway &gateway, Exchange &exchange)
{
    StringList list;
    const uint32_t count = takeCount(exchange.request);
    for (uint32_t i = 0; i < count; ++i)
        forEachParameter(gateway, takeText(exchange.request), [&](const std::string &name, const Node &node) {
            appendText(list.strings, name + " Notification=\"" + std::to_string(node.notification) +
                                         "\" AccessList=\"" + node.accessList);
            ++list.count;
        });
    finishList(exchange, list);
    exchange.note = std::to_string(count) + " names, " + std::to_string(list.count) + " parameters";
}

/// What a set-attributes string asks for: NAME[ Notification="N"][ AccessList="ENTRY ENTRY...], the last
/// quote open.
struct AttributeChange {
    std::string_view name;
    std::optional<int> notification;
    std::optional<std::string_view> accessList;
};

static AttributeChange parseAttributeChange(std::string_view text)
{
    static constexpr std::string_view kNotification = " Notification=\"";
    static constexpr std::string_view kAccessList = " AccessList=\"";
    AttributeChange change;
    change.name = text.substr(0, text.find(' '));
    text.remove_prefix(change.name.size());
    if (startsWith(text, kNotification)) {
        text.remove_prefix(kNotification.size());
        const size_t end = text.find('"');
        if (end != 1 || text[0] < '0' || text[0] > '2')
            throw Refusal(kFaultInvalidArguments, "a notification other than 0, 1 and 2");
        change.notification = text[0] - '0';
        text.remove_prefix(end + 1);
    }
    if (startsWith(text, kAccessList)) {
        change.accessList = text.substr(kAccessList.size());
        if (!change.accessList->empty() && change.accessList->back() == '"')
            change.accessList->remove_suffix(1);
    } else if (!text.empty()) {
        throw BadInput("neither Notification nor AccessList behind a name");
    }
    return change;
}

void setAttributes(Gateway &gateway, Exchange &exchange)
{
    // Collected before the first is staged: all or nothing, and the tree stands still while it is walked.
    std::map<std::string, Node> changed;
    const uint32_t count = takeCount(exchange.request);
    for (uint32_t i = 0; i < count; ++i) {
        const AttributeChange change = parseAttributeChange(takeText(exchange.request));
        forEachParameter(gateway, change.name, [&](const std::string &name, const Node &node) {
            Node &now = changed.emplace(name, node).first->second;
            now.notification = change.notification.value_or(now.notification);
            if (change.accessList.has_value())
                now.accessList = *change.accessList;
        });
    }
    for (const auto &[name, node] : changed)
        stageNode(gateway, name, node);
    appendU32(exchange.reply, kResultGood);
    exchange.note = std::to_string(count) + " names, " + std::to_string(changed.size()) + " parameters";
}

void getChangedValues(Gateway &gateway, Exchange &exchange)
{
    // The request asks by one fixed word, which says nothing more.
    const uint32_t count = takeCount(exchange.request);
    for (uint32_t i = 0; i < count; ++i)
        takeText(exchange.request);
    StringList list;
    for (const ChangeRow &change : listChanges(gateway.store)) {
        gateway.reportedChange = change.id;
        const auto found = gateway.tree.find(change.name);
        if (found != gateway.tree.end())
            appendValue(list, found->first, found->second);
    }
    finishList(exchange, list);
    exchange.note = std::to_string(list.count) + " values";
}

void clearChanges(Gateway &gateway, Exchange &exchange)
{
    eraseChangesUpTo(gateway.store, gateway.reportedChange);
    exchange.note = "done";
}

void commit(Gateway &gateway, Exchange &exchange)
{
    exchange.note = std::to_string(gateway.staged.size()) + " nodes";
    commitStaged(gateway);
}

void setParameterKey(Gateway &gateway, Exchange &exchange)
{
    const std::string key(takeText(exchange.request));
    // Behind a set it comes after the commit and stands by itself; behind an added or deleted object it comes
    // before the commit and belongs to it.
    const bool isPartOfMore = !gateway.staged.empty();
    const auto found = gateway.tree.find(kParameterKeyName);
    if (found == gateway.tree.end())
        throw unknownName(kParameterKeyName);
    Node node = found->second;
    node.value = key;
    stageNode(gateway, found->first, node);
    if (!isPartOfMore)
        commitStaged(gateway);
    exchange.note = '"' + key + '"' + (isPartOfMore ? ", to be committed" : "");
}
