// Counters are taken in groups of as many as there are lanes, aligned, so that lane i always holds a counter that ends
// in the bits of i: the messages of two groups differ in the same bits in every lane. Expansion is linear, so the words
// of the first group of a series are expanded once, and those of any other group are these xor the expanded difference,
// which is one message for all lanes. A series is so short that the counter's last byte alone changes in it: every
// series has the same differences.
#include "sm3/counter_digests.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/bytes.hpp"
#include "base/wipe.hpp"

namespace ulmaro::sm3 {
namespace {

constexpr std::size_t block_bytes = 64;
constexpr std::size_t digest_bytes = 32;
constexpr std::size_t row_count = 68;

/// The first group, with its expansion, takes as long as two to four single digests, any other as long as up to two.
constexpr std::size_t worthwhile = 4;

class Groups {
public:
    /// With several groups, differences are worth their expansion.
    Groups(const Kernels& kernels, CounterMessage& message, bool several) noexcept
        : kernels_(kernels), message_(message), series_(several ? columns() : 1) {}
    ~Groups() {
        if (!started_) return;
        secure_wipe(words_, row_count * kernels_.lanes * sizeof(std::uint32_t));
        secure_wipe(shared_, sizeof shared_);
        secure_wipe(result_, sizeof result_);
    }
    Groups(const Groups&) = delete;
    Groups& operator=(const Groups&) = delete;

    /// The final chaining values for the counters base, base + 1, ... of one group; row after row, valid until the next
    /// call.
    const std::uint32_t* compress(std::uint32_t base) noexcept {
        const std::size_t lanes = kernels_.lanes;
        const auto origin = base & ~static_cast<std::uint32_t>(series_ * lanes - 1);
        const std::size_t group = (base - origin) >> std::countr_zero(lanes);
        if (!started_ || origin != origin_) start(origin);
        if (group == 0) {
            kernels_.compress_lanes(shared_, result_, words_, lanes, no_words, 0);
        } else {
            kernels_.compress_lanes(shared_, result_, words_, lanes, columns_ + group, columns());
        }
        if (padding() != nullptr) kernels_.compress_lanes(result_, result_, no_words, 0, columns_, columns());
        return result_;
    }

private:
    static constexpr std::size_t column_count = 8;
    static_assert(column_count * max_lanes <= 256);
    alignas(64) static constexpr std::uint32_t no_words[max_lanes] = {};

    /// The block after the one with the counter's last byte, or null.
    const unsigned char* padding() const noexcept {
        return block_ + 1 < message_.blocks ? message_.bytes + block_bytes * (block_ + 1) : nullptr;
    }

    /// The counter's last byte in the word that ends with it or has it inside.
    std::uint32_t in_word(std::size_t last_byte) const noexcept {
        return static_cast<std::uint32_t>(last_byte << (24 - 8 * (last_byte_ % 4)));
    }

    void start(std::uint32_t origin) noexcept {
        const std::size_t lanes = kernels_.lanes;
        if (!started_ && (series_ > 1 || padding() != nullptr)) expand_columns();
        store_be32(message_.bytes + message_.counter_offset, origin);
        const unsigned char* bytes = message_.bytes + block_bytes * block_;
        // A counter that begins in the previous block changes that block in every series.
        if (!started_ || block_ != 0) {
            Wiped<std::uint32_t[8]> v;
            std::copy_n(message_.v, 8, v.get());
            kernels_.compress(v.get(), message_.bytes, block_);
            for (std::size_t i = 0; i < 8; ++i) std::fill_n(shared_ + i * lanes, lanes, (*v)[i]);
        }
        const std::size_t first = !started_ || word_ == 0 ? 0 : word_ - 1;
        for (std::size_t j = first; j < (started_ ? word_ + 1 : 16); ++j)
            std::fill_n(words_ + j * lanes, lanes, load_be32(bytes + 4 * j));
        for (std::size_t lane = 0; lane < lanes; ++lane) words_[word_ * lanes + lane] ^= in_word(lane);
        kernels_.expand_lanes(words_);
        origin_ = origin;
        started_ = true;
    }

