// Reporter that prints, after the usual lines, how many times as fast as each peer the library was.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    std::vector<std::string> order_;
    std::map<std::string, std::map<std::string, std::vector<double>>> times_;
};

}  // namespace bench
