// Counters are taken in groups of as many as there are lanes, aligned, so that lane i always holds a counter that ends
// in the bits of i: the messages of two groups differ in the same bits in every lane. Expansion is linear, so the words
// of the first group are expanded once, and those of any other group are these xor the expanded difference, which is
// one message for all lanes. Expanding in lanes yields the differences of many groups at once.
#include "sm3/counter_digests.hpp"

#include <algorithm>
#include <cstring>

#include "base/bytes.hpp"
#include "base/wipe.hpp"

namespace ulmaro::sm3 {
namespace {

constexpr std::size_t kDigest = 32;
constexpr std::size_t kRows = 68;

/// The first group, with its expansion, takes about as long as three to four digests one by one, the others two.
constexpr std::size_t kWorthwhile = 4;

struct Words {
    alignas(64) std::uint32_t block[2][kRows * kMaxLanes];
};

class Groups {
public:
    Groups(const Kernels& kernels, CounterMessage& message) noexcept : kernels_(kernels), message_(message) {}
    ~Groups() {
        if (!started_) return;
        for (std::size_t b = 0; b < message_.blocks; ++b)
            secure_wipe(words_.block[b], kRows * kernels_.lanes * sizeof(std::uint32_t));
        secure_wipe(shared_, sizeof shared_);
        secure_wipe(result_, sizeof result_);
    }
    Groups(const Groups&) = delete;
    Groups& operator=(const Groups&) = delete;

    /// The final chaining values for the counters base, base + 1, ... of one group; row after row, valid until the
    /// next.
    const std::uint32_t* compress(std::uint32_t base) noexcept {
        const std::size_t lanes = kernels_.lanes;
        if (!started_) start(base);
        const auto group = (base - origin_) / static_cast<std::uint32_t>(lanes);
        if (group != 0 && group - first_difference_ >= lanes) expand_differences(group);

        const std::uint32_t* v = shared_;
        for (std::size_t b = 0; b < message_.blocks; ++b) {
            static constexpr std::uint32_t kNone = 0;
            if (group != 0 && has_counter(b)) {
                const std::uint32_t* difference = differences_.block[b] + (group - first_difference_);
                kernels_.compress_lanes(v, result_, words_.block[b], difference, lanes);
            } else {
                kernels_.compress_lanes(v, result_, words_.block[b], &kNone, 0);
            }
            v = result_;
        }
        return result_;
    }

private:
    bool has_counter(std::size_t block) const noexcept {
        return message_.counter_offset < 64 * (block + 1) && message_.counter_offset + 4 > 64 * block;
    }

    /// Adds the counter to a lane in which its bits are zero. It lies in one word or across two.
    void put_counter(Words& words, std::size_t lane, std::uint32_t counter) const noexcept {
        const std::size_t word = message_.counter_offset / 4;
        const auto bits = std::uint64_t{counter} << (32 - 8 * (message_.counter_offset % 4));
        at(words, word, lane) ^= static_cast<std::uint32_t>(bits >> 32);
        if (message_.counter_offset % 4 != 0) at(words, word + 1, lane) ^= static_cast<std::uint32_t>(bits);
    }

    std::uint32_t& at(Words& words, std::size_t word, std::size_t lane) const noexcept {
        return words.block[word / 16][word % 16 * kernels_.lanes + lane];
    }

    void start(std::uint32_t base) noexcept {
        const std::size_t lanes = kernels_.lanes;
        started_ = true;
        origin_ = base;
        for (std::size_t i = 0; i < 8; ++i) std::fill_n(shared_ + i * lanes, lanes, message_.v[i]);
        store_be32(message_.bytes + message_.counter_offset, 0);
        for (std::size_t word = 0; word < 16 * message_.blocks; ++word)
            std::fill_n(&at(words_, word, 0), lanes, load_be32(message_.bytes + 4 * word));
        for (std::uint32_t lane = 0; lane < lanes; ++lane) put_counter(words_, lane, base + lane);
        for (std::size_t b = 0; b < message_.blocks; ++b) kernels_.expand_lanes(words_.block[b]);
    }

    /// Those of the groups from first on, one a lane, to the group of origin_.
    void expand_differences(std::uint32_t first) noexcept {
        const auto lanes = static_cast<std::uint32_t>(kernels_.lanes);
        first_difference_ = first;
        for (std::size_t b = 0; b < message_.blocks; ++b) std::fill_n(differences_.block[b], 16 * lanes, 0U);
        for (std::uint32_t lane = 0; lane < lanes; ++lane)
            put_counter(differences_, lane, (origin_ + (first + lane) * lanes) ^ origin_);
        for (std::size_t b = 0; b < message_.blocks; ++b)
            if (has_counter(b)) kernels_.expand_lanes(differences_.block[b]);
    }

    const Kernels& kernels_;
    CounterMessage& message_;
    bool started_ = false;
    std::uint32_t origin_ = 0;
    std::uint32_t first_difference_ = 1U << 31;  // no group yet: none is that far from the first
    Words words_;
    Words differences_;                                // of counters only, no secret
    alignas(64) std::uint32_t shared_[8 * kMaxLanes];  // the chaining value of the message in every lane
    alignas(64) std::uint32_t result_[8 * kMaxLanes];
};

/// The digest in the column of v, whose rows are stride words apart, or its first size bytes.
void write(unsigned char* out, std::size_t size, const std::uint32_t* v, std::size_t stride) noexcept {
    if (size >= kDigest) {
        for (std::size_t i = 0; i < 8; ++i) store_be32(out + 4 * i, v[i * stride]);
    } else {
        Wiped<unsigned char[kDigest]> whole;
        write(whole.get(), kDigest, v, stride);
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
    Groups groups(kernels, message);
    while (size != 0) {
        const std::uint32_t lane = first % lanes;
        const auto wanted = std::min<std::size_t>(lanes - lane, (size + kDigest - 1) / kDigest);
        const std::uint32_t* v = wanted >= kWorthwhile ? groups.compress(first - lane) : nullptr;
        for (std::size_t i = 0; i < wanted; ++i) {
            if (v != nullptr) {
                write(out, size, v + lane + i, lanes);
            } else {
                one_digest(kernels, message, first + static_cast<std::uint32_t>(i), out, size);
            }
            const std::size_t written = std::min(size, kDigest);
            out += written;
            size -= written;
        }
        first += static_cast<std::uint32_t>(wanted);
    }
    wipe_used_stack<2048>();  // words of the message in the kernels' frames
}

}  // namespace ulmaro::sm3
