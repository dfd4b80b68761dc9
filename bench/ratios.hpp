// Reporter that prints, after the usual lines, how many times as fast as each peer the library was.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_None) {}
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;
    /// Whether any case gave a wrong result.
    bool failed() const { return failed_; }

private:
    bool failed_ = false;
    std::map<std::string, std::map<std::string, std::vector<double>>> times_;
};

}  // namespace bench
