#include "rpc_methods.h"
#include "soap_writer.h"
#include "text.h"

static void writeStatus(MessageWriter &writer, int status)
{
    if (status != 0)
        writeLiteral(writer, "<Status>1</Status>");
    else
        writeLiteral(writer, "<Status>0</Status>");
}

char *construct_SetParamValueRespose(int status, const SoapHeaderEntry *header, int *length)
{
    const auto writeBody = [&](MessageWriter &writer) {
        writeStatus(writer, status);
        return true;
    };
    return buildEnvelope("SetParameterValues", kResponseName, header, length, writeBody);
}

// The name may be cut by the server; what there is of it decides.
static bool isAddObject(const char *methodName)
{
    return safeStrncmp(methodName, "AddObject", safeStrlen(methodName)) == 0;
}

char *construct_AddDelObjectRespose(const char *methodName, int instanceNumber, int status,
                                    const SoapHeaderEntry *header, int *length)
{
    const auto writeBody = [&](MessageWriter &writer) {
        if (instanceNumber > 0 && isAddObject(methodName) &&
            !writeNumberElement(writer, "InstanceNumber", instanceNumber))
            return false;
        writeStatus(writer, status);
        return true;
    };
    return buildEnvelope(methodName, kResponseName, header, length, writeBody);
}

char *construct_EmptySoapMessage(const char *methodName, const SoapHeaderEntry *header, int *length)
{
    const auto writeNothing = [](MessageWriter &) { return true; };
    return buildEnvelope(methodName, kResponseName, header, length, writeNothing);
}

static bool writeMethodList(MessageWriter &writer)
{
    if (!writeArrayTag(writer, "MethodList", "xsd:string", kRpcMethodCount))
        return false;
    for (const char *method : kRpcMethods)
        writeElement(writer, nullptr, "string", method);
    writeLiteral(writer, "</MethodList>");
    return true;
}

char *construct_GetRPCMethodSoapMessage([[maybe_unused]] const char *methodName,
                                        const SoapHeaderEntry *header, int *length, int *fault)
{
    BuildStatus status = BuildStatus::built;
    char *message = buildEnvelope("GetRPCMethods", kPlainName, header, length, writeMethodList, &status);
    *fault = status == BuildStatus::noMemory ? kFaultInternalError : 0;
    return message;
}

static void writeGivenElement(MessageWriter &writer, const char *name, const char *value)
{
    if (safeStrlen(value) > 0)
        writeElement(writer, nullptr, name, value);
}

static char *constructTransferResponse(const char *method, int status, const char *startTime,
                                       const char *completeTime, const SoapHeaderEntry *header, int *length)
{
    const auto writeBody = [&](MessageWriter &writer) {
        writeStatus(writer, status);
        writeGivenElement(writer, "StartTime", startTime);
        writeGivenElement(writer, "CompleteTime", completeTime);
        return true;
    };
    return buildEnvelope(method, kResponseName, header, length, writeBody);
}

char *construct_DownloadRespose(int status, const char *startTime, const char *completeTime,
                                const SoapHeaderEntry *header, int *length)
{
    return constructTransferResponse("Download", status, startTime, completeTime, header, length);
}

char *construct_UploadRespose(int status, const char *startTime, const char *completeTime,
                              const SoapHeaderEntry *header, int *length)
{
    return constructTransferResponse("Upload", status, startTime, completeTime, header, length);
}
