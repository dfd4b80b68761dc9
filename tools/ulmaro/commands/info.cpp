#include <dlfcn.h>
#include <stdlib.h>

#include <cstdio>
#include <memory>
#include <string>

#include "UlmaroAlgrithm.h"
#include "base/cpu.hpp"
#include "cli/cli.hpp"
#include "commands/commands.hpp"
#include "support/kernels.hpp"

namespace ulmaro::tool {
namespace {

/// The library that draws keys at run time, which need not be the one of the build.
std::string library_path() {
    Dl_info info{};
    const auto* const source_of_keys = reinterpret_cast<const void*>(&SM2_ECC_GenerateKeyPair);
    if (::dladdr(source_of_keys, &info) == 0 || info.dli_fname == nullptr) return "unknown";
    const std::unique_ptr<char, decltype(&::free)> path(::realpath(info.dli_fname, nullptr), &::free);
    return path ? path.get() : info.dli_fname;
}

const char* random_source([[maybe_unused]] const std::string& library) {
#ifdef ULMARO_STATIC
    return "the kernel (getrandom)";
#else
    return library.find("Hardened") != std::string::npos ? "the kernel (getrandom)" : "the C library (rand)";
#endif
}

std::string processor_features() {
    std::string list;
    for (const CpuFeatureName& feature : cpu_feature_names()) {
        if (!feature.present) continue;
        if (!list.empty()) list += ' ';
        list += feature.name;
    }
    return list.empty() ? "none that matter here" : list;
}

}  // namespace

void add_info(CLI::App& app) {
    cli::command(app, "info", "Print the version, the library in use and the processor's features", [] {
        const std::string library = library_path();
        std::printf("version    %s\n", ULMARO_ALGRITHM_VERSION);
        std::printf("library    %s\n", library.c_str());
        std::printf("random     %s\n", random_source(library));
        std::printf("processor  %s\n", processor_features().c_str());
        std::printf("kernels    %s\n", kernels_in_use().c_str());
    });
}

}  // namespace ulmaro::tool
