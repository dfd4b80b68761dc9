// Calls every entry point that takes a secret, many times, with nothing but secrets different. A tracer takes what is
// executed between two marks, and the traces of one case must be the same. A mark is a system call that does nothing
// and carries a number no other does. Values that the library publishes (base/declassify.hpp) are the same in all calls
// of a case: no draw is refused, every key can sign, every ciphertext is authentic, no key stream is zero.
//
//   trace_driver [SECRETS [CASE...]]   only these secrets, a mask in hexadecimal; only cases that begin so
//
// The first section is no case: there the library chooses its kernels. Then each case has one for each secret, and
// standard output a line for each case, each kernel in use, and each object in memory.
#include <link.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>
#ifdef __aarch64__
#include <dlfcn.h>
#include <sys/auxv.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "entry/kernel_names.hpp"
#include "support/curves.hpp"
#include "support/integers.hpp"
#include "support/sm4_modes.hpp"

using namespace ulmaro::test;

namespace {

constexpr std::size_t secret_count = 32;
constexpr std::size_t longest = 1200;           // bytes of a message
constexpr long mark_word = 0x756c6d61726f2121;  // the tracers have it too

void mark() { ::syscall(SYS_getppid, mark_word); }

// What the cases work on. Setting a case up allocates nothing: all calls of it find the same heap.
unsigned char text[longest], out[longest], key[16], iv[16], record[100 + longest];
unsigned int schedule[32];
ECC_PRIVATE_KEY d;
ECC_PUBLIC_KEY pub;
ECC_SIGNATURE signature;
bignum_st number;

unsigned char draw[32];  // big-endian; both sources of randomness draw it, last byte first
std::size_t drawn_bytes;

}  // namespace

extern "C" int rand() noexcept { return draw[31 - drawn_bytes++ % 32]; }
extern "C" void srand(unsigned) noexcept {}
extern "C" std::time_t time(std::time_t*) noexcept { return 0; }
extern "C" ssize_t getrandom(void* to, std::size_t size, unsigned) {
    if (size != sizeof draw) std::abort();
    std::ranges::reverse_copy(draw, static_cast<unsigned char*>(to));
    return static_cast<ssize_t>(size);
}

#ifdef __aarch64__
// Every processor of the emulator has the AES instructions. TRACE_WITHOUT takes features away.
extern "C" unsigned long getauxval(unsigned long type) noexcept {
    static const auto next = reinterpret_cast<unsigned long (*)(unsigned long)>(dlsym(RTLD_NEXT, "getauxval"));
    const char* without = type == AT_HWCAP ? std::getenv("TRACE_WITHOUT") : nullptr;
    return next(type) & ~(without != nullptr ? std::strtoul(without, nullptr, 0) : 0);
}
#endif

// Leaks that must be found.
extern "C" {
volatile unsigned char planted[256];

[[gnu::noinline]] void planted_branch() {
    if ((text[0] & 1) != 0) planted[0] = 1;
}
[[gnu::noinline]] void planted_load() { static_cast<void>(planted[text[0]]); }
[[gnu::noinline]] void planted_store() { planted[text[0]] = 1; }
#ifdef __x86_64__
[[gnu::noinline, gnu::target("avx512f")]] void planted_mask() {
    __asm__ volatile("kmovw %0, %%k1\n\tvmovdqu32 %%zmm0, (%1) %{%%k1%}" ::"r"(unsigned{text[0]}), "r"(planted)
                     : "memory", "k1");
}
#endif
}

