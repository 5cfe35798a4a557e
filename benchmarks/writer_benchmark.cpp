#include "soap_writer.h"

#include "owned.h"
#include "ratio_report.h"
#include "text.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <libxml/xmlwriter.h>
#include <malloc.h>
#include <string>
#include <vector>

// The response writers beside two ways to write the same text: appending to a std::string, and libxml2's text
// writer. The peers get no SOAP header either; libxml2 writes values raw, since they come escaped.

namespace
{

struct Lists {
    std::vector<ParameterValueRecord> values;
    std::vector<ParameterNameRecord> names;
    std::vector<ParameterAttributeRecord> attributes;
    std::vector<OwnedText> texts;
    std::vector<char *> access;
};

char *keepText(Lists &lists, const std::string &text)
{
    lists.texts.emplace_back(getMsg(text.c_str()));
    return lists.texts.back().get();
}

template <typename Record>
void linkRecords(std::vector<Record> &records)
{
    for (size_t i = 1; i < records.size(); ++i)
        records[i - 1].next = &records[i];
}

// Values as a gateway has them: mostly short, a few longer, some empty.
Lists makeLists(int count)
{
    static const char *const kTypes[] = {"string", "boolean", "unsignedInt", "string", "dateTime"};
    static const char *const kValues[] = {"Acme Residential Gateway", "1", "86400", "",
                                          "2024-05-06T07:08:09"};
    static const char *const kLeaves[] = {"HostName", "Active", "LeaseTimeRemaining", "X_Note", "LastSeen"};
    Lists lists;
    lists.access = {keepText(lists, "Subscriber")};
    for (int i = 0; i < count; ++i) {
        ParameterValueRecord value = {};
        value.type = keepText(lists, kTypes[i % 5]);
        value.value = keepText(lists, kValues[i % 5]);
        value.name = keepText(lists, "InternetGatewayDevice.LANDevice.1.Hosts.Host." +
                                         std::to_string(i / 5 + 1) + "." + kLeaves[i % 5]);
        lists.values.push_back(value);
        lists.names.push_back({value.name, i % 2, nullptr});
        lists.attributes.push_back({value.name, i % 3, i % 2, lists.access.data(), nullptr});
    }
    linkRecords(lists.values);
    linkRecords(lists.names);
    linkRecords(lists.attributes);
    return lists;
}

char *writeValues(const Lists &lists, int *length)
{
    return construct_GetParamValueRespose(lists.values.data(), nullptr, length, 0);
}

char *writeNames(const Lists &lists, int *length)
{
    return construct_GetParamNamesValueRespose(lists.names.data(), nullptr, length);
}

char *writeAttributes(const Lists &lists, int *length)
{
    return construct_GetParamNamesAttrRespose(lists.attributes.data(), nullptr, length);
}

// The std::string peer.

const char kEnvelope[] = "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
                         " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
                         " xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\""
                         " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
                         " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><SOAP-ENV:Body>";
const char kEnvelopeEnd[] = "</SOAP-ENV:Body></SOAP-ENV:Envelope>";

void appendElement(std::string &text, const char *name, const char *value)
{
    text.append("<").append(name).append(">").append(value).append("</").append(name).append(">");
}

void appendArrayTag(std::string &text, const char *name, const char *type, size_t count)
{
    text.append("<").append(name).append(" SOAP-ENC:arrayType=\"").append(type).append("[");
    text.append(std::to_string(count)).append("]\">");
}

std::string appendValues(const Lists &lists)
{
    std::string text(kEnvelope);
    text.append("<cwmp:GetParameterValuesResponse>");
    appendArrayTag(text, "ParameterList", "cwmp:ParameterValueStruct", lists.values.size());
    for (const ParameterValueRecord *value = lists.values.data(); value != nullptr; value = value->next) {
        text.append("<ParameterValueStruct>");
        appendElement(text, "Name", value->name);
        text.append("<Value xsi:type=\"xsd:").append(value->type).append("\">").append(value->value);
        text.append("</Value></ParameterValueStruct>");
    }
    return text.append("</ParameterList></cwmp:GetParameterValuesResponse>").append(kEnvelopeEnd);
}

std::string appendNames(const Lists &lists)
{
    std::string text(kEnvelope);
    text.append("<cwmp:GetParameterNamesResponse>");
    appendArrayTag(text, "ParameterList", "cwmp:ParameterInfoStruct", lists.names.size());
    for (const ParameterNameRecord *name = lists.names.data(); name != nullptr; name = name->next) {
        text.append("<ParameterInfoStruct>");
        appendElement(text, "Name", name->name);
        appendElement(text, "Writable", std::to_string(name->writable).c_str());
        text.append("</ParameterInfoStruct>");
    }
    return text.append("</ParameterList></cwmp:GetParameterNamesResponse>").append(kEnvelopeEnd);
}

std::string appendAttributes(const Lists &lists)
{
    std::string text(kEnvelope);
    text.append("<cwmp:GetParameterAttributesResponse>");
    appendArrayTag(text, "ParameterList", "cwmp:ParameterAttributeStruct", lists.attributes.size());
    for (const ParameterAttributeRecord *record = lists.attributes.data(); record != nullptr;
         record = record->next) {
        text.append("<ParameterAttributeStruct>");
        appendElement(text, "Name", record->name);
        appendElement(text, "Notification", std::to_string(record->notification).c_str());
        appendArrayTag(text, "AccessList", "xsd:string", static_cast<size_t>(record->accessListCount));
        for (int i = 0; i < record->accessListCount; ++i)
            appendElement(text, "string", record->accessList[i]);
        text.append("</AccessList></ParameterAttributeStruct>");
    }
    return text.append("</ParameterList></cwmp:GetParameterAttributesResponse>").append(kEnvelopeEnd);
}

// The libxml2 peer.

const xmlChar *xml(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

void startArray(xmlTextWriterPtr writer, const char *name, const char *type, size_t count)
{
    xmlTextWriterStartElement(writer, xml(name));
    const std::string full = std::string(type) + "[" + std::to_string(count) + "]";
    xmlTextWriterWriteAttribute(writer, xml("SOAP-ENC:arrayType"), xml(full.c_str()));
}

void writeXmlElement(xmlTextWriterPtr writer, const char *name, const char *value)
{
    xmlTextWriterStartElement(writer, xml(name));
    xmlTextWriterWriteRaw(writer, xml(value));
    xmlTextWriterFullEndElement(writer);
}

void writeXmlValues(xmlTextWriterPtr writer, const Lists &lists)
{
    xmlTextWriterStartElement(writer, xml("cwmp:GetParameterValuesResponse"));
    startArray(writer, "ParameterList", "cwmp:ParameterValueStruct", lists.values.size());
    for (const ParameterValueRecord *value = lists.values.data(); value != nullptr; value = value->next) {
        xmlTextWriterStartElement(writer, xml("ParameterValueStruct"));
        writeXmlElement(writer, "Name", value->name);
        xmlTextWriterStartElement(writer, xml("Value"));
        xmlTextWriterWriteAttribute(writer, xml("xsi:type"),
                                    xml((std::string("xsd:") + value->type).c_str()));
        xmlTextWriterWriteRaw(writer, xml(value->value));
        xmlTextWriterFullEndElement(writer);
        xmlTextWriterEndElement(writer);
    }
}

void writeXmlNames(xmlTextWriterPtr writer, const Lists &lists)
{
    xmlTextWriterStartElement(writer, xml("cwmp:GetParameterNamesResponse"));
    startArray(writer, "ParameterList", "cwmp:ParameterInfoStruct", lists.names.size());
    for (const ParameterNameRecord *name = lists.names.data(); name != nullptr; name = name->next) {
        xmlTextWriterStartElement(writer, xml("ParameterInfoStruct"));
        writeXmlElement(writer, "Name", name->name);
        writeXmlElement(writer, "Writable", std::to_string(name->writable).c_str());
        xmlTextWriterEndElement(writer);
    }
}

void writeXmlAttributes(xmlTextWriterPtr writer, const Lists &lists)
{
    xmlTextWriterStartElement(writer, xml("cwmp:GetParameterAttributesResponse"));
    startArray(writer, "ParameterList", "cwmp:ParameterAttributeStruct", lists.attributes.size());
    for (const ParameterAttributeRecord *record = lists.attributes.data(); record != nullptr;
         record = record->next) {
        xmlTextWriterStartElement(writer, xml("ParameterAttributeStruct"));
        writeXmlElement(writer, "Name", record->name);
        writeXmlElement(writer, "Notification", std::to_string(record->notification).c_str());
        startArray(writer, "AccessList", "xsd:string", static_cast<size_t>(record->accessListCount));
        for (int i = 0; i < record->accessListCount; ++i)
            writeXmlElement(writer, "string", record->accessList[i]);
        xmlTextWriterFullEndElement(writer);
        xmlTextWriterEndElement(writer);
    }
}

using WriteXml = void (*)(xmlTextWriterPtr writer, const Lists &lists);

std::string writeXml(WriteXml writeBody, const Lists &lists, bool keep)
{
    xmlBufferPtr buffer = xmlBufferCreate();
    xmlBufferSetAllocationScheme(buffer, XML_BUFFER_ALLOC_DOUBLEIT);
    xmlTextWriterPtr writer = xmlNewTextWriterMemory(buffer, 0);
    xmlTextWriterStartElement(writer, xml("SOAP-ENV:Envelope"));
    const char *const namespaces[][2] = {
        {"xmlns:SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/"},
        {"xmlns:SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/"},
        {"xmlns:cwmp", "urn:dslforum-org:cwmp-1-0"},
        {"xmlns:xsd", "http://www.w3.org/2001/XMLSchema"},
        {"xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance"},
    };
    for (const auto &binding : namespaces)
        xmlTextWriterWriteAttribute(writer, xml(binding[0]), xml(binding[1]));
    xmlTextWriterStartElement(writer, xml("SOAP-ENV:Body"));
    writeBody(writer, lists);
    // The list, the method, the body and the envelope are still open.
    for (int open = 0; open < 4; ++open)
        xmlTextWriterFullEndElement(writer);
    xmlFreeTextWriter(writer);
    std::string text;
    if (keep)
        text = reinterpret_cast<const char *>(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
    return text;
}

struct Contest {
    const char *name;
    char *(*ours)(const Lists &lists, int *length);
    std::string (*appending)(const Lists &lists);
    WriteXml libxml2;
};

const Contest kContests[] = {
    {"values", writeValues, appendValues, writeXmlValues},
    {"names", writeNames, appendNames, writeXmlNames},
    {"attributes", writeAttributes, appendAttributes, writeXmlAttributes},
};

// A comparison of speed means something only between equal texts.
bool allWriteTheSame(const Contest &contest)
{
    const Lists lists = makeLists(7);
    int length = 0;
    const OwnedText ours(contest.ours(lists, &length));
    return ours != nullptr && contest.appending(lists) == ours.get() &&
           writeXml(contest.libxml2, lists, true) == ours.get();
}

void registerContest(const Contest &contest, int count)
{
    const std::string document = std::string(contest.name) + " " + std::to_string(count);
    benchmark::RegisterBenchmark((document + "/ours").c_str(), [=](benchmark::State &state) {
        const Lists lists = makeLists(count);
        int length = 0;
        for (auto _ : state) {
            const OwnedText text(contest.ours(lists, &length));
            benchmark::DoNotOptimize(text.get());
        }
        state.SetBytesProcessed(state.iterations() * length);
    });
    benchmark::RegisterBenchmark((document + "/string_append").c_str(), [=](benchmark::State &state) {
        const Lists lists = makeLists(count);
        size_t length = 0;
        for (auto _ : state) {
            const std::string text = contest.appending(lists);
            length = text.size();
            benchmark::DoNotOptimize(text.data());
        }
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(length));
    });
    benchmark::RegisterBenchmark((document + "/libxml2").c_str(), [=](benchmark::State &state) {
        const Lists lists = makeLists(count);
        for (auto _ : state)
            benchmark::DoNotOptimize(writeXml(contest.libxml2, lists, false));
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(contest.appending(lists).size()));
    });
}

} // namespace

int main(int argc, char **argv)
{
    // Blocks stay in the heap: otherwise the growing string pays mostly for fresh pages from the kernel.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    for (const Contest &contest : kContests) {
        if (!allWriteTheSame(contest)) {
            fprintf(stderr, "%s: the peers write another text\n", contest.name);
            return 1;
        }
        registerContest(contest, 1000);
        registerContest(contest, 10000);
    }
    return runWithRatios(argc, argv);
}
