// A target as libFuzzer runs it. The library's diagnostics are discarded: they would slow the fuzzers down and bury
// their reports.
#include "fuzz/fuzz.hpp"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* input, std::size_t size);

int LLVMFuzzerInitialize(int*, char***) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    return 0;
}

int LLVMFuzzerTestOneInput(const unsigned char* input, std::size_t size) {
    ulmaro::fuzz::Data data({input, size});
    ulmaro::fuzz::run(data);
    return 0;
}
