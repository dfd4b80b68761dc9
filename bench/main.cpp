// Benchmarks of the library beside its peers, in one process. Run it interleaved, so that a change in the machine's
// speed affects all alike:
//
//   ulmaro_bench --benchmark_enable_random_interleaving=true --benchmark_repetitions=9 --benchmark_min_time=0.05
#include <benchmark/benchmark.h>

#include "cases.hpp"
#include "entry/kernel_names.hpp"
#include "ratios.hpp"

namespace bench {

std::span<const std::size_t> sizes() {
    static constexpr std::size_t data_sizes[] = {16, 64, 1024, 16384, 65536, 1 << 20, 64 << 20};
    return data_sizes;
}

}  // namespace bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    for (const ulmaro::KernelName& kernel : ulmaro::kernel_names())
        benchmark::AddCustomContext(std::string("kernel ") + kernel.unit, kernel.name);
    for (const auto& [name, version] : bench::notes()) benchmark::AddCustomContext("peer " + name, version);
    benchmark::AddCustomContext("compiler", ULMARO_COMPILER);
    for (bench::Case& c : bench::cases()) {
        const std::string name = c.operation + "/" + c.implementation;
        benchmark::RegisterBenchmark(name.c_str(), [&c](benchmark::State& state) {
            if (!c.passes()) return state.SkipWithError("wrong result");
            for (auto _ : state) c.work();
            if (c.size != 0) state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.size));
        });
    }
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.failed() ? 1 : 0;
}
