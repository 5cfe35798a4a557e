#include "message.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>

static constexpr char kSoapNamespace[] = "http://schemas.xmlsoap.org/soap/envelope/";
static constexpr char kSoapEncodingNamespace[] = "http://schemas.xmlsoap.org/soap/encoding/";
static constexpr char kCwmpNamespace[] = "urn:dslforum-org:cwmp-1-0";

static std::string prefixOf(const std::string &name)
{
    const size_t colon = name.find(':');
    return colon == std::string::npos ? "" : name.substr(0, colon);
}

static std::string localNameOf(const std::string &name)
{
    return name.substr(name.find(':') + 1);
}

static bool isNamed(pugi::xml_node node, const char *localName)
{
    return localNameOf(node.name()) == localName;
}

/// The namespace that a prefix stands for at a node; empty when nobody declared it.
static std::string findNamespace(pugi::xml_node node, const std::string &prefix)
{
    const std::string declaration = prefix.empty() ? "xmlns" : "xmlns:" + prefix;
    for (; node; node = node.parent())
        if (const pugi::xml_attribute found = node.attribute(declaration.c_str()))
            return found.value();
    return "";
}

static std::string namespaceOf(pugi::xml_node node)
{
    return findNamespace(node, prefixOf(node.name()));
}

/// The next element in document order; a null node behind the last one. No recursion: a device may nest as
/// deep as it likes.
static pugi::xml_node nextElement(pugi::xml_node node)
{
    const auto isElement = [](pugi::xml_node candidate) { return candidate.type() == pugi::node_element; };
    if (const pugi::xml_node child = node.find_child(isElement))
        return child;
    for (; node; node = node.parent())
        for (pugi::xml_node peer = node.next_sibling(); peer; peer = peer.next_sibling())
            if (isElement(peer))
                return peer;
    return {};
}

static std::vector<pugi::xml_node> elementsOf(pugi::xml_node node)
{
    std::vector<pugi::xml_node> elements;
    for (const pugi::xml_node child : node.children())
        if (child.type() == pugi::node_element)
            elements.push_back(child);
    return elements;
}

static pugi::xml_node findElement(pugi::xml_node parent, const char *localName)
{
    return parent.find_child([localName](pugi::xml_node child) { return isNamed(child, localName); });
}

static std::string textOf(pugi::xml_node node)
{
    return node.text().get();
}

/// Length of the well-formed UTF-8 sequence at a place, 0 when there is none (RFC 3629, section 4).
static size_t measureSequence(const std::string &text, size_t at)
{
    const auto byte = [&text](size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned lead = byte(at);
    if (lead < 0x80)
        return 1;
    const size_t length = lead >= 0xC2 && lead < 0xE0   ? 2
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    for (size_t i = 1; i < length; ++i)
        if ((byte(at + i) & 0xC0U) != 0x80)
            return 0;
    const unsigned second = byte(at + 1);
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool outside = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
    return overlong || outside ? 0 : length;
}

/// What the XML parser passes over: bytes outside XML's characters, and text beside the root.
static void checkBytes(const std::string &text, std::vector<std::string> &problems)
{
    static constexpr char kBlanks[] = " \t\r\n";
    for (size_t at = 0; at < text.size();) {
        const size_t length = measureSequence(text, at);
        const bool isControl =
            static_cast<unsigned char>(text[at]) < ' ' && std::strchr("\t\r\n", text[at]) == nullptr;
        if (length == 0 || isControl || text[at] == '\0') {
            problems.push_back("byte " + std::to_string(at) + " is no character of UTF-8 XML");
            break;
        }
        at += length;
    }
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos || text[first] != '<' || text[text.find_last_not_of(kBlanks)] != '>')
        problems.emplace_back("there is text beside the envelope");
}

static void checkPrefixes(pugi::xml_node node, std::vector<std::string> &problems)
{
    const auto check = [&](const std::string &name) {
        const std::string prefix = prefixOf(name);
        if (!prefix.empty() && prefix != "xmlns" && prefix != "xml" && findNamespace(node, prefix).empty())
            problems.push_back("the prefix of " + name + " is not declared");
    };
    check(node.name());
    for (const pugi::xml_attribute attribute : node.attributes())
        check(attribute.name());
}

static pugi::xml_attribute findArrayType(pugi::xml_node node)
{
    for (const pugi::xml_attribute attribute : node.attributes())
        if (localNameOf(attribute.name()) == "arrayType")
            return attribute;
    return {};
}

/// The type of an array's items, without prefix and count.
static std::string itemTypeOf(pugi::xml_node array)
{
    const std::string type = findArrayType(array).value();
    return localNameOf(type.substr(0, type.find('[')));
}

/// An array's declared count and type against what it holds.
static void checkArray(pugi::xml_node node, std::vector<std::string> &problems)
{
    const pugi::xml_attribute attribute = findArrayType(node);
    if (!attribute)
        return;
    const std::string type = attribute.value();
    const std::string where = std::string(node.name()) + " is declared as " + type;
    const std::vector<pugi::xml_node> items = elementsOf(node);
    if (findNamespace(node, prefixOf(attribute.name())) != kSoapEncodingNamespace)
        problems.push_back(std::string(attribute.name()) + " is not the SOAP encoding's");

    const size_t open = type.find('[');
    if (open == std::string::npos || type.substr(open) != "[" + std::to_string(items.size()) + "]")
        problems.push_back(where + " and holds " + std::to_string(items.size()));
    for (const pugi::xml_node item : items) {
        if (itemTypeOf(node) == localNameOf(item.name()))
            continue;
        problems.push_back(where + " and holds a " + item.name());
        return;
    }
}

