#include "ratios.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <vector>

#include "cases.hpp"

namespace bench {
namespace {

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        failed_ = failed_ || run.error_occurred;
        if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
        const std::string& name = run.run_name.function_name;
        const std::size_t slash = name.rfind('/');
        const std::string operation = name.substr(0, slash);
        times_[operation][name.substr(slash + 1)].push_back(run.GetAdjustedCPUTime());
    }
    // Of repeated cases only the medians are printed.
    std::vector<Run> shown;
    std::copy_if(runs.begin(), runs.end(), std::back_inserter(shown), [](const Run& run) {
        return run.error_occurred || run.repetitions == 1 || run.aggregate_name == "median";
    });
    if (!shown.empty()) ConsoleReporter::ReportRuns(shown);
}

void RatioReporter::Finalize() {
    std::printf("\nTimes as fast as the peer (ratio of medians; above 1 is faster):\n");
    for (const Case& c : cases()) {  // in their own order, because that of the runs may be random
        const std::string& operation = c.operation;
        const auto& by_implementation = times_[operation];
        const auto own = by_implementation.find("ulmaro");
        if (c.implementation != "ulmaro" || own == by_implementation.end()) continue;
        std::printf("%-32s", operation.c_str());
        for (const auto& [implementation, times] : by_implementation)
            if (implementation != "ulmaro")
                std::printf("  %s %.2f", implementation.c_str(), median(times) / median(own->second));
        std::printf("\n");
    }
}

}  // namespace bench
