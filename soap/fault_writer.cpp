#include <cstdio>

#include "print_to_syslog.h"
#include "soap_writer.h"

static const char *const kFaultWriter = "construct_FaultResponse";

static void logFault(const char *message)
{
    printToSyslog("LOG_DEBUG", kWriterModule, kFaultWriter, message);
}

static bool refuseFault(const char *message)
{
    printToSyslog("LOG_ERR", kWriterModule, kFaultWriter, message);
    return false;
}

static bool writeCodeAndString(MessageWriter &writer, int code, const char *string)
{
    if (!writeNumberElement(writer, "FaultCode", code))
        return refuseFault("Error while allocating memory to tmp_string");
    writeElement(writer, nullptr, "FaultString", string);
    return true;
}

static bool writeParameterFault(MessageWriter &writer, const SetParamFaultStr &fault)
{
    if (fault.parameterName == nullptr) {
        logFault("paramterName is null");
        return false;
    }
    writeLiteral(writer, "<SetParameterValuesFault>");
    writeElement(writer, nullptr, "ParameterName", fault.parameterName);
    if (fault.faultCode <= 0 || fault.faultStr == nullptr) {
        logFault(fault.faultCode <= 0 ? "Fault Code is NULL for" : "Fault String is NULL for");
        logFault(fault.parameterName);
    } else if (!writeCodeAndString(writer, fault.faultCode, fault.faultStr)) {
        return false;
    }
    writeLiteral(writer, "</SetParameterValuesFault>");
    return true;
}

static bool writeDetailContent(MessageWriter &writer, const FaultDetailStr &detail)
{
    if (detail.faultCode <= 0 || detail.faultStr == nullptr) {
        logFault(detail.faultCode <= 0 ? "Fault Detail Code is NULL" : "Fault Detail String is NULL");
        return true;
    }
    if (!writeCodeAndString(writer, detail.faultCode, detail.faultStr))
        return false;
    for (const SetParamFaultStr *fault = detail.parameterFaults; fault != nullptr; fault = fault->next) {
        if (!writeParameterFault(writer, *fault))
            return false;
    }
    return true;
}

// What lies between the Fault tags. A part that is missing leaves out what depends on it; the server still
// gets a Fault.
static bool writeFaultBody(MessageWriter &writer, const FaultStr &fault)
{
    if (fault.faultCode == nullptr || fault.faultStr == nullptr) {
        logFault(fault.faultCode == nullptr ? "Fault Code is NULL" : "Fault String is NULL");
        return true;
    }
    writeElement(writer, nullptr, "faultcode", fault.faultCode);
    writeElement(writer, nullptr, "faultstring", fault.faultStr);
    if (fault.faultDetDesc == nullptr) {
        logFault("Fault Details is NULL");
        return true;
    }
    writeLiteral(writer, "<detail><cwmp:Fault>");
    if (!writeDetailContent(writer, *fault.faultDetDesc))
        return false;
    writeLiteral(writer, "</cwmp:Fault></detail>");
    return true;
}

int getFaultMsgLen(const FaultStr *fault)
{
    MessageWriter counter = {};
    if (fault == nullptr || !writeFaultBody(counter, *fault) || counter.position > kLongestMessage)
        return 0;
    return static_cast<int>(counter.position);
}

static bool writeFaultEnvelope(MessageWriter &writer, const FaultStr &fault, const SoapHeaderEntry *header)
{
    if (!writeEnvelopeOpen(writer, "Fault", header, kPlainName))
        return refuseFault("Cannot construct the Soap Header Tag");
    if (isWriting(writer))
        printf("[%s]\n", kFaultWriter);
    if (!writeFaultBody(writer, fault))
        return refuseFault("Error while getting soap Fault Structure Length");
    if (!writeEnvelopeClose(writer, "Fault", kPlainName))
        return refuseFault("Cannot construct the Soap Closing Tag");
    return true;
}

char *construct_FaultResponse(const FaultStr *fault, const SoapHeaderEntry *header, int *length)
{
    *length = 0;
    if (fault == nullptr)
        return nullptr;
    BuildStatus status = BuildStatus::built;
    const auto write = [&](MessageWriter &writer) { return writeFaultEnvelope(writer, *fault, header); };
    char *message = buildText(write, length, &status);
    if (status == BuildStatus::noMemory)
        refuseFault("Error while allocating memory to retSoapMsg");
    return message;
}

// How a transfer ended. A negative code leaves the struct empty.
static bool writeTransferFault(MessageWriter &writer, const TransferFault *fault)
{
    const int code = fault == nullptr ? 0 : fault->code;
    writeLiteral(writer, "<FaultStruct>");
    if (code >= 0 && !writeCodeAndString(writer, code, fault == nullptr ? "" : fault->string))
        return false;
    writeLiteral(writer, "</FaultStruct>");
    return true;
}

char *construct_TrasferCompleteSoapMessage(const TransferCompleteRecord *record, const char *methodName,
                                           const SoapHeaderEntry *header, int *length)
{
    *length = 0;
    if (record == nullptr)
        return nullptr;
    // The fault comes last, unlike in the method's definition: this interface has it so.
    const auto writeBody = [&](MessageWriter &writer) {
        return writeKnownElement(writer, "CommandKey", record->commandKey) &&
               writeKnownElement(writer, "StartTime", record->startTime) &&
               writeKnownElement(writer, "CompleteTime", record->completeTime) &&
               writeTransferFault(writer, record->fault);
    };
    return buildEnvelope(methodName, kPlainName, header, length, writeBody);
}
