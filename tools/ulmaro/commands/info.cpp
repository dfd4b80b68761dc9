#include <dlfcn.h>
#include <stdlib.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "UlmaroAlgrithm.h"
#include "base/cpu.hpp"
#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/kernels.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

/// The library that draws keys at run time, which need not be the one of the build.
std::string library_path() {
#ifdef ULMARO_STATIC
    return "in the tool";
#else
    Dl_info info{};
    const auto* const source_of_keys = reinterpret_cast<const void*>(&SM2_ECC_GenerateKeyPair);
    if (::dladdr(source_of_keys, &info) == 0 || info.dli_fname == nullptr) return "unknown";
    const std::unique_ptr<char, decltype(&::free)> path(::realpath(info.dli_fname, nullptr), &::free);
    return path ? path.get() : info.dli_fname;
#endif
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
    const auto json = std::make_shared<bool>(false);
    CLI::App& sub =
        cli::command(app, "info", "Print the version, the library in use and the processor's features", [json] {
            const std::string library = library_path();
            const std::pair<const char*, std::string> rows[] = {{"version", ULMARO_ALGRITHM_VERSION},
                                                                {"library", library},
                                                                {"random", random_source(library)},
                                                                {"processor", processor_features()},
                                                                {"kernels", kernels_in_use()}};
            const char* before = "{";
            for (const auto& [name, value] : rows) {
                if (!*json) {
                    std::printf("%-10s %s\n", name, value.c_str());
                    continue;
                }
                std::printf("%s\"%s\": %s", before, name, json_string(value).c_str());
                before = ", ";
            }
            if (*json) std::puts("}");
        });
    add_json_option(sub, *json);
}

}  // namespace ulmaro::tool
