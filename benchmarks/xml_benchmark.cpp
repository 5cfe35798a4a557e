#include "messages.h"
#include "namespace_table.h"
#include "ratio_report.h"
#include "xml_node_list.h"

#include <cstring>
#include <expat.h>
#include <libxml/parser.h>
#include <pugixml.hpp>

// A message from the ACS to its tree and back to nothing, beside a streaming parser, two trees, and the least
// that any reader must do: look at every byte.

static void readOurs(std::string &text)
{
    XMLNode *list = ILibParseXML(text.data(), 0, static_cast<int>(text.size()));
    if (ILibProcessXMLNodeList(list) != 0)
        abort();
    ILibXML_BuildNamespaceLookupTable(list);
    benchmark::DoNotOptimize(list->next->nsTable);
    ILibDestructXMLNodeList(list);
}

static void countStart(void *count, const XML_Char *, const XML_Char **)
{
    ++*static_cast<size_t *>(count);
}
static void countEnd(void *count, const XML_Char *)
{
    ++*static_cast<size_t *>(count);
}
static void countText(void *count, const XML_Char *, int length)
{
    *static_cast<size_t *>(count) += static_cast<size_t>(length);
}

static void readExpat(std::string &text)
{
    size_t count = 0;
    XML_Parser parser = XML_ParserCreateNS(nullptr, '|');
    XML_SetUserData(parser, &count);
    XML_SetElementHandler(parser, countStart, countEnd);
    XML_SetCharacterDataHandler(parser, countText);
    if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK)
        abort();
    benchmark::DoNotOptimize(count);
    XML_ParserFree(parser);
}

static void readLibxml2(std::string &text)
{
    xmlDocPtr document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0);
    if (document == nullptr)
        abort();
    benchmark::DoNotOptimize(document->children);
    xmlFreeDoc(document);
}

// It writes its terminators into the text, so each round begins with a copy.
static void readPugixml(std::string &text)
{
    std::string copy = text;
    pugi::xml_document document;
    if (!document.load_buffer_inplace(copy.data(), copy.size()))
        abort();
    benchmark::DoNotOptimize(document.first_child());
}

static void scan(std::string &text)
{
    const char *end = text.data() + text.size();
    size_t tags = 0;
    for (const char *at = text.data(); at != nullptr && at < end; ++tags) {
        at = static_cast<const char *>(memchr(at, '<', static_cast<size_t>(end - at)));
        at = at == nullptr ? nullptr : at + 1;
    }
    benchmark::DoNotOptimize(tags);
}

static void registerDocument(const std::string &name, const std::string &document)
{
    struct Reader {
        const char *name;
        void (*read)(std::string &text);
    };
    for (const Reader &reader :
         {Reader{"ours", readOurs}, Reader{"expat", readExpat}, Reader{"libxml2", readLibxml2},
          Reader{"pugixml", readPugixml}, Reader{"memchr", scan}}) {
        auto run = [read = reader.read, text = document](benchmark::State &state) mutable {
            for (auto _ : state)
                read(text);
            state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
        };
        benchmark::RegisterBenchmark((name + "/" + reader.name).c_str(), run);
    }
}

int main(int argc, char **argv)
{
    registerDocument("InformResponse", makeInformResponse());
    for (const int size : {10, 100, 1000, 10000}) {
        registerDocument("set " + std::to_string(size), makeSetRequest(size));
        registerDocument("get " + std::to_string(size), makeGetRequest(size));
    }
    return runWithRatios(argc, argv);
}
