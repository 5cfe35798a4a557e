#include "gateway.h"

#include "value_types.h"

#include <stdexcept>

static void applySettings(Gateway &gateway)
{
    for (const Setting &setting : gateway.settings) {
        const auto found = gateway.tree.find(setting.name);
        if (found == gateway.tree.end() || isObjectName(setting.name))
            throw std::runtime_error("no parameter " + setting.name);
        Node node = found->second;
        node.value = setting.value;
        if (checkValue(parseValueType(node.type), node.value) != 0)
            throw std::runtime_error("a value that " + setting.name + " cannot hold: " + setting.value);
        stageNode(gateway, setting.name, node);
    }
}

/// The tree of a new gateway, in the store and in memory. Inside of a transaction.
static void fillStore(Gateway &gateway)
{
    gateway.tree = gateway.model.factory;
    applySettings(gateway);
    gateway.staged.clear(); // presets are no changes
    eraseHistory(gateway.store);
    eraseAllNodes(gateway.store);
    for (const auto &[name, node] : gateway.tree)
        saveNode(gateway.store, name, node);
    addEvent(gateway.store, "0 BOOTSTRAP", "");
    addEvent(gateway.store, "1 BOOT", "");
}

void keepTransferEvent(Gateway &gateway)
{
    if (!oldestTransferComplete(gateway.store).has_value())
        return;
    for (const EventRow &event : listEvents(gateway.store))
        if (event.code == "7 TRANSFER COMPLETE")
            return;
    addEvent(gateway.store, "7 TRANSFER COMPLETE", "");
}

Gateway openGateway(DataModel model, const std::string &storePath, std::vector<Setting> settings)
{
    Gateway gateway;
    bool isNew = false;
    gateway.model = std::move(model);
    gateway.settings = std::move(settings);
    gateway.store = openStore(storePath, &isNew);
    if (isNew) {
        Transaction transaction(gateway.store);
        fillStore(gateway);
        markStoreFilled(gateway.store);
        transaction.end();
        return gateway;
    }
    gateway.tree = loadTree(gateway.store);
    applySettings(gateway);
    commitStaged(gateway);
    keepTransferEvent(gateway);
    return gateway;
}

void stageNode(Gateway &gateway, const std::string &name, const std::optional<Node> &node)
{
    const auto found = gateway.tree.find(name);
    if (gateway.staged.count(name) == 0)
        gateway.staged[name] =
            found == gateway.tree.end() ? std::nullopt : std::optional<Node>(found->second);
    if (node.has_value())
        gateway.tree[name] = *node;
    else
        gateway.tree.erase(name);
}

/// A value that differs from the committed one is reported in the next session when its notification says so;
/// with active notification it also causes that session. Who made the change is not asked: the server may be
/// told of its own, and whoever watches a desk wants to see the report.
static void noteChange(Gateway &gateway, const std::string &name, const Node &node,
                       const std::optional<Node> &before)
{
    if (node.notification == 0 || !before.has_value() || before->value == node.value)
        return;
    addChange(gateway.store, name);
    if (node.notification == 2)
        addEvent(gateway.store, "4 VALUE CHANGE", "");
}

void commitStaged(Gateway &gateway)
{
    if (gateway.staged.empty())
        return;
    Transaction transaction(gateway.store);
    for (const auto &[name, before] : gateway.staged) {
        const auto now = gateway.tree.find(name);
        if (now == gateway.tree.end()) {
            eraseNode(gateway.store, name);
            continue;
        }
        saveNode(gateway.store, name, now->second);
        noteChange(gateway, name, now->second, before);
    }
    transaction.end();
    gateway.staged.clear();
}

std::string committedValue(const Gateway &gateway, const std::string &name)
{
    const auto staged = gateway.staged.find(name);
    if (staged != gateway.staged.end())
        return staged->second.has_value() ? staged->second->value : "";
    const auto found = gateway.tree.find(name);
    return found == gateway.tree.end() ? "" : found->second.value;
}

void writeOwnValues(Gateway &gateway, const std::vector<Setting> &values)
{
    Transaction transaction(gateway.store);
    for (const Setting &setting : values) {
        const auto found = gateway.tree.find(setting.name);
        if (found == gateway.tree.end())
            continue;
        // The tree has the session's value where it has staged one; what is committed then stands aside.
        const auto staged = gateway.staged.find(setting.name);
        const bool isAside = staged != gateway.staged.end() && staged->second.has_value();
        Node &node = isAside ? *staged->second : found->second;
        const Node before = node;
        node.value = setting.value;
        saveNode(gateway.store, setting.name, node);
        noteChange(gateway, setting.name, node, before);
    }
    transaction.end();
}

void discardStaged(Gateway &gateway)
{
    for (const auto &[name, before] : gateway.staged) {
        if (before.has_value())
            gateway.tree[name] = *before;
        else
            gateway.tree.erase(name);
    }
    gateway.staged.clear();
}

void endSession(Gateway &gateway)
{
    discardStaged(gateway);
    if (gateway.toldTransfer == 0)
        return;
    Transaction transaction(gateway.store);
    eraseTransferComplete(gateway.store, gateway.toldTransfer);
    keepTransferEvent(gateway);
    transaction.end();
    gateway.toldTransfer = 0;
}

void reboot(Gateway &gateway, const std::string &commandKey)
{
    discardStaged(gateway);
    Transaction transaction(gateway.store);
    if (!commandKey.empty())
        addEvent(gateway.store, "M Reboot", commandKey);
    addEvent(gateway.store, "1 BOOT", "");
    transaction.end();
    gateway.rebootOrdered = true;
}

void resetToFactory(Gateway &gateway)
{
    discardStaged(gateway);
    gateway.toldTransfer = 0;
    try {
        Transaction transaction(gateway.store);
        fillStore(gateway);
        transaction.end();
        gateway.rebootOrdered = true;
    } catch (...) {
        gateway.tree = loadTree(gateway.store);
        throw;
    }
}

void raiseDueSchedules(Gateway &gateway, int64_t now)
{
    Transaction transaction(gateway.store);
    for (const std::string &key : takeDueSchedules(gateway.store, now)) {
        addEvent(gateway.store, "3 SCHEDULED", "");
        addEvent(gateway.store, "M ScheduleInform", key);
    }
    transaction.end();
}
