// ECB and CBC over byte strings (GB/T 17964). Only whole blocks are processed. The caller may overlap the output
// with anything that is read; what a kernel does not allow is resolved here with a copy.
#include <cstring>
#include <optional>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/memory.hpp"
#include "base/wipe.hpp"
#include "sm4/kernels.hpp"

namespace {

using namespace ulmaro;

constexpr std::size_t block_bytes = 16;
constexpr std::size_t schedule_bytes = 4 * ULMARO_SM4_SCHEDULE_WORDS;

/// Whole blocks in len bytes. Lengths that truncate to a negative number of words are refused.
std::size_t whole_blocks(int len) { return checked_length(len / 4) / 4; }

/// Input and schedule where a kernel can read them while it writes out: in place, or as a copy that is wiped.
class Operands {
public:
    Operands(const unsigned char* in, const unsigned int* rk, const unsigned char* out, std::size_t blocks)
        : in_(in),
          rk_(rk),
          copy_(in < out && overlap(in, block_bytes * blocks, out, block_bytes * blocks) ? block_bytes * blocks : 0) {
        if (copy_.data() != nullptr) {
            std::memcpy(copy_.data(), in, block_bytes * blocks);
            in_ = copy_.data();
        }
        if (overlap(rk, schedule_bytes, out, block_bytes * blocks)) {
            std::memcpy(schedule_.emplace().get(), rk, schedule_bytes);
            rk_ = schedule_->get();
        }
    }

    const unsigned char* in() const noexcept { return in_; }
    const unsigned int* rk() const noexcept { return rk_; }

private:
    const unsigned char* in_;
    const unsigned int* rk_;
    SecretBytes copy_;
    std::optional<Wiped<unsigned int[ULMARO_SM4_SCHEDULE_WORDS]>> schedule_;
};

void run_ecb(sm4::Kernels::EcbFunction kernel, const unsigned char* in, int len, const unsigned int* rk,
             unsigned char* out) {
    const std::size_t blocks = whole_blocks(len);
    if (blocks == 0) return;
    Operands from(in, rk, out, blocks);
    kernel(from.in(), out, blocks, from.rk());
}

void run_cbc(sm4::Kernels::CbcFunction kernel, const unsigned char* in, int len, const unsigned int* rk,
             const unsigned char* iv, unsigned char* out) {
    const std::size_t blocks = whole_blocks(len);
    if (blocks == 0) return;
    Operands from(in, rk, out, blocks);
    kernel(from.in(), out, blocks, from.rk(), iv);
}

void run_cbc_with_key(sm4::Kernels::CbcFunction kernel, const unsigned char* in, int len, const unsigned char* key,
                      const unsigned char* iv, unsigned char* out) {
    const std::size_t blocks = whole_blocks(len);
    if (blocks == 0) return;
    Wiped<unsigned int[ULMARO_SM4_SCHEDULE_WORDS]> rk;
    // Before the schedule is made: a process binds the allocation at its first call, which stores all vector registers.
    Operands from(in, rk.get(), out, blocks);
    SMS4_KEY_INIT(key, block_bytes, rk.get(), ULMARO_SM4_SCHEDULE_WORDS);
    kernel(from.in(), out, blocks, from.rk(), iv);
}

}  // namespace

void SMS4_ECB_EN_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* out) {
    run_ecb(sm4::active_kernels().encrypt_blocks, in, len, rk, out);
}

void SMS4_ECB_DE_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* out) {
    run_ecb(sm4::active_kernels().decrypt_blocks, in, len, rk, out);
}

void SMS4_CBC_EN_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* iv, unsigned char* out) {
    run_cbc(sm4::active_kernels().cbc_encrypt, in, len, rk, iv, out);
}

void SMS4_CBC_DE_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* iv, unsigned char* out) {
    run_cbc(sm4::active_kernels().cbc_decrypt, in, len, rk, iv, out);
}

void CBC_EN_MOD_CHAR(unsigned char* in, int len, unsigned char* key, unsigned char* iv, unsigned char* out) {
    run_cbc_with_key(sm4::active_kernels().cbc_encrypt, in, len, key, iv, out);
}

void CBC_DE_MOD_CHAR(unsigned char* in, int len, unsigned char* key, unsigned char* iv, unsigned char* out) {
    run_cbc_with_key(sm4::active_kernels().cbc_decrypt, in, len, key, iv, out);
}
