#include <cstdio>

#include "print_to_syslog.h"
#include "soap_writer.h"

// The lists can hold thousands of records, so what lies between two texts of a record is one literal.

static void logValues(const char *message)
{
    printToSyslog("LOG_ERR", kWriterModule, "getConstructParamStr", message);
}

static bool isComplete(const ParameterValueRecord &record)
{
    if (record.name == nullptr) {
        logValues("Parameter Name is NULL");
        return false;
    }
    if (record.value != nullptr && record.type != nullptr)
        return true;
    logValues(record.value == nullptr ? "Parameter Value is NULL" : "Parameter Type is NULL");
    printf("Parameter Name = %s\n", record.name);
    return false;
}

size_t getConstructParamStr(MessageWriter &writer, const ParameterValueRecord *list, int count)
{
    const size_t start = writer.position;
    if (list == nullptr) {
        // An empty list names another struct than a filled one, that of the parameter names; meant so.
        writeLiteral(writer,
                     "<ParameterList SOAP-ENC:arrayType=\"cwmp:ParameterInfoStruct[0]\"></ParameterList>");
        return writer.position - start;
    }
    if (count < 1) {
        logValues("Array Size is NULL");
        return 0;
    }
    if (!writeArrayTag(writer, "ParameterList", "cwmp:ParameterValueStruct", count)) {
        logValues("Array Size is NULL(arrSize)");
        return 0;
    }
    for (; list != nullptr; list = list->next) {
        if (!isComplete(*list))
            return 0;
        writeLiteral(writer, "<ParameterValueStruct><Name>");
        writeContent(writer, list->name);
        writeLiteral(writer, "</Name><Value xsi:type=\"xsd:");
        writeText(writer, list->type);
        writeLiteral(writer, "\">");
        writeContent(writer, list->value);
        writeLiteral(writer, "</Value></ParameterValueStruct>");
    }
    writeLiteral(writer, "</ParameterList>");
    return writer.position - start;
}

char *construct_GetParamValueRespose(const ParameterValueRecord *values, const SoapHeaderEntry *header,
                                     int *length, [[maybe_unused]] int count)
{
    const int recordCount = countRecords(values);
    const auto writeBody = [&](MessageWriter &writer) {
        return getConstructParamStr(writer, values, recordCount) != 0;
    };
    return buildEnvelope("GetParameterValues", kResponseName, header, length, writeBody);
}

static bool writeNames(MessageWriter &writer, const ParameterNameRecord *names, int count)
{
    if (!writeArrayTag(writer, "ParameterList", "cwmp:ParameterInfoStruct", count))
        return false;
    for (; names != nullptr; names = names->next) {
        if (names->name == nullptr)
            return false;
        writeLiteral(writer, "<ParameterInfoStruct><Name>");
        writeContent(writer, names->name);
        writeLiteral(writer, "</Name><Writable>");
        if (!writeNumber(writer, names->writable))
            return false;
        writeLiteral(writer, "</Writable></ParameterInfoStruct>");
    }
    writeLiteral(writer, "</ParameterList>");
    return true;
}

char *construct_GetParamNamesValueRespose(const ParameterNameRecord *names, const SoapHeaderEntry *header,
                                          int *length)
{
    const int count = countRecords(names);
    const auto writeBody = [&](MessageWriter &writer) { return writeNames(writer, names, count); };
    return buildEnvelope("GetParameterNames", kResponseName, header, length, writeBody);
}

static bool endsList(const ParameterAttributeRecord &record)
{
    if (record.name == nullptr || record.notification < 0)
        return true;
    const size_t length = strlen(record.name);
    return length > 0 && record.name[length - 1] == '.';
}

static int countAttributes(const ParameterAttributeRecord *attributes)
{
    int count = 0;
    for (; attributes != nullptr && !endsList(*attributes); attributes = attributes->next)
        ++count;
    return count;
}

static bool writeAccessList(MessageWriter &writer, const ParameterAttributeRecord &record)
{
    const int count = record.accessList == nullptr ? 0 : record.accessListCount;
    if (!writeArrayTag(writer, "AccessList", "xsd:string", count))
        return false;
    for (int i = 0; i < count; ++i) {
        if (!writeKnownElement(writer, "string", record.accessList[i]))
            return false;
    }
    writeLiteral(writer, "</AccessList>");
    return true;
}

static bool writeAttributes(MessageWriter &writer, const ParameterAttributeRecord *attributes, int count)
{
    if (!writeArrayTag(writer, "ParameterList", "cwmp:ParameterAttributeStruct", count))
        return false;
    for (int i = 0; i < count; ++i, attributes = attributes->next) {
        writeLiteral(writer, "<ParameterAttributeStruct><Name>");
        writeContent(writer, attributes->name);
        writeLiteral(writer, "</Name><Notification>");
        if (!writeNumber(writer, attributes->notification))
            return false;
        writeLiteral(writer, "</Notification>");
        if (!writeAccessList(writer, *attributes))
            return false;
        writeLiteral(writer, "</ParameterAttributeStruct>");
    }
    writeLiteral(writer, "</ParameterList>");
    return true;
}

char *construct_GetParamNamesAttrRespose(const ParameterAttributeRecord *attributes,
                                         const SoapHeaderEntry *header, int *length)
{
    *length = 0;
    if (attributes == nullptr)
        return nullptr;
    const int count = countAttributes(attributes);
    const auto writeBody = [&](MessageWriter &writer) { return writeAttributes(writer, attributes, count); };
    BuildStatus status = BuildStatus::built;
    char *message =
        buildEnvelope("GetParameterAttributes", kResponseName, header, length, writeBody, &status);
    if (status == BuildStatus::lengthMismatch)
        printToSyslog("LOG_ERR", kWriterModule, "construct_GetParamNamesAttrRespose",
                      "Length is not matching");
    return message;
}
