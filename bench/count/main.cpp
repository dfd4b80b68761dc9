// Runs cases so that a plugin of the emulator can count what one call costs: each case once for its result, then
// several times between two marks. A mark is a system call that does nothing and carries a number no other does.
//
//   ulmaro_count                lists the cases
//   ulmaro_count --about        names the kernels in use, the peers and the compiler
//   ulmaro_count TIMES CASE...  runs these cases, in this order
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cases.hpp"
#include "entry/kernel_names.hpp"

namespace bench {

std::span<const std::size_t> sizes() {
    static constexpr std::size_t data_sizes[] = {16, 64, 1024, 16384};
    return data_sizes;
}

namespace {

constexpr long mark_word = 0x756c6d61726f2121;  // plugin.c has it too

std::string name_of(const Case& c) { return c.operation + "/" + c.implementation; }

int about() {
    for (const ulmaro::KernelName& kernel : ulmaro::kernel_names())
        std::printf("kernel %s\t%s\n", kernel.unit, kernel.name);
    for (const auto& [name, version] : notes()) std::printf("peer %s\t%s\n", name.c_str(), version.c_str());
    std::printf("compiler\t%s\n", ULMARO_COMPILER);
    return 0;
}

bool run(const char* name, long times) {
    const auto found = std::find_if(cases().begin(), cases().end(), [=](const Case& c) { return name_of(c) == name; });
    if (found == cases().end() || !found->passes()) {
        std::fprintf(stderr, "%s: %s\n", name, found == cases().end() ? "no such case" : "wrong result");
        return false;
    }
    ::syscall(SYS_getppid, mark_word);
    for (long i = 0; i < times; ++i) found->work();
    ::syscall(SYS_getppid, mark_word);
    return true;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--about") == 0) return bench::about();
    if (argc == 1)
        for (const bench::Case& c : bench::cases()) std::puts(bench::name_of(c).c_str());
    const bool right = std::all_of(argv + std::min(argc, 2), argv + argc,
                                   [=](const char* name) { return bench::run(name, std::atol(argv[1])); });
    return right ? 0 : 1;
}
