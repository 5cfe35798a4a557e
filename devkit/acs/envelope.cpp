#include "envelope.h"

#include <map>
#include <stdexcept>

static constexpr char kEnvelopeOpen[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\">";

using Words = std::vector<std::string>;

std::string escapeXml(const std::string &text)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

static std::string element(const std::string &name, const std::string &text)
{
    return "<" + name + ">" + escapeXml(text) + "</" + name + ">";
}

static std::string array(const std::string &name, const std::string &type, size_t count,
                         const std::string &items)
{
    return "<" + name + " SOAP-ENC:arrayType=\"" + type + "[" + std::to_string(count) + "]\">" + items +
           "</" + name + ">";
}

static std::string stringArray(const std::string &name, const Words &texts)
{
    std::string items;
    for (const std::string &text : texts)
        items += element("string", text);
    return array(name, "xsd:string", texts.size(), items);
}

static std::string envelope(const std::string &method, const std::string &id, const std::string &arguments)
{
    return kEnvelopeOpen + std::string("<SOAP-ENV:Header><cwmp:ID SOAP-ENV:mustUnderstand=\"1\">") +
           escapeXml(id) + "</cwmp:ID></SOAP-ENV:Header><SOAP-ENV:Body><cwmp:" + method + ">" + arguments +
           "</cwmp:" + method + "></SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

/// Splits KEY=VALUE words; each key has to be among the known ones.
static std::map<std::string, std::string> readOptions(const Words &words, size_t from, const Words &known)
{
    std::map<std::string, std::string> options;
    for (size_t i = from; i < words.size(); ++i) {
        const size_t equals = words[i].find('=');
        const std::string key = words[i].substr(0, equals);
        bool isKnown = false;
        for (const std::string &name : known)
            isKnown = isKnown || name == key;
        if (equals == std::string::npos || !isKnown)
            throw std::invalid_argument("\"" + words[i] + "\" is not understood here");
        options[key] = words[i].substr(equals + 1);
    }
    return options;
}

static void requireWords(const Words &words, size_t least, size_t most)
{
    if (words.size() < least || words.size() > most)
        throw std::invalid_argument(words.size() < least ? "too few arguments" : "too many arguments");
}

static std::string writeNothing(const Words &words)
{
    requireWords(words, 0, 0);
    return "";
}

static std::string writeNames(const Words &words)
{
    return stringArray("ParameterNames", words);
}

static std::string writeParameterValue(const std::string &nameAndType, const std::string &value)
{
    const size_t colon = nameAndType.find(':');
    const std::string type = colon == std::string::npos ? "string" : nameAndType.substr(colon + 1);
    return "<ParameterValueStruct>" + element("Name", nameAndType.substr(0, colon)) +
           "<Value xsi:type=\"xsd:" + escapeXml(type) + "\">" + escapeXml(value) +
           "</Value></ParameterValueStruct>";
}

static std::string writeSetValues(const Words &words)
{
    std::string items;
    std::string key;
    size_t count = 0;
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos)
            throw std::invalid_argument("\"" + word + "\" has no =");
        const std::string name = word.substr(0, equals);
        const std::string value = word.substr(equals + 1);
        if (name == "key") {
            key = value;
            continue;
        }
        items += writeParameterValue(name, value);
        ++count;
    }
    return array("ParameterList", "cwmp:ParameterValueStruct", count, items) + element("ParameterKey", key);
}

static std::string writeGetNames(const Words &words)
{
    requireWords(words, 2, 2);
    return element("ParameterPath", words[0]) + element("NextLevel", words[1]);
}

static Words splitAtCommas(const std::string &text)
{
    Words parts;
    for (size_t at = 0; at < text.size();) {
        const size_t comma = std::min(text.find(',', at), text.size());
        parts.push_back(text.substr(at, comma - at));
        at = comma + 1;
    }
    return parts;
}

/// The change flags stand before what they announce: a device that compares an element's name only as far as
/// it goes would take Notification for NotificationChange. The flags are digits, because true reads as 0
/// there.
static std::string writeAttributes(const std::string &name, std::map<std::string, std::string> options)
{
    const bool notifies = options.count("notification") != 0;
    const bool grants = options.count("access") != 0;
    return "<SetParameterAttributesStruct>" + element("Name", name) +
           element("NotificationChange", notifies ? "1" : "0") +
           element("Notification", notifies ? options["notification"] : "0") +
           element("AccessListChange", grants ? "1" : "0") +
           stringArray("AccessList", splitAtCommas(options["access"])) + "</SetParameterAttributesStruct>";
}

