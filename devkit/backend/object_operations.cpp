#include "operations.h"

#include <algorithm>
#include <charconv>

/// The number of the highest instance of the table; 0 when it has none.
static uint32_t highestInstance(const Tree &tree, std::string_view tablePath)
{
    uint32_t highest = 0;
    forEachBelow(tree, tablePath, [&](const auto &entry) {
        if (entry.first.size() == tablePath.size())
            return;
        const std::string_view rest = std::string_view(entry.first).substr(tablePath.size());
        uint32_t number = 0;
        std::from_chars(rest.data(), rest.data() + rest.size(), number);
        highest = std::max(highest, number);
    });
    return highest;
}

static Refusal unknownObject(std::string_view path)
{
    return {kFaultInvalidName, "no object to add to or delete at \"" + std::string(path) + '"'};
}

/// The rule of a table that is there. Throws when there is none at that path.
static const TableRule &requireTable(const Gateway &gateway, std::string_view path)
{
    const TableRule *rule = isObjectName(path) ? findTable(gateway.model, path) : nullptr;
    if (rule == nullptr || gateway.tree.find(path) == gateway.tree.end())
        throw unknownObject(path);
    return *rule;
}

static void stageCounter(Gateway &gateway, std::string_view tablePath, const TableRule &rule)
{
    const auto counter = gateway.tree.find(std::string(parentOfPath(tablePath)) + rule.counter);
    if (rule.counter.empty() || counter == gateway.tree.end())
        return;
    Node node = counter->second;
    node.value = std::to_string(countInstances(gateway.tree, tablePath));
    stageNode(gateway, counter->first, node);
}

void addObject(Gateway &gateway, Exchange &exchange)
{
    const std::string table(takeText(exchange.request));
    const TableRule &rule = requireTable(gateway, table);
    if (countInstances(gateway.tree, table) >= rule.maximumInstances)
        throw Refusal(kFaultResourceExceeded, table + " is full");
    const uint32_t number = takeInstanceNumber(gateway.store, table, highestInstance(gateway.tree, table));
    const std::string path = table + std::to_string(number) + '.';
    for (const auto &[name, node] : makeInstance(gateway.model, path))
        stageNode(gateway, name, node);
    stageCounter(gateway, table, rule);
    appendU32(exchange.reply, 0);
    appendU32(exchange.reply, number);
    appendU32(exchange.reply, 0);
    exchange.note = path;
}

void deleteObject(Gateway &gateway, Exchange &exchange)
{
    const std::string path(takeText(exchange.request));
    const std::string table(parentOfPath(path));
    if (!isObjectName(path) || gateway.tree.find(path) == gateway.tree.end())
        throw unknownObject(path);
    const TableRule &rule = requireTable(gateway, table);
    std::vector<std::string> names;
    forEachBelow(gateway.tree, path, [&](const auto &entry) { names.push_back(entry.first); });
    for (const std::string &name : names)
        stageNode(gateway, name, std::nullopt);
    stageCounter(gateway, table, rule);
    appendU32(exchange.reply, 0);
    appendU32(exchange.reply, 0);
    exchange.note = path + ", " + std::to_string(names.size()) + " nodes";
}
