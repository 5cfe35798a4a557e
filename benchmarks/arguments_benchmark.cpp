#include "SOAPParser.h"
#include "messages.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "xml_node_list.h"

#include <benchmark/benchmark.h>

// Reading the arguments of a validated message: the time has to grow with the message. The label is the time
// for each struct or name, which stays the same.

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

BENCHMARK(setParameterValues)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);
BENCHMARK(getParameterValues)->RangeMultiplier(10)->Range(10, 10000)->Complexity(benchmark::oN);

BENCHMARK_MAIN();
