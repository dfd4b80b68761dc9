// Random test input that can be had again: the seed is printed, and taken from ULMARO_TEST_SEED when that is set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "support/bytes.hpp"

namespace ulmaro::test {

class Random {
public:
    Random() : seed_(choose_seed()), engine_(seed_) {
        std::printf("ULMARO_TEST_SEED=%llu\n", static_cast<unsigned long long>(seed_));
    }

    /// Uniform in [0, limit].
    std::size_t up_to(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit)(engine_); }
    unsigned int word() { return static_cast<unsigned int>(engine_()); }
    Bytes bytes(std::size_t size) {
        Bytes result(size);
        for (unsigned char& b : result) b = static_cast<unsigned char>(engine_());
        return result;
    }

private:
    static std::uint64_t choose_seed() {
        const char* given = std::getenv("ULMARO_TEST_SEED");
        return given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
    }

    std::uint64_t seed_;
    std::mt19937_64 engine_;
};

}  // namespace ulmaro::test
