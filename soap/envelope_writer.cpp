#include <cstdio>

#include "message_writer.h"
#include "soap_writer.h"
#include "text.h"

static bool fitsLength(const MessageWriter &writer)
{
    return writer.position <= kLongestMessage;
}

static bool writeHeader(MessageWriter &writer, const SoapHeaderEntry *header)
{
    if (header == nullptr)
        return true;
    writeLiteral(writer, "<SOAP-ENV:Header>");
    for (; header != nullptr; header = header->next) {
        if (header->name == nullptr || header->value == nullptr)
            return false;
        writeLiteral(writer, "<cwmp:");
        writeText(writer, header->name);
        if (header->mustUnderstand == 1)
            writeLiteral(writer, " SOAP-ENV:mustUnderstand=\"1\"");
        writeLiteral(writer, ">");
        // Unlike an element's content, a header value of one blank is written: an ID is echoed as it came.
        writeText(writer, header->value);
        writeLiteral(writer, "</cwmp:");
        writeText(writer, header->name);
        writeLiteral(writer, ">");
    }
    writeLiteral(writer, "</SOAP-ENV:Header>");
    return true;
}

// The method's name in its tags, from the prefix to the ">".
static void writeMethodName(MessageWriter &writer, const char *method, int responseFlag)
{
    if (responseFlag == kPlainName && safeStrncmp(method, "Fault", strlen("Fault")) == 0)
        writeLiteral(writer, "SOAP-ENV:");
    else
        writeLiteral(writer, "cwmp:");
    writeText(writer, method);
    if (responseFlag != kPlainName)
        writeLiteral(writer, "Response");
    writeLiteral(writer, ">");
}

bool writeEnvelopeOpen(MessageWriter &writer, const char *method, const SoapHeaderEntry *header,
                       int responseFlag)
{
    writeLiteral(writer, "<SOAP-ENV:Envelope"
                         " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
                         " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
                         " xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\""
                         " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
                         " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">");
    if (!writeHeader(writer, header)) {
        puts("null in fillMsgSoapHdr");
        return false;
    }
    if (method != nullptr) {
        writeLiteral(writer, "<SOAP-ENV:Body><");
        writeMethodName(writer, method, responseFlag);
    }
    return fitsLength(writer);
}

bool writeEnvelopeClose(MessageWriter &writer, const char *method, int responseFlag)
{
    if (method != nullptr) {
        writeLiteral(writer, "</");
        writeMethodName(writer, method, responseFlag);
    }
    // Also without a method, although the envelope then opened no body; meant so.
    writeLiteral(writer, "</SOAP-ENV:Body></SOAP-ENV:Envelope>");
    return fitsLength(writer);
}

char *fillMsgSoapHdr(const char *methodName, const SoapHeaderEntry *header, int *length, int responseFlag)
{
    BuildStatus status = BuildStatus::built;
    const auto write = [&](MessageWriter &writer) {
        return writeEnvelopeOpen(writer, methodName, header, responseFlag);
    };
    char *text = buildText(write, length, &status);
    if (status == BuildStatus::noMemory)
        puts("null in fillMsgSoapHdr");
    return text;
}

char *fillMsgSoapClosing(const char *methodName, int *length, int responseFlag)
{
    const auto write = [&](MessageWriter &writer) {
        return writeEnvelopeClose(writer, methodName, responseFlag);
    };
    return buildText(write, length);
}

size_t sizeHeaderEntry(const char *name, const char *value)
{
    constexpr size_t kRoomForTags = 50;
    if (name == nullptr || value == nullptr)
        return 0;
    return strlen(name) + strlen(value) + kRoomForTags;
}