namespace {

/// Small, sparse, dense, near n, random; all of them from 1 to n - 2.
std::vector<Integer> scalars_below(const Integer& n) {
    std::vector<Integer> from = {n - power_of_two(224)};  // the plain library halves the top word of what is nearer
    std::ranges::copy_if(edges(n), std::back_inserter(from), [&](const Integer& a) { return a > 0 && a < n - 1; });
    std::vector<Integer> all;
    constexpr std::size_t near = 12;  // the first ones lie around 0, n and n / 2
    for (std::size_t i = 0; i < secret_count; ++i) {
        if (i < near) {
            all.push_back(from[i]);
        } else if (i % 2 == 0) {
            all.push_back(from[near + (i - near) * (from.size() - near) / (secret_count - near)]);
        } else {
            all.push_back(from_be(random_looking(32, i)) % (n - 2) + 1);
        }
    }
    return all;
}

/// Keys and messages: all bytes the same, few bits different from the others, regular, random.
Bytes secret_bytes(std::size_t i) {
    constexpr unsigned char same[] = {0, 0xff, 0x55, 0xaa};
    if (i == 8) return pattern(longest);
    if (i > 8) return random_looking(longest, i);
    Bytes bytes(longest, same[i % 4]);
    if (i >= 4) {
        for (std::size_t j = i; j < longest; j += 16) bytes[j] ^= static_cast<unsigned char>(1U << i % 8);
    }
    return bytes;
}

/// Another secret than i for what comes along with it.
std::size_t other(std::size_t i) { return (5 * i + 3) % secret_count; }

struct Case {
    std::string name;
    std::function<void(std::size_t)> set;  ///< the inputs from secret i
    std::function<void()> call;
};
using Cases = std::vector<Case>;

std::string bytes_of(int count) { return ", " + std::to_string(count) + " bytes"; }

void set_text(std::size_t i) {
    static const std::vector<Bytes> texts = [] {
        std::vector<Bytes> made(secret_count);
        for (std::size_t j = 0; j < secret_count; ++j) made[j] = secret_bytes(j);
        return made;
    }();
    std::ranges::copy(texts[i], text);
}

void add_planted(Cases& cases) {
    cases.push_back({"planted_branch", set_text, planted_branch});
    cases.push_back({"planted_load", set_text, planted_load});
    cases.push_back({"planted_store", set_text, planted_store});
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f")) cases.push_back({"planted_mask", set_text, planted_mask});
#endif
}

void add_hashes(Cases& cases) {
    for (const int size : {55, 64, 300}) {
        cases.push_back({"SM3_HASH" + bytes_of(size), set_text, [=] { SM3_HASH(text, size, out); }});
    }
    cases.push_back({"SM3_Update, SM3_Final", set_text, [] {
                         SM3_CTX ctx;
                         SM3_Init(&ctx);
                         for (const int size : {23, 200, 41}) SM3_Update(&ctx, text, size);
                         SM3_Final(&ctx, out);
                     }});
    for (const int from : {20, 62, 64}) {           // where the counter lies in one block, in two, in another
        for (const int size : {20, 32 * 19 + 1}) {  // wider than every kernel, and a rest
            if (size == 20 && from != 64) continue;
            cases.push_back({"SM2_KDF_ALGRITRHM" + bytes_of(size) + " from " + std::to_string(from), set_text,
                             [=] { SM2_KDF_ALGRITRHM(text, from, size, out); }});
        }
    }
}

void add_ciphers(Cases& cases) {
    const auto set = [](std::size_t i) {
        set_text(other(i));
        std::copy_n(text, 16, key);
        SM4_KEY_INIT(key, 16, schedule, 32);
        set_text(i);
    };
    cases.push_back({"SM4_KEY_INIT", set, [] { SM4_KEY_INIT(key, 16, schedule, 32); }});
    for (const Sm4Mode& mode : all_sm4_modes) {
        for (const int blocks : {1, 5, 23, 70}) {  // up to more than every kernel takes at once
            if (blocks > 5 && (mode.raw_key || (mode.cbc && !mode.decrypts))) continue;
            cases.push_back({std::string("SM4 in ") + mode.name + bytes_of(16 * blocks), set, [&mode, blocks] {
                                 mode.run(text, 16 * blocks, mode.raw_key ? static_cast<void*>(key) : schedule, iv,
                                          out);
                             }});
        }
    }
    cases.push_back({"SM1 in ECB", set, [] {
                         SM1_X_ECB_EN_MODE_EX(key, 16, iv, text, 64, out);
                         SM1_X_ECB_DE_MODE_EX(key, 16, iv, text, 64, out);
                     }});
    cases.push_back({"SM1 in CBC", set, [] {
                         SM1_X_CBC_EN_MODE_EX(key, 16, iv, 16, text, 64, out);
                         SM1_X_CBC_DE_MODE_EX(key, 16, iv, 16, text, 64, out);
                     }});
}

struct Scalars {
    explicit Scalars(const std::vector<Integer>& all) {
        for (const Integer& a : all) {
            number.push_back(record_of<bignum_st>(a));
            be.push_back(be32(a));
        }
    }
    std::vector<bignum_st> number;
    std::vector<Bytes> be;
};

void add_curve(Cases& cases, const Curve& curve, const std::string& on) {
    const Integer n = from_be(curve.n);
    const auto grp = std::make_shared<ec_group_st>(prepare(curve));
    const auto scalars = std::make_shared<Scalars>(scalars_below(n));
    auto* const blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record);

