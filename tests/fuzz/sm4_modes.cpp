// SM4 in ECB and CBC, both ways, for every kernel and overlap, against OpenSSL. Buffers end where memory ends.
#include "support/sm4_modes.hpp"

#include <openssl/evp.h>

#include <climits>
#include <cstring>

#include "fuzz/fuzz.hpp"
#include "sm4/kernels.hpp"
#include "support/guarded.hpp"
#include "support/refusal.hpp"

namespace ulmaro::fuzz {
namespace {

using Words = std::vector<unsigned int>;

constexpr std::size_t most_blocks = 200;  // three times the widest kernel's 64, and a tail

struct Job {
    bool cbc, decrypts;
    Bytes key, iv;
};

Bytes reference(const Job& job, std::span<const unsigned char> in) {
    static EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(cipher, job.cbc ? EVP_sm4_cbc() : EVP_sm4_ecb(), nullptr, job.key.data(), job.iv.data(),
                      job.decrypts ? 0 : 1);
    EVP_CIPHER_CTX_set_padding(cipher, 0);
    Bytes out(in.size());
    int written = 0;
    EVP_CipherUpdate(cipher, out.data(), &written, in.data(), length(in));
    require(written == length(in), "OpenSSL runs all blocks");
    return out;
}

/// Where input, output, iv and key or schedule begin in one memory. They may overlap in any way: the whole result is
/// computed before its first byte is stored.
struct Layout {
    std::size_t in, out, iv, key;
};

void check_layout(const Sm4Mode& mode, std::size_t size, const Bytes& key, const Layout& at, Bytes memory) {
    unsigned char* const base = memory.data();
    if (mode.raw_key) {
        std::ranges::copy(key, base + at.key);
    } else {
        Sm4Key expanded(key);
        std::memcpy(base + at.key, expanded.schedule, 128);
    }
    const std::size_t whole = size / 16 * 16;  // bytes after the last whole block are unchanged
    const Bytes raw = mode.raw_key ? Bytes(base + at.key, base + at.key + 16) : key;
    const Job job{mode.cbc, mode.decrypts, raw, Bytes(base + at.iv, base + at.iv + 16)};
    Bytes expected = memory;
    std::ranges::copy(reference(job, {base + at.in, whole}), expected.data() + at.out);
    mode.run(base + at.in, static_cast<int>(size), base + at.key, base + at.iv, base + at.out);
    require(memory == expected, mode.name);
}

void run_kernel(const sm4::Kernels& kernel, const Job& job, const unsigned char* in, unsigned char* out,
                std::size_t blocks, const unsigned int* rk, const unsigned char* iv) {
    if (job.cbc) {
        (job.decrypts ? kernel.cbc_decrypt : kernel.cbc_encrypt)(in, out, blocks, rk, iv);
    } else {
        (job.decrypts ? kernel.decrypt_blocks : kernel.encrypt_blocks)(in, out, blocks, rk);
    }
}

/// The kernels themselves: the output apart, and `below` bytes below the input, 0 for in place.
void check_kernels(const Job& job, const Bytes& text, std::size_t below) {
    const std::size_t size = text.size(), blocks = size / 16;
    const Bytes expected = reference(job, text);
    for (const sm4::Kernels* kernels : sm4::supported_kernels()) {
        Guarded<unsigned int> rk(32);
        std::ranges::copy(be_words(job.key), rk.data());
        kernels->expand_key(rk.data(), rk.data());
        Guarded<unsigned char> in(text), iv(job.iv), out(size), both(below + size);
        run_kernel(*kernels, job, in.data(), out.data(), blocks, rk.data(), iv.data());
        require(equal(out.span(), expected) && equal(in.span(), text), kernels->name);

        unsigned char* const at = both.data();
        std::ranges::copy(text, at + below);
        Bytes wanted(at, at + below + size);
        std::ranges::copy(expected, wanted.begin());
        run_kernel(*kernels, job, at + below, at, blocks, rk.data(), iv.data());
        require(equal(both.span(), wanted), kernels->name);
        require(rk.intact() && out.intact() && both.intact(), kernels->name);
    }
}

/// The routines on words: the bytes as big-endian words, apart, in place, and a block over its schedule.
void check_words(Data& data) {
    const Job job{data.flip(), data.flip(), data.take(16), data.take(16)};
    const int len = job.cbc ? data.between(-4, 64) : 4;  // less than a block, a negative length too, is nothing
    const std::size_t whole = static_cast<std::size_t>(std::max(len, 0)) / 4 * 4;
    const Bytes text = data.take(4 * whole), expected = reference(job, text);
    const Words iv_words = be_words(job.iv), words = be_words(text);
    using Buffer = Guarded<unsigned int>;
    Buffer in(words), iv(iv_words), out(whole), rk(Sm4Key(job.key).schedule);
    unsigned int* const to = data.flip() ? in.data() : out.data();
    if (job.cbc) {
        (job.decrypts ? CBC_DE_MOD : CBC_EN_MOD)(in.data(), len, rk.data(), iv.data(), to);
        require(std::ranges::equal(iv.span(), iv_words), "the iv of words stays");
    } else {
        const auto run = job.decrypts ? ECB_DE_MOD : ECB_EN_MOD;
        run(in.data(), rk.data(), to);
        unsigned int* const over = rk.data() + data.up_to(28);
        run(Words(words).data(), rk.data(), over);
        require(be_bytes({over, 4}) == expected, "a block over its schedule");
    }
    require(be_bytes({to, whole}) == expected && out.intact() && in.intact(), "SM4 over words");
}

/// The key anywhere in its schedule's memory.
void check_key_set_up(Data& data) {
    const Bytes key = data.take(16);
    const Sm4Key expected(key);
    Guarded<unsigned int> rk(32);
    auto* const bytes = reinterpret_cast<unsigned char*>(rk.data());
    const std::size_t at = data.up_to(112);
    std::ranges::copy(key, bytes + at);
    const int key_len = data.one_of({16, 17, INT_MAX}), rk_len = data.one_of({32, 33, INT_MAX});
    require(SM4_KEY_INIT(bytes + at, key_len, rk.data(), rk_len) == 1, "a key");
    require(std::ranges::equal(rk.span(), expected.schedule) && rk.intact(), "a schedule over its key");
    std::ranges::copy(be_words(key), rk.data() + at / 4);
    KEY_EXPAND(rk.data() + at / 4, rk.data());
    require(std::ranges::equal(rk.span(), expected.schedule) && rk.intact(), "KEY_EXPAND over its key");
}

void check_refusals() {
    const Bytes key(16);
    Words rk(32, 0x55555555);
    for (const int wrong : {15, 0, -1, -16, INT_MIN}) {
        require(SM4_KEY_INIT(untouchable(), wrong, rk.data(), 32) == -1, "a short key");
        require(SM4_KEY_INIT(key.data(), 16, rk.data(), wrong == 15 ? 31 : wrong) == -1, "a short schedule");
    }
    require(SM4_KEY_INIT(nullptr, 16, rk.data(), 32) == -1 && SM4_KEY_INIT(key.data(), 16, nullptr, 32) == -1, "null");
    require(std::ranges::count(rk, 0x55555555U) == 32, "a refusal writes nothing");
    for (const Sm4Mode& mode : all_sm4_modes) {
        for (const int len : {0, 1, 15, -1, -2, -3, -4, -5, -16, -1000, INT_MIN + 1, INT_MIN}) {
            const auto call = [&] { mode.run(untouchable(), len, untouchable(), untouchable(), untouchable()); };
            require(refused(call) == (len < -3), "less than a block is nothing, a negative length is refused");
        }
    }
}

}  // namespace

void run(Data& data) {
    const auto kind = data.up_to(2);
    if (kind == 0) return check_words(data);
    if (kind == 1) return check_key_set_up(data);
    const std::size_t size = 16 * data.up_to(most_blocks), below = data.up_to(size + 16);
    const Job job{data.flip(), data.flip(), data.take(16), data.take(16)};
    check_kernels(job, take_spread(data, size), below);
}

void run_edges() {
    constexpr struct {
        bool cbc;
        const char *key, *plain, *cipher;
    } vectors[] = {
#include "vectors/sm4.inc"
    };
    const Bytes iv = from_hex("000102030405060708090a0b0c0d0e0f");
    for (const auto& vector : vectors) {
        Sm4Key key(from_hex(vector.key));
        for (const Sm4Mode& mode : all_sm4_modes) {
            if (mode.cbc != vector.cbc) continue;
            Bytes text = from_hex(mode.decrypts ? vector.cipher : vector.plain), chain = iv;
            mode.run(text.data(), length(text), key.for_mode(mode), chain.data(), text.data());
            require(to_hex(text) == (mode.decrypts ? vector.plain : vector.cipher), mode.name);
        }
    }
    // GB/T 32907 annex A.1.
    Sm4Key example(from_hex(vectors[0].key));
    require(example.schedule[0] == 0xf12186f9 && example.schedule[31] == 0x9124a012, "the example's schedule");
    check_refusals();
    require(&sm4::active_kernels() == sm4::supported_kernels().front(), "the best kernel is used");

    for (const bool cbc : {false, true}) {
        for (const bool decrypts : {false, true}) {
            const Job job{cbc, decrypts, example.bytes, iv};
            for (std::size_t blocks = 0; blocks <= most_blocks; ++blocks) {
                check_kernels(job, pattern(16 * blocks), 0);
                check_kernels(job, pattern(16 * blocks), 1 + blocks * 7 % (16 * blocks + 1));
            }
        }
    }
    // The output over the input, the iv and the key at every distance.
    for (const Sm4Mode& mode : all_sm4_modes) {
        for (const std::size_t size : {16U, 37U, 80U, 16 * 9U}) {
            for (std::size_t out = 0; out <= 3 * size + 160; ++out) {
                const std::size_t in = size + 160 - size % 4;
                check_layout(mode, size, example.bytes, {in, out, in - 16, in - 16 - (mode.raw_key ? 16 : 128)},
                             pattern(4 * size + 160));
            }
        }
    }
}

}  // namespace ulmaro::fuzz
