// A target as ctest runs it: its own edge cases, the files of a folder, and inputs from a fixed seed.
// usage: replay_TARGET CORPUS INPUTS [FIRST]    INPUTS inputs, from number FIRST on (default: 1)
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz/fuzz.hpp"

namespace {

void run(const std::string& name, const ulmaro::test::Bytes& input) {
    ulmaro::fuzz::current = name;
    ulmaro::fuzz::Data data(input);
    ulmaro::fuzz::run(data);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
    const int first = argc > 3 ? std::atoi(argv[3]) : 1;
    ulmaro::fuzz::run_edges();
    std::error_code none;
    for (const auto& file : std::filesystem::directory_iterator(argv[1], none)) {
        std::ifstream in(file.path(), std::ios::binary);
        run(file.path(), {std::istreambuf_iterator<char>(in), {}});
    }
    for (int i = first; i < first + std::atoi(argv[2]); ++i) {
        std::mt19937_64 random(static_cast<unsigned>(i));
        ulmaro::test::Bytes input(random() % 600);
        for (unsigned char& b : input) b = static_cast<unsigned char>(random());
        run("input " + std::to_string(i), input);
    }
    return 0;
}