    const auto set_draw = [=](std::size_t i) {
        std::ranges::copy(scalars->be[i], draw);
        drawn_bytes = 0;
    };
    const auto set = [=](std::size_t i) {
        set_text(i);
        set_draw(other(i));
        std::ranges::copy(scalars->be[i], d.d);
        number = scalars->number[i];
    };
    const auto set_pub = [=](std::size_t i) {
        number = scalars->number[i];
        ECC_CalcPubKeyByPriKey(grp.get(), &pub, &number);
    };
    cases.push_back({"SM2_ECC_GenerateKeyPair" + on, set, [=] { SM2_ECC_GenerateKeyPair(grp.get(), &pub, &d); }});
    cases.push_back({"SM2_ECDSA_Signature" + on, set, [=] { SM2_ECDSA_Signature(grp.get(), text, &d, &signature); }});
    for (const int size : {20, 1000}) {
        const auto encrypt = [=] { SM2_ECES_Encryption(grp.get(), text, size, &pub, blob); };
        const auto set_for_one = [=](std::size_t i) {  // the public key is the same in all calls
            set_pub(0);
            set(i);
        };
        cases.push_back({"SM2_ECES_Encryption" + bytes_of(size) + on, set_for_one, encrypt});
        const auto set_record = [=](std::size_t i) {  // and so is C1
            set(i);
            set_pub(i);
            set_draw(0);
            encrypt();
        };
        cases.push_back({"SM2_ECES_Decryption" + bytes_of(size) + on, set_record, [=] {
                             if (SM2_ECES_Decryption(grp.get(), blob, &d, out) != 1) std::abort();
                         }});
    }
    if (&curve != &recommended_curve) return;
    const auto calculate = [] { SM2_CalcPubKeyByPriKey(&pub, &number); };
    cases.push_back({"SM2_CalcPubKeyByPriKey", set, calculate});
    const auto beyond = std::make_shared<Scalars>(std::vector<Integer>{n, 0, n - 1, n + 1, power_of_two(256) - 1});
    cases.push_back({"SM2_CalcPubKeyByPriKey, multiples of n and beyond",
                     [=](std::size_t i) { number = beyond->number[i % beyond->number.size()]; }, calculate});
}

void run(const Case& one, const std::vector<std::size_t>& secrets) {
    one.set(secrets[0]);
    one.call();  // for what happens only once in a process
    for (const std::size_t i : secrets) {
        one.set(i);
        mark();
        one.call();
        mark();
    }
    std::printf("case %s\n", one.name.c_str());
}

int print_object(dl_phdr_info* object, std::size_t, void*) {
    std::printf("object %zx %s\n", static_cast<std::size_t>(object->dlpi_addr), object->dlpi_name);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    mark();
    SM4_KEY_INIT(key, 16, schedule, 32);
    const auto kernels = ulmaro::kernel_names();
    mark();
    for (const ulmaro::KernelName& kernel : kernels) std::printf("kernel %s %s\n", kernel.unit, kernel.name);

    std::vector<std::size_t> secrets;
    const unsigned long wanted = argc > 1 ? std::strtoul(argv[1], nullptr, 16) : ~0UL;
    for (std::size_t i = 0; i < secret_count; ++i) {
        if ((wanted >> i & 1) != 0) secrets.push_back(i);
    }
    Cases cases;
    add_planted(cases);
    add_hashes(cases);
    add_ciphers(cases);
    add_curve(cases, recommended_curve, ", recommended curve");
    add_curve(cases, example_curve, ", custom curve");
    for (const Case& one : cases) {
        const auto begins = [&](const char* name) { return one.name.starts_with(name); };
        if (argc < 3 || std::any_of(argv + 2, argv + argc, begins)) run(one, secrets);
    }
    dl_iterate_phdr(print_object, nullptr);
    return 0;
}
