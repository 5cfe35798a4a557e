#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "rpc_methods.h"
#include "tag_reading.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

char *getRebootParameters(XMLNode *node, const char *rpcName, int kind)
{
    if (kind != kMessageRequest || rpcName == nullptr)
        return nullptr;
    return getSoapTagValue(node, "CommandKey", rpcName, 1);
}

// The element name at the start of a text that may go on with the rest of a message, with room for an ending.
static char *copyElementName(const char *text, const char *ending)
{
    const size_t nameLength = lengthBefore(text, " /><:\t\r\n");
    const size_t endingSize = strlen(ending) + 1;
    char *name = static_cast<char *>(malloc(nameLength + endingSize));
    if (name == nullptr)
        return nullptr;
    memcpy(name, text, nameLength);
    memcpy(name + nameLength, ending, endingSize);
    return name;
}

static int readMaxEnvelopes(XMLNode *rpcNode, const char *rpcName)
{
    const OwnedText text(getSoapTagValue(rpcNode, "MaxEnvelopes", rpcName, 1));
    return text == nullptr ? -1 : textToInt(text.get());
}

int getInformRespAttr(XMLNode *envelope, const char *rpcName, int kind)
{
    if (kind != kMessageResponse || rpcName == nullptr)
        return -1;
    // The method name alone has lost the "Response" that the element's name ends in; a name that still has it
    // is not tried with a second one.
    for (const char *ending : {"", "Response"}) {
        const OwnedText name(copyElementName(rpcName, ending));
        if (name == nullptr)
            return -1;
        XMLNode *rpcNode = getTagSoapNode(envelope, name.get(), "Body", 1);
        if (rpcNode != nullptr)
            return readMaxEnvelopes(rpcNode, name.get());
        if (strstr(name.get(), "Response") != nullptr)
            return -1;
    }
    return -1;
}
