#include <dlfcn.h>
#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "UlmaroAlgrithm.h"
#include "commands/commands.hpp"

namespace ulmaro::tool {
namespace {

/// The file that the library's code came from at run time, which need not be the one of the build.
std::string library_path() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&SM3_Init), &info) == 0 || info.dli_fname == nullptr) return "unknown";
    const std::unique_ptr<char, decltype(&::free)> path(::realpath(info.dli_fname, nullptr), &::free);
    return path ? path.get() : info.dli_fname;
}

const char* random_source(const std::string& library) {
    return library.find("Hardened") != std::string::npos ? "the kernel (getrandom)" : "the C library (rand)";
}

/// The features that matter to this library, as the kernel names them: it leaves out what it does not support.
std::string processor_features() {
    const std::set<std::string> wanted{"adx",      "aes",     "asimd",    "avx",   "avx2", "avx512bw",
                                       "avx512dq", "avx512f", "avx512vl", "bmi2",  "gfni", "pmull",
                                       "sha3",     "sm3",     "sm4",      "ssse3", "vaes"};
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (!line.starts_with("flags") && !line.starts_with("Features")) continue;
        std::istringstream words(line.substr(line.find(':') + 1));
        std::string found;
        for (std::string word; words >> word;) {
            if (wanted.contains(word)) found += (found.empty() ? "" : " ") + word;
        }
        return found;
    }
    return "unknown";
}

}  // namespace

void add_info(CLI::App& app) {
    CLI::App* sub = app.add_subcommand("info", "Print the version, the library in use and the processor's features");
    sub->callback([] {
        const std::string library = library_path();
        std::printf("version    %s\n", ULMARO_VERSION);
        std::printf("library    %s\n", library.c_str());
        std::printf("random     %s\n", random_source(library));
        std::printf("processor  %s\n", processor_features().c_str());
    });
}

}  // namespace ulmaro::tool
