#include "SOAPParser.h"
#include "messages.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "xml_node_list.h"

#include <benchmark/benchmark.h>

// Reading the arguments of a validated message, and the whole of a hostile one: the time has to grow with the
// message. The label is the time for each struct, name or element, which stays the same.

template <typename Read>
static void readMessage(benchmark::State &state, std::string text, Read read)
{
    XMLNode *tree = parseSOAPMessage(text.data(), static_cast<int>(text.size()));
    if (validateSOAPMessage(tree, 1) != 0) {
        state.SkipWithError("not valid");
        return;
    }
    XMLNode *envelope = getEnvelope(tree, 1);
    for (auto _ : state)
        read(envelope);
    ILibDestructXMLNodeList(tree);
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

static void setParameterValues(benchmark::State &state)
{
    readMessage(state, makeSetRequest(static_cast<int>(state.range(0))), [](XMLNode *envelope) {
        SetParamValStr *request = getSetParamValAttr(envelope, "SetParameterValues", kMessageRequest);
        benchmark::DoNotOptimize(request);
        freeSetParamValStr(request);
    });
}

static void getParameterValues(benchmark::State &state)
{
    readMessage(state, makeGetRequest(static_cast<int>(state.range(0))), [](XMLNode *envelope) {
        int count = 0;
        char **names = getParameterValues(envelope, "GetParameterValues", kMessageRequest, &count);
        benchmark::DoNotOptimize(names);
        freeArray(names, count);
    });
}

static std::string repeat(const std::string &text, int64_t times)
{
    std::string all;
    for (int64_t i = 0; i < times; ++i)
        all += text;
    return all;
}

// Shapes that a search for each element, or a copy for each, would take very long over.
struct Hostile {
    const char *begin, *opening, *middle, *closing, *end; // opening, middle and closing once an element
};

constexpr Hostile kNesting = {"<Envelope><Body>", "<d>", "", "</d>", "</Body></Envelope>"};
constexpr Hostile kLongName = {"<Envelope><Body><n", "n", "", "", "/></Body></Envelope>"};
constexpr Hostile kOpenTags = {"<Envelope><Body", "<a ", "", "</a ", "</Body></Envelope>"};
constexpr Hostile kHeaderElements = {"<Envelope><Header", "<a", "    ", "</a", "</Header></Envelope>"};
constexpr Hostile kDeclarations = {"<Envelope><Body>", "<a xmlns:p='u'>", "", "</a>", "</Body></Envelope>"};

static void readHostile(benchmark::State &state, const Hostile &shape)
{
    const int64_t elements = state.range(0);
    const std::string begin = shape.begin + repeat(shape.opening, elements);
    const std::string whole =
        begin + repeat(shape.middle, elements) + repeat(shape.closing, elements) + shape.end;
    for (auto _ : state) {
        std::string text = whole;
        XMLNode *tree = parseSOAPMessage(text.data(), static_cast<int>(text.size()));
        benchmark::DoNotOptimize(validateSOAPMessage(tree, 1));
        XMLNode *envelope = getEnvelope(tree, 1);
        freeSoapHdr(processSoapHeader(envelope));
        int length = 0, kind = 0;
        benchmark::DoNotOptimize(getRPCMethodName(envelope, &length, &kind));
        ILibDestructXMLNodeList(tree);
    }
    state.SetComplexityN(elements);
    state.SetItemsProcessed(state.iterations() * elements);
}

static void growTenfold(benchmark::internal::Benchmark *runs)
{
    runs->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);
}

BENCHMARK(setParameterValues)->Apply(growTenfold);
BENCHMARK(getParameterValues)->Apply(growTenfold);
BENCHMARK_CAPTURE(readHostile, nesting, kNesting)->Apply(growTenfold);
BENCHMARK_CAPTURE(readHostile, longName, kLongName)->Apply(growTenfold);
BENCHMARK_CAPTURE(readHostile, openTags, kOpenTags)->Apply(growTenfold);
BENCHMARK_CAPTURE(readHostile, header, kHeaderElements)->Apply(growTenfold);
BENCHMARK_CAPTURE(readHostile, scopes, kDeclarations)->Apply(growTenfold);

BENCHMARK_MAIN();