    /// One per lane: in their own place where that has as many columns, else where the words of the message will be.
    void expand_columns() noexcept {
        const std::size_t lanes = kernels_.lanes;
        std::uint32_t* rows = lanes > column_count ? words_ : columns_;
        std::fill_n(rows, 16 * lanes, 0U);
        if (const unsigned char* bytes = padding(); bytes != nullptr)
            for (std::size_t j = 0; j < 16; ++j) rows[j * lanes] = load_be32(bytes + 4 * j);
        for (std::size_t group = 1; group < series_; ++group) rows[word_ * lanes + group] = in_word(group * lanes);
        kernels_.expand_lanes(rows);
        if (rows == columns_) return;
        for (std::size_t j = 0; j < row_count; ++j)
            std::memcpy(columns_ + j * column_count, rows + j * lanes, column_count * sizeof *rows);
    }

    std::size_t columns() const noexcept { return std::min(kernels_.lanes, column_count); }

    const Kernels& kernels_;
    CounterMessage& message_;
    const std::size_t last_byte_ = message_.counter_offset + 3;
    const std::size_t block_ = last_byte_ / block_bytes;
    const std::size_t word_ = last_byte_ % block_bytes / 4;
    const std::size_t series_;  // groups in a series, 1 to column_count
    bool started_ = false;
    std::uint32_t origin_ = 0;  // the first counter of the series
    // W_0 to W_67 of non-secret parts: of the padding in column 0, of the difference between the groups 0 and i of a
    // series in column i.
    alignas(64) std::uint32_t columns_[row_count * column_count];
    // The message with the counters of group 0 in its lanes, the chaining value before it, and the one after a group.
    alignas(64) std::uint32_t words_[row_count * max_lanes];
    alignas(64) std::uint32_t shared_[8 * max_lanes];
    alignas(64) std::uint32_t result_[8 * max_lanes];
};

/// The digest in the column of v, whose rows are stride words apart, or its first size bytes.
void write(unsigned char* out, std::size_t size, const std::uint32_t* v, std::size_t stride) noexcept {
    if (size >= digest_bytes) {
        for (std::size_t i = 0; i < 8; ++i) store_be32(out + 4 * i, v[i * stride]);
    } else {
        Wiped<unsigned char[digest_bytes]> whole;
        write(whole.get(), digest_bytes, v, stride);
        std::memcpy(out, whole.get(), size);
    }
}

[[gnu::noinline]] void one_digest(const Kernels& kernels, CounterMessage& message, std::uint32_t counter,
                                  unsigned char* out, std::size_t size) noexcept {
    Wiped<std::uint32_t[8]> v;
    std::copy_n(message.v, 8, v.get());
    store_be32(message.bytes + message.counter_offset, counter);
    kernels.compress(v.get(), message.bytes, message.blocks);
    write(out, size, v.get(), 1);
}

}  // namespace

void counter_digests(const Kernels& kernels, CounterMessage& message, std::uint32_t first, unsigned char* out,
                     std::size_t size) noexcept {
    const auto lanes = static_cast<std::uint32_t>(kernels.lanes);
    Groups groups(kernels, message, size > digest_bytes * lanes);
    while (size != 0) {
        const std::uint32_t lane = first % lanes;
        const auto wanted = std::min<std::size_t>(lanes - lane, (size + digest_bytes - 1) / digest_bytes);
        const std::uint32_t* v = wanted >= worthwhile ? groups.compress(first - lane) : nullptr;
        for (std::size_t i = 0; i < wanted; ++i) {
            if (v != nullptr) {
                write(out, size, v + lane + i, lanes);
            } else {
                one_digest(kernels, message, first + static_cast<std::uint32_t>(i), out, size);
            }
            const std::size_t written = std::min(size, digest_bytes);
            out += written;
            size -= written;
        }
        first += static_cast<std::uint32_t>(wanted);
    }
    wipe_used_stack(1024);  // words of the message in the kernels' frames
}

}  // namespace ulmaro::sm3
