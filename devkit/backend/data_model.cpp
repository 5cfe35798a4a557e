#include "data_model.h"

#include "value_types.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <stdexcept>

static constexpr std::string_view kAnyInstance = "{i}";

struct ModelReader {
    DataModel model;
    std::string section; ///< the path of the object that the lines belong to
};

std::string patternOfPath(std::string_view path)
{
    std::string pattern;
    while (!path.empty()) {
        const size_t end = std::min(path.find('.'), path.size());
        pattern += isInstanceNumber(path.substr(0, end)) ? kAnyInstance : path.substr(0, end);
        if (end < path.size())
            pattern += '.';
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return pattern;
}

const TableRule *findTable(const DataModel &model, std::string_view path)
{
    const auto found = model.tables.find(patternOfPath(path));
    return found == model.tables.end() ? nullptr : &found->second;
}

Tree makeInstance(const DataModel &model, std::string_view path)
{
    Tree instance;
    const std::string pattern = patternOfPath(path);
    forEachBelow(model.templates, pattern, [&](const auto &entry) {
        const std::string_view rest = std::string_view(entry.first).substr(pattern.size());
        if (rest.find(kAnyInstance) == std::string_view::npos)
            instance.emplace(std::string(path).append(rest), entry.second);
    });
    return instance;
}

uint32_t countInstances(const Tree &tree, std::string_view tablePath)
{
    uint32_t count = 0;
    forEachBelow(tree, tablePath, [&](const auto &entry) {
        count += entry.first.size() > tablePath.size() && isObjectName(entry.first) &&
                 parentOfPath(entry.first) == tablePath;
    });
    return count;
}

static bool isTemplate(std::string_view path)
{
    return path.find(kAnyInstance) != std::string_view::npos;
}

static Tree &treeOf(ModelReader &reader, std::string_view path)
{
    return isTemplate(path) ? reader.model.templates : reader.model.factory;
}

static uint32_t readCount(const std::string &text)
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw std::runtime_error("not a number: " + text);
    return number;
}

/// Puts the object into its tree, with those above it.
static void addObjects(ModelReader &reader, std::string_view path)
{
    Tree &tree = treeOf(reader, path);
    for (std::string_view object = path; !object.empty(); object = parentOfPath(object))
        if (isTemplate(object) == isTemplate(path))
            tree.emplace(object, Node());
}

static void readSection(ModelReader &reader, const std::string &line)
{
    const size_t end = line.find(']');
    reader.section = line.substr(1, end == std::string::npos ? end : end - 1);
    if (end == std::string::npos || !isObjectName(reader.section))
        throw std::runtime_error("a section is [PATH.]");
    if (isTemplate(reader.section))
        reader.section = patternOfPath(reader.section);
    else if (isInstanceNumber(lastSegment(reader.section)))
        reader.model.factory.merge(
            makeInstance(reader.model, reader.section)); // what stands there already stays
    addObjects(reader, reader.section);
    std::istringstream words(line.substr(end + 1));
    std::string word;
    std::string limit;
    std::string counter;
    if (!(words >> word))
        return;
    if (word != "table" || !(words >> limit >> counter))
        throw std::runtime_error("after the path: table LIMIT COUNTER, or nothing");
    reader.model.tables[patternOfPath(reader.section)] = {readCount(limit), counter == "-" ? "" : counter};
}

static std::string readValue(std::istringstream &words)
{
    std::string raw;
    std::getline(words >> std::ws, raw);
    std::string value;
    for (size_t at = 0; at < raw.size(); ++at) {
        if (raw.compare(at, 2, "\\x") != 0) {
            value += raw[at];
            continue;
        }
        unsigned int byte = 0;
        const char *digits = raw.data() + std::min(at + 2, raw.size());
        const char *end = raw.data() + std::min(at + 4, raw.size());
        if (std::from_chars(digits, end, byte, 16).ptr != digits + 2)
            throw std::runtime_error("\\x and two hexadecimal digits");
        value += static_cast<char>(byte);
        at += 3;
    }
    return value;
}

static int readWritable(const std::string &word)
{
    if (word != "ro" && word != "rw" && word != "boot")
        throw std::runtime_error("ro, rw or boot, not " + word);
    return word == "ro" ? kReadOnly : (word == "rw" ? kWritable : kWritableAtReboot);
}

static void readParameter(ModelReader &reader, const std::string &line)
{
    std::istringstream words(line);
    std::string name;
    std::string type;
    words >> name >> type;
    Tree &tree = treeOf(reader, reader.section);
    const std::string fullName = reader.section + name;
    if (type == "=") {
        const auto known = tree.find(fullName);
        if (known == tree.end())
            throw std::runtime_error("the template has no " + name);
        known->second.value = readValue(words);
    } else {
        Node node;
        std::string writable;
        std::string notification;
        if (!(words >> writable >> notification >> node.accessList))
            throw std::runtime_error("a parameter is NAME TYPE WRITABLE NOTIFICATION ACCESSLIST VALUE");
        node.type = type;
        node.writable = readWritable(writable);
        node.notification = static_cast<int>(readCount(notification));
        std::replace(node.accessList.begin(), node.accessList.end(), ',', ' ');
        if (node.accessList == "-")
            node.accessList.clear();
        node.value = readValue(words);
        tree[fullName] = node;
    }
    const Node &node = tree[fullName];
    if (checkValue(parseValueType(node.type), node.value) != 0 || node.notification > 2)
        throw std::runtime_error("the value or the notification of " + name + " does not fit");
}

/// Objects that can be added to or deleted are the writable ones, and every table's counter says what is
/// there.
static void settleTables(DataModel &model)
{
    for (Tree *tree : {&model.factory, &model.templates})
        for (auto &[path, node] : *tree)
            if (isObjectName(path) &&
                (findTable(model, path) != nullptr || findTable(model, parentOfPath(path)) != nullptr))
                node.writable = kWritable;
    for (auto &[path, node] : model.factory) {
        const TableRule *rule = isObjectName(path) ? findTable(model, path) : nullptr;
        if (rule == nullptr || rule->counter.empty())
            continue;
        const auto counter = model.factory.find(std::string(parentOfPath(path)) + rule->counter);
        if (counter == model.factory.end())
            throw std::runtime_error("no parameter " + rule->counter + " counts " + path);
        counter->second.value = std::to_string(countInstances(model.factory, path));
    }
}

DataModel readDataModel(const std::string &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot open the data model " + path);
    ModelReader reader;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        line.erase(0, line.find_first_not_of(" \t"));
        line.erase(line.find_last_not_of(" \t\r") + 1);
        try {
            if (!line.empty() && line.front() == '[')
                readSection(reader, line);
            else if (!line.empty() && line.front() != '#')
                readParameter(reader, line);
        } catch (const std::exception &error) {
            throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    settleTables(reader.model);
    return reader.model;
}
