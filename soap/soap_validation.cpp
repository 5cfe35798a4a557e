#include "SOAPParser.h"

#include "namespace_table.h"
#include "owned.h"
#include "tag_reading.h"

#include <cstring>

// Results of validateSOAPMessage.
constexpr int kValid = 0;
constexpr int kRuleBroken = 1;
constexpr int kTooManyEnvelopes = 2;

// A leading part of "xmlns" passes like the word itself, so "xml" needs no declaration.
static bool isNamespacePrefix(const char *prefix, int length)
{
    return safeStrncmp(prefix, "xmlns", static_cast<size_t>(length)) == 0;
}

static bool isPrefixDeclared(XMLNode *element, const char *prefix, int length)
{
    if (prefix == nullptr || length < 1 || isNamespacePrefix(prefix, length))
        return true;
    const char *uri = ILibXML_LookupNamespace(element, prefix, length);
    return uri != nullptr && *uri != '\0';
}

static bool isDeclaration(const XMLAttribute *attribute)
{
    constexpr int kLength = sizeof "xmlns" - 1;
    return attribute->prefixLength == kLength && memcmp(attribute->prefix, "xmlns", kLength) == 0;
}

static bool havePrefixesAlike(const XMLNode *start, const XMLNode *end)
{
    if (start->prefix == nullptr || end->prefix == nullptr)
        return start->prefix == end->prefix;
    return safeStrncmp(start->prefix, end->prefix, static_cast<size_t>(start->prefixLength)) == 0;
}

static bool areAttributesDeclared(XMLNode *element)
{
    XMLAttribute *head = nullptr;
    if (readAttributes(element, &head) == kReadNoMemory)
        return false;
    const Owned<XMLAttribute, ILibDestructXMLAttributeList> attributes(head);
    for (const XMLAttribute *attribute = attributes.get(); attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->prefix == nullptr || attribute->prefixLength < 1)
            continue;
        if (!isPrefixDeclared(element, attribute->prefix, attribute->prefixLength))
            return false;
        // The URIs are not judged: any namespace is accepted, on purpose. An empty one ends this element's
        // check.
        if (isDeclaration(attribute) && attribute->valueLength < 1)
            return true;
    }
    return true;
}

static bool isWellTagged(XMLNode *element)
{
    return isPrefixDeclared(element, element->prefix, element->prefixLength) &&
           element->closingTag != nullptr && havePrefixesAlike(element, element->closingTag) &&
           areAttributesDeclared(element);
}

int validateSOAPMessage(XMLNode *first, int maxEnvelopes)
{
    if (maxEnvelopes < 0 || first == nullptr)
        return kRuleBroken;
    const int nesting = ILibProcessXMLNodeList(first);
    if (nesting != 0)
        return nesting;
    ILibXML_BuildNamespaceLookupTable(first);

    for (XMLNode *node = first; node != nullptr; node = node->next) {
        if (node->isStartTag != 0 && !isWellTagged(node))
            return kRuleBroken;
    }
    if (maxEnvelopes >= 1 && getNoOfEnvelopes(first) > maxEnvelopes)
        return kTooManyEnvelopes;
    return kValid;
}
