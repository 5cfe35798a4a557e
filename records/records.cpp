#include <cstdlib>
#include <initializer_list>

#include "faults.h"
#include "inform.h"
#include "parameters.h"
#include "soap_header.h"
#include "transfers.h"

// Frees a list: what each record owns through freeFields, then the record, along next.
template <typename Record, typename FreeFields>
static void freeList(Record *list, FreeFields freeFields)
{
    while (list != nullptr) {
        Record *next = list->next;
        freeFields(*list);
        free(list);
        list = next;
    }
}

void freeArray(char **array, int count)
{
    if (array == nullptr)
        return;
    for (int i = 0; i < count; ++i)
        free(array[i]);
    free(array);
}

void freeSoapHdr(SoapHeaderEntry *list)
{
    freeList(list, [](SoapHeaderEntry &entry) {
        free(entry.name);
        free(entry.value);
    });
}

void freeParamValueStr(ParameterValueRecord *list)
{
    freeList(list, [](ParameterValueRecord &record) {
        free(record.type);
        free(record.value);
        free(record.name);
    });
}

void freeParamNameRecords(ParameterNameRecord *list)
{
    freeList(list, [](ParameterNameRecord &record) { free(record.name); });
}

void freeParamAttrRecords(ParameterAttributeRecord *list)
{
    freeList(list, [](ParameterAttributeRecord &record) {
        free(record.name);
        freeArray(record.accessList, record.accessListCount);
    });
}

void freeSetParamValStr(SetParamValStr *request)
{
    if (request == nullptr)
        return;
    freeList(request->list, [](ParamValueEntry &entry) {
        free(entry.Name);
        free(entry.Value);
        free(entry.Type);
    });
    free(request->ParameterKey);
    free(request);
}

void freeParamAttrStruct(ParamAttrEntry *list)
{
    freeList(list, [](ParamAttrEntry &entry) {
        free(entry.Name);
        freeArray(entry.AccessList, entry.AccessListCount);
    });
}

void freeAddDelObjStr(AddDelObjStr *request)
{
    if (request == nullptr)
        return;
    free(request->ObjectName);
    free(request->ParameterKey);
    free(request);
}

void freeDownloadStr(DownloadStr *request)
{
    if (request == nullptr)
        return;
    for (char *text : {request->CommandKey, request->FileType, request->URL, request->Username,
                       request->Password, request->FileSize, request->TargetFileName, request->DelaySeconds,
                       request->SuccessURL, request->FailureURL})
        free(text);
    free(request);
}

void freeUploadStr(UploadStr *request)
{
    if (request == nullptr)
        return;
    for (char *text : {request->CommandKey, request->FileType, request->URL, request->Username,
                       request->Password, request->DelaySeconds})
        free(text);
    free(request);
}

void freeTCDS(TransferCompleteRecord *record)
{
    if (record == nullptr)
        return;
    freeList(record->fault, [](TransferFault &fault) { free(fault.string); });
    free(record->commandKey);
    free(record->startTime);
    free(record->completeTime);
    free(record);
}

void freeDeviceId(DeviceId *identity)
{
    if (identity == nullptr)
        return;
    free(identity->manufacturer);
    free(identity->oui);
    free(identity->productClass);
    free(identity->serialNumber);
    free(identity);
}

void freeEventList(InformEvent *list)
{
    freeList(list, [](InformEvent &event) {
        free(event.eventCode);
        free(event.commandKey);
    });
}

void freeInformRecord(InformRecord *inform)
{
    if (inform == nullptr)
        return;
    freeDeviceId(inform->deviceId);
    freeEventList(inform->events);
    freeParamValueStr(inform->parameters);
    free(inform);
}

void freeSetParamFaultStructure(SetParamFaultStr *list)
{
    freeList(list, [](SetParamFaultStr &fault) {
        free(fault.faultStr);
        free(fault.parameterName);
    });
}

void freeFaultStructure(FaultStr *fault)
{
    if (fault == nullptr)
        return;
    if (fault->faultDetDesc != nullptr) {
        freeSetParamFaultStructure(fault->faultDetDesc->parameterFaults);
        free(fault->faultDetDesc->faultStr);
        free(fault->faultDetDesc);
    }
    free(fault->faultCode);
    free(fault->faultStr);
    free(fault);
}
