// Benchmarks of the library beside its peers, in one process. Run it interleaved, so that a change of the machine's
// speed meets all alike:
//
//   ulmaro_bench --benchmark_enable_random_interleaving=true --benchmark_repetitions=9 --benchmark_min_time=0.05
#include <benchmark/benchmark.h>

#include <memory>

#include "cases.hpp"
#include "ratios.hpp"

namespace bench {

std::string size_name(std::size_t size) {
    if (size >= 1 << 20) return std::to_string(size >> 20) + "MiB";
    if (size >= 1 << 10) return std::to_string(size >> 10) + "KiB";
    return std::to_string(size) + "B";
}

void add(const std::string& operation, std::size_t size, const std::string& implementation,
         std::function<void()> work) {
    const std::string name = operation + "/" + size_name(size) + "/" + implementation;
    benchmark::RegisterBenchmark(name.c_str(), [work = std::move(work), size](benchmark::State& state) {
        for (auto _ : state) work();
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
    });
}

const unsigned char* input(std::size_t size) {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> filled(kSizes[std::size(kSizes) - 1]);
        unsigned x = 1;
        for (unsigned char& byte : filled) byte = static_cast<unsigned char>((x = x * 1103515245 + 12345) >> 16);
        return filled;
    }();
    return size <= bytes.size() ? bytes.data() : nullptr;
}

unsigned char* output(std::size_t size) {
    static std::vector<unsigned char> bytes(kSizes[std::size(kSizes) - 1] + 64);
    return size <= bytes.size() ? bytes.data() : nullptr;
}

}  // namespace bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