static std::string joinTexts(pugi::xml_node array)
{
    std::string joined;
    for (const pugi::xml_node item : elementsOf(array))
        joined += (joined.empty() ? "" : ",") + textOf(item);
    return joined;
}

/// A struct's first element names the row, the others are its fields.
static Row readStruct(pugi::xml_node item)
{
    const std::vector<pugi::xml_node> elements = elementsOf(item);
    if (elements.empty())
        return {"", {textOf(item)}, ""};
    Row row{textOf(elements[0]), {}, ""};
    for (size_t i = 1; i < elements.size(); ++i) {
        row.fields.push_back(findArrayType(elements[i]) ? joinTexts(elements[i]) : textOf(elements[i]));
        if (row.type.empty())
            row.type = localNameOf(elements[i].attribute("xsi:type").value());
    }
    if (row.fields.empty())
        row.fields.emplace_back();
    return row;
}

static RowGroup readGroup(pugi::xml_node node)
{
    RowGroup group{localNameOf(node.name()), "", {}};
    const std::vector<pugi::xml_node> elements = elementsOf(node);
    if (findArrayType(node)) {
        group.items = itemTypeOf(node);
        for (const pugi::xml_node item : elements)
            group.rows.push_back(readStruct(item));
    } else if (elements.empty()) {
        group.rows.push_back({localNameOf(node.name()), {textOf(node)}, ""});
    } else {
        for (const pugi::xml_node leaf : elements)
            group.rows.push_back({localNameOf(leaf.name()), {textOf(leaf)}, ""});
    }
    return group;
}

static void readFault(pugi::xml_node fault, Message &message)
{
    const pugi::xml_node inner = findElement(findElement(fault, "detail"), "Fault");
    if (!inner)
        message.problems.emplace_back("the Fault has no detail");
    else if (namespaceOf(inner) != kCwmpNamespace)
        message.problems.emplace_back("the detail's Fault is not in the CWMP namespace");
    message.faultCode = std::atoi(textOf(findElement(inner, "FaultCode")).c_str());
    message.faultText = textOf(findElement(inner, "FaultString"));

    RowGroup soap{"Fault", "", {}};
    for (const char *name : {"faultcode", "faultstring"})
        soap.rows.push_back({name, {textOf(findElement(fault, name))}, ""});
    message.groups.push_back(soap);
    RowGroup parameters{"SetParameterValuesFault", "SetParameterValuesFault", {}};
    for (const pugi::xml_node item : elementsOf(inner))
        if (isNamed(item, "SetParameterValuesFault"))
            parameters.rows.push_back(readStruct(item));
    if (!parameters.rows.empty())
        message.groups.push_back(parameters);
}

static void readHeader(pugi::xml_node header, Message &message)
{
    const pugi::xml_node id = findElement(header, "ID");
    message.id = textOf(id);
    if (!id)
        return;
    if (namespaceOf(id) != kCwmpNamespace)
        message.problems.emplace_back("the ID is not in the CWMP namespace");
    if (std::string(id.attribute("SOAP-ENV:mustUnderstand").value()) != "1")
        message.problems.emplace_back("the ID does not have to be understood");
}

static void readBody(pugi::xml_node body, Message &message)
{
    const std::vector<pugi::xml_node> methods = elementsOf(body);
    if (methods.size() != 1) {
        message.problems.push_back("the Body holds " + std::to_string(methods.size()) + " elements, not one");
        return;
    }
    const pugi::xml_node method = methods[0];
    message.method = localNameOf(method.name());
    const bool isFault = message.method == "Fault";
    if (namespaceOf(method) != (isFault ? kSoapNamespace : kCwmpNamespace))
        message.problems.push_back(std::string(method.name()) + " is in the wrong namespace");
    if (isFault)
        readFault(method, message);
    else
        for (const pugi::xml_node argument : elementsOf(method))
            message.groups.push_back(readGroup(argument));
}

/// The envelope's own elements: a Header, which may be missing, and then the Body.
static void readEnvelope(pugi::xml_node root, Message &message)
{
    if (!isNamed(root, "Envelope") || namespaceOf(root) != kSoapNamespace) {
        message.problems.push_back(std::string(root.name()) + " is no SOAP envelope");
        return;
    }
    std::vector<pugi::xml_node> parts = elementsOf(root);
    if (!parts.empty() && isNamed(parts[0], "Header")) {
        readHeader(parts[0], message);
        parts.erase(parts.begin());
    }
    if (parts.size() == 1 && isNamed(parts[0], "Body"))
        readBody(parts[0], message);
    else
        message.problems.emplace_back("the envelope is not one Header and one Body");
}

Message readMessage(const std::string &text)
{
    Message message{};
    checkBytes(text, message.problems);
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(
        text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
    if (!result) {
        message.problems.push_back(std::string("not well-formed at byte ") + std::to_string(result.offset) +
                                   ": " + result.description());
        return message;
    }
    const std::vector<pugi::xml_node> roots = elementsOf(document);
    if (roots.size() != 1)
        message.problems.push_back(std::to_string(roots.size()) + " envelopes in one message");
    if (roots.empty())
        return message;
    for (pugi::xml_node node = roots[0]; node; node = nextElement(node)) {
        checkPrefixes(node, message.problems);
        checkArray(node, message.problems);
    }
    readEnvelope(roots[0], message);
    return message;
}

const RowGroup *findGroup(const Message &message, const std::string &title)
{
    const auto found = std::find_if(message.groups.begin(), message.groups.end(),
                                    [&title](const RowGroup &group) { return group.title == title; });
    return found == message.groups.end() ? nullptr : &*found;
}

std::string findField(const Message &message, const std::string &name)
{
    for (const RowGroup &group : message.groups)
        for (const Row &row : group.rows)
            if (row.name == name)
                return row.fields[0];
    return "";
}
