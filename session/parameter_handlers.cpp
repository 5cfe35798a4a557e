#include <cstdio>
#include <cstdlib>

#include "SOAPParser.h"
#include "fault_response.h"
#include "owned.h"
#include "parameter_requests.h"
#include "rpc_arguments.h"
#include "rpc_handlers.h"
#include "session_header.h"
#include "session_limits.h"
#include "session_log.h"
#include "soap_writer.h"
#include "text.h"
#include "utf8.h"

static char *refuseRequest(const char *function, const char *reason)
{
    logError(function, reason);
    return nullptr;
}

static void cutName(char *name)
{
    if (safeStrlen(name) > kLongestName)
        name[kLongestName] = '\0';
}

char *handle_SetParamValReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind,
                            int *length, int *flag)
{
    const Owned<SetParamValStr, freeSetParamValStr> request(getSetParamValAttr(envelope, methodName, kind));
    if (request == nullptr)
        return refuseRequest("handle_SetParamValReq", "Error while processing set Parameter Value request");
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    int fault = 0;
    int status = 0;
    Owned<SetParamFaultStr, freeSetParamFaultStructure> refused(
        setParamValue_Request(request.get(), &fault, &status, flag));
    if (fault != 0)
        return sendFaultResponse(fault, header.get(), refused.release(), length);
    return construct_SetParamValueRespose(status, header.get(), length);
}

// The values as an answer in UTF-8; takes the records, which are gone before the text is converted.
static char *answerValues(ParameterValueRecord *values, const SoapHeaderEntry *header, int *length, int count)
{
    char *text = construct_GetParamValueRespose(values, header, length, count);
    freeParamValueStr(values);
    return convertToUtf8(text, length);
}

char *handle_GetParamValReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind,
                            int *length, int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    int count = 0;
    char **names = getParameterValues(envelope, methodName, kind, &count);
    if (count < 0)
        return refuseRequest("handle_GetParamValReq", "Error while processing get Parameter Value request");
    for (int i = 0; i < count; ++i)
        cutName(names[i]);

    int fault = 0;
    const char *nothing = " "; // stands for a request that names nothing
    ParameterValueRecord *values =
        count > 0 ? getParamValue_Request(names, count, &fault) : getParamValue_Request(&nothing, 1, &fault);
    freeArray(names, count);
    if (fault == 0)
        return answerValues(values, header.get(), length, count);
    freeParamValueStr(values);
    return sendFaultResponse(fault, header.get(), nullptr, length);
}

char *handle_GetParamNamesReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind,
                              int *length, int *)
{
    int nextLevel = 0;
    const OwnedText path(processGetParameterNames(envelope, methodName, kind, &nextLevel));
    if (path == nullptr)
        return refuseRequest("handle_GetParamNamesReq", "Error while processing get Parameter Names request");
    cutName(path.get());
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    int fault = 0;
    const Owned<ParameterNameRecord, freeParamNameRecords> names(
        getParamNames_Request(path.get(), nextLevel, &fault));
    if (fault != 0)
        return sendFaultResponse(fault, header.get(), nullptr, length);
    return construct_GetParamNamesValueRespose(names.get(), header.get(), length);
}

// In both attribute RPCs only a positive code is a fault; the bus's own negative errors are not.

static char *setAttributes(XMLNode *envelope, const char *methodName, const SoapHeaderEntry *header, int kind,
                           int *length)
{
    const Owned<ParamAttrEntry, freeParamAttrStruct> request(getSetParameterAttr(envelope, methodName, kind));
    if (request == nullptr) {
        puts("handle_GetSetParamAttrReq: getSetParameterAttr ret NULL");
        return nullptr;
    }
    const int fault = setParamAttr_Request(request.get());
    if (fault >= 1)
        return sendFaultResponse(fault, header, nullptr, length);
    return construct_EmptySoapMessage("SetParameterAttributes", header, length);
}

static char *getAttributes(XMLNode *envelope, const char *methodName, const SoapHeaderEntry *header, int kind,
                           int *length)
{
    int count = 0;
    char **names = getParamAttrNames(envelope, methodName, kind, &count);
    int fault = 0;
    Owned<ParameterAttributeRecord, freeParamAttrRecords> attributes;
    if (count > 0)
        attributes.reset(getParamAttr_Request(names, count, &fault));
    freeArray(names, count);
    if (fault >= 1)
        return sendFaultResponse(fault, header, nullptr, length);
    return construct_GetParamNamesAttrRespose(attributes.get(), header, length);
}

char *handle_GetSetParamAttrReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind,
                                int *length, int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    const bool sets = safeStrncmp(methodName, "SetParameterAttributes", safeStrlen(methodName)) == 0;
    return (sets ? setAttributes : getAttributes)(envelope, methodName, header.get(), kind, length);
}

char *handle_ADDObjReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind, int *length,
                       int *flag)
{
    const Owned<AddDelObjStr, freeAddDelObjStr> request(getAddDelObjectAttr(envelope, methodName, kind));
    if (request == nullptr)
        return refuseRequest("handle_ADDObjReq", "Error while processing ADD object request");
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    int instance = 0;
    int status = 0;
    const int fault = addDelObject_Request(request.get(), &instance, methodName, &status, flag);
    if (fault != 0)
        return sendFaultResponse(fault, header.get(), nullptr, length);
    return construct_AddDelObjectRespose(methodName, instance, status, header.get(), length);
}
