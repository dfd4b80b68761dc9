// Constant-time selection from a table of points with AVX2.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace ulmaro::u256 {

// An entry fills R registers of 32 bytes.
template <int R>
[[gnu::target("avx2")]] inline void select_entry(void* r, const void* table, int entries,
                                                 std::uint32_t index) noexcept {
    const auto* from = static_cast<const __m256i*>(table);
    const __m256i wanted = _mm256_set1_epi32(static_cast<int>(index));
    const __m256i one = _mm256_set1_epi32(1);
    __m256i position = _mm256_setzero_si256();
    __m256i found[R];
    for (int j = 0; j < R; ++j) found[j] = _mm256_setzero_si256();
    for (int i = 0; i < entries; ++i) {
        const __m256i here = _mm256_cmpeq_epi32(position, wanted);
        position = _mm256_add_epi32(position, one);
        for (int j = 0; j < R; ++j) {
            const __m256i limbs = _mm256_loadu_si256(from + R * i + j);
            found[j] = _mm256_or_si256(found[j], _mm256_and_si256(here, limbs));
        }
    }
    for (int j = 0; j < R; ++j) _mm256_storeu_si256(static_cast<__m256i*>(r) + j, found[j]);
}

/// F plus select, which sets r = table[index] and reads the whole table.
template <typename F>
struct WithAvx2Select : F {
    using F::F;

    template <typename T, std::size_t N>
    static void select(T& r, const T (&table)[N], std::uint32_t index) noexcept {
        select_entry<sizeof(T) / 32>(&r, table, N, index);
    }
};

}  // namespace ulmaro::u256
