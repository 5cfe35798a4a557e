#include "fault_reader.h"

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "tag_reading.h"

#include <cstdio>
#include <cstdlib>

// The detail: code, string and parameter faults. A Fault without one is complete as well.
static int readDetail(XMLNode *faultNode, FaultStr *record)
{
    XMLNode *detail = getSoapNode(faultNode, "detail");
    if (detail == nullptr)
        return 0;
    XMLNode *cwmpFault = getSoapNode(detail, "Fault");
    if (cwmpFault == nullptr)
        return 1;
    record->faultDetDesc = static_cast<FaultDetailStr *>(calloc(1, sizeof(FaultDetailStr)));
    // Without room for the detail the fault is still worth reporting.
    if (record->faultDetDesc == nullptr)
        return 0;
    if (fillFaultDetailStr(cwmpFault, record) != 0)
        return 1;
    return fillSetParamFaults(cwmpFault, record);
}

FaultStr *getFaultAttributes(XMLNode *envelope, int kind)
{
    if (envelope == nullptr || kind != kMessageFault)
        return nullptr;
    XMLNode *faultNode = getTagSoapNode(envelope, "Fault", "Body", 1);
    if (faultNode == nullptr)
        return nullptr;
    Owned<FaultStr, freeFaultStructure> record(static_cast<FaultStr *>(calloc(1, sizeof(FaultStr))));
    if (record == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "getFaultAttributes",
                      "Error occured while allocating memory to \"retFaultNode\"");
        return nullptr;
    }
    if (fillFaultStr(faultNode, record.get()) != 0 || readDetail(faultNode, record.get()) != 0)
        return nullptr;
    return record.release();
}

int fillFaultStr(XMLNode *faultNode, FaultStr *record)
{
    if (faultNode == nullptr || record == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "fillFaultStr", "Error NULL Value retFaultNode");
        return 1;
    }
    record->faultCode = getSoapTagValue(faultNode, "faultcode", "Fault", 1);
    if (record->faultCode == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "fillFaultStr",
                      "Error occured to \"retFaultNode->faultCode\"");
        return 1;
    }
    printf("[%s]\n", "fillFaultStr");
    record->faultStr = getSoapTagValue(faultNode, "faultstring", "Fault", 1);
    return record->faultStr == nullptr ? 1 : 0;
}

// A required number.
static bool readNumber(XMLNode *node, const char *tagName, const char *ancestor, int depth, int32_t *number)
{
    const OwnedText text(getSoapTagValue(node, tagName, ancestor, depth));
    *number = textToInt(text.get());
    return text != nullptr;
}

int fillFaultDetailStr(XMLNode *cwmpFaultNode, FaultStr *record)
{
    if (cwmpFaultNode == nullptr || record == nullptr || record->faultDetDesc == nullptr)
        return 1;
    // The ancestor tells the detail's own code from those of the parameter faults, but only the first
    // FaultCode in the document is looked at.
    FaultDetailStr *detail = record->faultDetDesc;
    if (!readNumber(cwmpFaultNode, "FaultCode", "detail", 2, &detail->faultCode)) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "fillFaultDetailStr",
                      "Error occured while allocating memory to\t\"tmp_FaultCodeStr\"");
        return 1;
    }
    detail->faultStr = getSoapTagValue(cwmpFaultNode, "FaultString", "detail", 2);
    return detail->faultStr == nullptr ? 1 : 0;
}

static SetParamFaultStr *readParameterFault(XMLNode *node)
{
    constexpr char kParent[] = "SetParameterValuesFault";
    Owned<SetParamFaultStr, freeSetParamFaultStructure> fault(
        static_cast<SetParamFaultStr *>(calloc(1, sizeof(SetParamFaultStr))));
    if (fault == nullptr)
        return nullptr;
    fault->parameterName = getSoapTagValue(node, "ParameterName", kParent, 1);
    if (fault->parameterName == nullptr || !readNumber(node, "FaultCode", kParent, 1, &fault->faultCode))
        return nullptr;
    fault->faultStr = getSoapTagValue(node, "FaultString", kParent, 1);
    return fault->faultStr == nullptr ? nullptr : fault.release();
}

int fillSetParamFaults(XMLNode *cwmpFaultNode, FaultStr *record)
{
    if (cwmpFaultNode == nullptr || record == nullptr || record->faultDetDesc == nullptr)
        return 1;
    FaultDetailStr *detail = record->faultDetDesc;
    XMLNode *node = getSoapNode(cwmpFaultNode, "SetParameterValuesFault");
    for (; node != nullptr; node = node->peer) {
        SetParamFaultStr *fault = readParameterFault(node);
        if (fault == nullptr)
            return 1;
        fault->next = detail->parameterFaults;
        detail->parameterFaults = fault;
    }
    return 0;
}

void dumpFaultStr(const FaultStr *record)
{
    if (record == nullptr)
        return;
    printf(" retFaultStr->faultCode = %s\n", textOrNull(record->faultCode));
    printf(" retFaultStr->faultStr = %s\n", textOrNull(record->faultStr));
    const FaultDetailStr *detail = record->faultDetDesc;
    if (detail == nullptr)
        return;
    printf(" retFaultStr->faultDetDesc->faultCode = %d\n", detail->faultCode);
    printf(" retFaultStr->faultDetDesc->faultStr = %s\n", textOrNull(detail->faultStr));
    for (const SetParamFaultStr *fault = detail->parameterFaults; fault != nullptr; fault = fault->next) {
        printf("setParameterValueFaultStr->parameterName = %s\n", textOrNull(fault->parameterName));
        printf("setParameterValueFaultStr->faultCode = %d\n", fault->faultCode);
        printf("setParameterValueFaultStr->faultStr = %s\n", textOrNull(fault->faultStr));
    }
}
