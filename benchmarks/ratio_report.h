#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

// Names are DOCUMENT/READER; behind the usual table stands, for each document, how many times as fast the
// reader "ours" was as every other one in this run.

class RatioReport : public benchmark::ConsoleReporter
{
    std::map<std::string, std::map<std::string, double>> fastest;

  public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            const std::string &name = run.run_name.function_name;
            const size_t slash = name.rfind('/');
            if (slash == name.npos || run.run_type != Run::RT_Iteration)
                continue;
            double &time = fastest[name.substr(0, slash)][name.substr(slash + 1)];
            const double perIteration = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            time = time == 0 ? perIteration : std::min(time, perIteration);
        }
    }

    void printRatios() const
    {
        printf("\ntimes as fast as the peer (fastest repetition of each)\n");
        for (const auto &[document, readers] : fastest) {
            const auto ours = readers.find("ours");
            if (ours == readers.end())
                continue;
            printf("%-24s %10.1f us", document.c_str(), ours->second * 1e6);
            for (const auto &[reader, time] : readers)
                if (reader != "ours")
                    printf("   %s %.2f", reader.c_str(), time / ours->second);
            printf("\n");
        }
    }
};

inline int runWithRatios(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReport report;
    benchmark::RunSpecifiedBenchmarks(&report);
    report.printRatios();
    return 0;
}