static std::string writeSetAttributes(const Words &words)
{
    std::string items;
    size_t count = 0;
    for (size_t at = 0; at < words.size(); ++count) {
        size_t end = at + 1;
        while (end < words.size() && words[end].find('=') != std::string::npos)
            ++end;
        const Words group(words.begin() + static_cast<std::ptrdiff_t>(at),
                          words.begin() + static_cast<std::ptrdiff_t>(end));
        items += writeAttributes(group[0], readOptions(group, 1, {"notification", "access"}));
        at = end;
    }
    return array("ParameterList", "cwmp:SetParameterAttributesStruct", count, items);
}

static std::string writeObject(const Words &words, const Words &known)
{
    requireWords(words, 1, 1 + known.size());
    auto options = readOptions(words, 1, known);
    return element("ObjectName", words[0]) + element("ParameterKey", options["key"]);
}

static std::string writeAddObject(const Words &words)
{
    return writeObject(words, {"key", "as"});
}

static std::string writeDeleteObject(const Words &words)
{
    return writeObject(words, {"key"});
}

static std::string writeReboot(const Words &words)
{
    requireWords(words, 0, 1);
    return element("CommandKey", words.empty() ? "" : words[0]);
}

static std::string writeScheduleInform(const Words &words)
{
    requireWords(words, 2, 2);
    return element("DelaySeconds", words[0]) + element("CommandKey", words[1]);
}

/// One argument of a transfer: its element, its key in the session file, and what it is when not given (null:
/// left out, so that a device can be asked for a transfer without it).
struct TransferArgument {
    const char *element;
    const char *key;
    const char *fallback;
};

static std::string writeTransfer(const Words &words, const std::vector<TransferArgument> &arguments)
{
    Words keys;
    for (const TransferArgument &argument : arguments)
        keys.emplace_back(argument.key);
    const auto options = readOptions(words, 0, keys);
    std::string text;
    for (const TransferArgument &argument : arguments) {
        const auto given = options.find(argument.key);
        if (given != options.end())
            text += element(argument.element, given->second);
        else if (argument.fallback != nullptr)
            text += element(argument.element, argument.fallback);
    }
    return text;
}

static std::string writeDownload(const Words &words)
{
    return writeTransfer(words, {{"CommandKey", "key", ""},
                                 {"FileType", "type", nullptr},
                                 {"URL", "url", nullptr},
                                 {"Username", "user", ""},
                                 {"Password", "password", ""},
                                 {"FileSize", "size", "0"},
                                 {"TargetFileName", "target", ""},
                                 {"DelaySeconds", "delay", "0"},
                                 {"SuccessURL", "success", ""},
                                 {"FailureURL", "failure", ""}});
}

static std::string writeUpload(const Words &words)
{
    return writeTransfer(words, {{"CommandKey", "key", ""},
                                 {"FileType", "type", nullptr},
                                 {"URL", "url", nullptr},
                                 {"Username", "user", ""},
                                 {"Password", "password", ""},
                                 {"DelaySeconds", "delay", "0"}});
}

std::string buildRequest(const std::string &rpc, const Words &words, const std::string &id)
{
    static const std::map<std::string, std::string (*)(const Words &)> kWriters = {
        {"GetRPCMethods", writeNothing},
        {"GetParameterValues", writeNames},
        {"SetParameterValues", writeSetValues},
        {"GetParameterNames", writeGetNames},
        {"GetParameterAttributes", writeNames},
        {"SetParameterAttributes", writeSetAttributes},
        {"AddObject", writeAddObject},
        {"DeleteObject", writeDeleteObject},
        {"Reboot", writeReboot},
        {"FactoryReset", writeNothing},
        {"ScheduleInform", writeScheduleInform},
        {"Download", writeDownload},
        {"Upload", writeUpload},
    };
    const auto writer = kWriters.find(rpc);
    if (writer == kWriters.end())
        throw std::invalid_argument("\"" + rpc + "\" is no RPC");
    return envelope(rpc, id, writer->second(words));
}

std::string buildInformResponse(const std::string &id)
{
    return envelope("InformResponse", id, element("MaxEnvelopes", "1"));
}

std::string buildTransferCompleteResponse(const std::string &id)
{
    return envelope("TransferCompleteResponse", id, "");
}
