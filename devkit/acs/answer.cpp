#include "answer.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

using Problems = std::vector<std::string>;

static void append(Problems &problems, const Problems &more)
{
    problems.insert(problems.end(), more.begin(), more.end());
}

static bool isNameCharacter(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

static const std::string &findVariable(const std::string &name, const Variables &variables)
{
    const auto found = variables.find(name);
    if (found == variables.end())
        throw std::invalid_argument("$" + name + " has no value");
    return found->second;
}

std::string replaceVariables(const std::string &text, const Variables &variables)
{
    std::string replaced;
    for (size_t at = 0; at < text.size();) {
        if (text[at] != '$') {
            replaced += text[at++];
            continue;
        }
        if (++at < text.size() && text[at] == '$') {
            replaced += text[at++];
            continue;
        }
        const bool braced = at < text.size() && text[at] == '{';
        const size_t begin = at + (braced ? 1 : 0);
        size_t end = begin;
        while (end < text.size() && isNameCharacter(text[end]))
            ++end;
        replaced += findVariable(text.substr(begin, end - begin), variables);
        at = end + (braced && end < text.size() ? 1 : 0);
    }
    return replaced;
}

bool isAnswerTo(const Message &message, const Awaited &awaited)
{
    if (message.method == "Fault" || message.method == awaited.rpc + "Response")
        return true;
    if (awaited.rpc == "GetRPCMethods")
        return message.method == awaited.rpc;
    return awaited.rpc.empty() && message.method.find("Response") != std::string::npos;
}

/// What an answer has to hold, besides values. A title alone: that element; items: the type of the array's
/// items.
struct Requirement {
    const char *rpc;
    const char *title;
    const char *items;
};

static constexpr Requirement kRequirements[] = {
    {"GetRPCMethods", "MethodList", "string"},
    {"GetParameterValues", "ParameterList", "ParameterValueStruct"},
    {"GetParameterNames", "ParameterList", "ParameterInfoStruct"},
    {"GetParameterAttributes", "ParameterList", "ParameterAttributeStruct"},
    {"SetParameterValues", "Status", nullptr},
    {"AddObject", "InstanceNumber", nullptr},
    {"AddObject", "Status", nullptr},
    {"DeleteObject", "Status", nullptr},
    {"Download", "Status", nullptr},
    {"Upload", "Status", nullptr},
    {"Inform", "DeviceId", nullptr},
    {"Inform", "Event", "EventStruct"},
    {"Inform", "MaxEnvelopes", nullptr},
    {"Inform", "CurrentTime", nullptr},
    {"Inform", "RetryCount", nullptr},
    {"Inform", "ParameterList", "ParameterValueStruct"},
    {"TransferComplete", "CommandKey", nullptr},
    {"TransferComplete", "StartTime", nullptr},
    {"TransferComplete", "CompleteTime", nullptr},
    {"TransferComplete", "FaultStruct", nullptr},
};

/// An empty list of parameters is declared with the items of GetParameterNames, whatever was asked.
static bool hasItems(const RowGroup &group, const std::string &items)
{
    return group.items == items || (group.rows.empty() && group.items == "ParameterInfoStruct");
}

static Problems checkRequirements(const std::string &rpc, const Message &message)
{
    Problems problems;
    for (const Requirement &required : kRequirements) {
        if (rpc != required.rpc)
            continue;
        const RowGroup *group = findGroup(message, required.title);
        if (group == nullptr)
            problems.push_back(rpc + " without " + required.title);
        else if (required.items != nullptr && !hasItems(*group, required.items))
            problems.push_back(std::string(required.title) + " is no array of " + required.items);
    }
    return problems;
}

static bool isNumber(const std::string &text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

static Problems checkNumbers(const Message &message)
{
    Problems problems;
    for (const char *name : {"Status", "InstanceNumber", "MaxEnvelopes", "RetryCount"})
        if (findGroup(message, name) != nullptr && !isNumber(findField(message, name)))
            problems.push_back(std::string(name) + " is \"" + findField(message, name) + "\"");
    return problems;
}

/// Every full name that was asked for has to be among the rows.
static Problems checkNames(const Message &message, const Awaited &awaited)
{
    Problems problems;
    const RowGroup *list = findGroup(message, "ParameterList");
    const bool asksByName = awaited.rpc == "GetParameterValues" || awaited.rpc == "GetParameterAttributes";
    if (list == nullptr || !asksByName)
        return problems;
    for (const std::string &name : awaited.words) {
        const bool isPath = name.empty() || name.back() == '.';
        const bool found = std::any_of(list->rows.begin(), list->rows.end(),
                                       [&](const Row &row) { return row.name == name; });
        if (!isPath && !found)
            problems.push_back(name + " did not come back");
    }
    return problems;
}

static std::string describe(const Message &message)
{
    return std::to_string(message.faultCode) + " (" + message.faultText + ")";
}

static Problems checkFault(const Message &message, int expected)
{
    const bool isFault = message.method == "Fault";
    if (isFault && expected == 0)
        return {"fault " + describe(message) + " was not expected"};
    if (isFault && message.faultCode != expected)
        return {"fault " + std::to_string(expected) + " was expected, not " + describe(message)};
    if (!isFault && expected != 0)
        return {"fault " + std::to_string(expected) + " was expected, but the device obeyed"};
    return {};
}

Problems checkAnswer(const Message &message, const Awaited &awaited, const RequestLine &request,
                     const Variables &variables)
{
    Problems problems = message.problems;
    if (!isAnswerTo(message, awaited)) {
        problems.push_back((message.method.empty() ? "this" : message.method) + " is no answer to " +
                           request.rpc);
        return problems;
    }
    if (message.id != awaited.id)
        problems.push_back("the ID is \"" + message.id + "\", the request's is \"" + awaited.id + "\"");
    append(problems, checkFault(message, request.expectedFault));
    if (message.method != "Fault") {
        append(problems, checkRequirements(awaited.rpc, message));
        append(problems, checkNumbers(message));
        append(problems, checkNames(message, awaited));
    }
    append(problems, checkValues(request.checks, message.groups, variables));
    return problems;
}

Problems checkInform(const Message &message)
{
    Problems problems = message.problems;
    append(problems, checkRequirements("Inform", message));
    append(problems, checkNumbers(message));
    if (message.id.empty())
        problems.emplace_back("the Inform has no ID");
    for (const char *name : {"Manufacturer", "OUI", "ProductClass", "SerialNumber"})
        if (findField(message, name).empty())
            problems.push_back(std::string("DeviceId without ") + name);
    const RowGroup *events = findGroup(message, "Event");
    if (events != nullptr && events->rows.empty())
        problems.emplace_back("the Inform names no event");
    const RowGroup *parameters = findGroup(message, "ParameterList");
    if (parameters != nullptr && parameters->rows.empty())
        problems.emplace_back("the Inform carries no parameter");
    return problems;
}

Problems checkTransferComplete(const Message &message)
{
    Problems problems = message.problems;
    append(problems, checkRequirements("TransferComplete", message));
    if (message.id.empty())
        problems.emplace_back("the TransferComplete has no ID");
    if (findField(message, "FaultCode").empty())
        problems.emplace_back("the TransferComplete has no FaultCode");
    return problems;
}

static bool fits(const std::string &wanted, const std::string &value)
{
    return wanted == "*" || wanted == value;
}

static bool fitsRow(const std::vector<std::string> &words, const Row &row)
{
    if (words[0] != row.name || words.size() - 1 > row.fields.size())
        return false;
    for (size_t i = 1; i < words.size(); ++i)
        if (!fits(words[i], row.fields[i - 1]))
            return false;
    return true;
}

/// A named check that failed: what the row of that name holds instead.
static std::string describeMismatch(const std::vector<std::string> &words, const std::vector<Row> &rows)
{
    const auto named =
        std::find_if(rows.begin(), rows.end(), [&](const Row &row) { return row.name == words[0]; });
    if (named == rows.end())
        return words[0] + " did not come back";
    std::string text = words[0] + " is";
    for (const std::string &field : named->fields)
        text += " \"" + field + "\"";
    text += ", not";
    for (size_t i = 1; i < words.size(); ++i)
        text += " \"" + words[i] + "\"";
    return text;
}

/// Holds one check against the rows.
///
/// @param unnamed  how many rows the checks without a name have used; moved on by such a check
/// @return what is wrong, empty when the check is met
static std::string checkValue(const std::vector<std::string> &words, const std::vector<Row> &rows,
                              size_t &unnamed)
{
    if (words.size() > 1) {
        const bool found =
            std::any_of(rows.begin(), rows.end(), [&](const Row &row) { return fitsRow(words, row); });
        return found ? "" : describeMismatch(words, rows);
    }
    if (unnamed == rows.size())
        return "nothing came back to be \"" + words[0] + "\"";
    const std::string &value = rows[unnamed++].fields[0];
    return fits(words[0], value) ? "" : "\"" + value + "\" came back, not \"" + words[0] + "\"";
}

Problems checkValues(const std::vector<ValueCheck> &checks, const std::vector<RowGroup> &groups,
                     const Variables &variables)
{
    std::vector<Row> rows;
    for (const RowGroup &group : groups)
        rows.insert(rows.end(), group.rows.begin(), group.rows.end());

    Problems problems;
    size_t unnamed = 0;
    for (const ValueCheck &check : checks) {
        std::string problem;
        try {
            std::vector<std::string> words;
            for (const std::string &word : check.words)
                words.push_back(replaceVariables(word, variables));
            problem = checkValue(words, rows, unnamed);
        } catch (const std::invalid_argument &error) {
            problem = error.what();
        }
        if (!problem.empty())
            problems.push_back(problem + " (line " + std::to_string(check.line) + ")");
    }
    return problems;
}
