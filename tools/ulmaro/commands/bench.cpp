#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "UlmaroAlgrithm.h"
#include "cli/cli.hpp"
#include "commands/commands.hpp"
#include "support/error.hpp"
#include "support/kernels.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t bulk_bytes = 16384;
constexpr std::size_t message_bytes = 32;

struct Task {
    const char* name;
    std::size_t bytes;           // in one call; 0: calls are counted
    std::function<bool()> call;  // returns whether the result was right, as far as it can tell
};

/// Processor time, not wall time: other programs do not count.
double seconds_of(const Task& task, long calls) {
    const std::clock_t start = std::clock();
    for (long i = 0; i < calls; ++i) {
        if (!task.call()) throw Failure(std::string(task.name) + ": wrong result");
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Calls per second: the median of five batches that together take about the given time.
double rate_of(const Task& task, double seconds) {
    std::array<double, 5> rates{};
    const double batch = seconds / rates.size();
    long calls = 1;
    for (double took = seconds_of(task, calls); took < batch / 2 && calls < 1L << 40; took = seconds_of(task, calls))
        calls *= 2;
    for (double& rate : rates) rate = static_cast<double>(calls) / seconds_of(task, calls);
    std::nth_element(rates.begin(), rates.begin() + 2, rates.end());
    return rates[2];
}

void print_rate(const Task& task, double rate) {
    if (task.bytes == 0)
        std::printf("%-26s %9.0f /s\n", task.name, rate);
    else
        std::printf("%-26s %9.1f MB/s\n", task.name, rate * static_cast<double>(task.bytes) / 1e6);
    std::fflush(stdout);
}

/// What the tasks work on: fresh keys, and nothing worth protecting.
struct Workplace {
    ec_group_st group{};
    ECC_PUBLIC_KEY public_key{}, other_public_key{};
    ECC_PRIVATE_KEY private_key{}, other_private_key{};
    std::array<unsigned char, 32> digest{};
    ECC_SIGNATURE signature{};
    std::array<unsigned char, message_bytes> message{}, plain{};
    alignas(Ulmaro_ECC_CIPHER_BLOB) std::array<unsigned char, sizeof(Ulmaro_ECC_CIPHER_BLOB) + message_bytes> record{};
    std::array<unsigned char, 16> key{}, iv{};
    std::array<unsigned, ULMARO_SM4_SCHEDULE_WORDS> schedule{};
    std::vector<unsigned char> in = std::vector<unsigned char>(bulk_bytes),
                               out = std::vector<unsigned char>(bulk_bytes);

    Workplace() {
        ECCParameter_st parameters;
        SM2_Get_Paramter(&parameters, 0);
        SM2_ECC_InitParameter(&parameters, &group);
        SM2_ECC_GenerateKeyPair(&group, &public_key, &private_key);
        SM4_KEY_INIT(key.data(), static_cast<int>(key.size()), schedule.data(), static_cast<int>(schedule.size()));
    }
    auto* blob() { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data()); }
};

std::vector<Task> tasks_on(Workplace& w) {
    constexpr int len = bulk_bytes;
    constexpr int message_len = message_bytes;
    const auto done = [](auto work) {
        return [=] {
            work();
            return true;
        };
    };
    using Mode = void (*)(const unsigned char*, int, const unsigned*, const unsigned char*, unsigned char*);
    const auto cbc = [&w, done](Mode mode) {
        return done([&w, mode] { mode(w.in.data(), len, w.schedule.data(), w.iv.data(), w.out.data()); });
    };
    return {
        {"SM3, 16 KiB", bulk_bytes, done([&w] { SM3_HASH(w.in.data(), len, w.digest.data()); })},
        {"SM4 ECB encrypt, 16 KiB", bulk_bytes,
         done([&w] { SM4_X_ECB_EN_MODE(w.in.data(), len, w.schedule.data(), w.out.data()); })},
        {"SM4 ECB decrypt, 16 KiB", bulk_bytes,
         done([&w] { SM4_X_ECB_DE_MODE(w.in.data(), len, w.schedule.data(), w.out.data()); })},
        {"SM4 CBC encrypt, 16 KiB", bulk_bytes, cbc(SM4_X_CBC_EN_MODE)},
        {"SM4 CBC decrypt, 16 KiB", bulk_bytes, cbc(SM4_X_CBC_DE_MODE)},
        {"SM2 key pair", 0,
         done([&w] { SM2_ECC_GenerateKeyPair(&w.group, &w.other_public_key, &w.other_private_key); })},
        {"SM2 sign", 0, done([&w] { SM2_ECDSA_Signature(&w.group, w.digest.data(), &w.private_key, &w.signature); })},
        {"SM2 verify", 0,
         [&w] { return SM2_ECDSA_Verification(&w.group, w.digest.data(), &w.public_key, &w.signature) == 1; }},
        {"SM2 encrypt, 32 B", 0,
         done([&w] { SM2_ECES_Encryption(&w.group, w.message.data(), message_len, &w.public_key, w.blob()); })},
        {"SM2 decrypt, 32 B", 0,
         [&w] { return SM2_ECES_Decryption(&w.group, w.blob(), &w.private_key, w.plain.data()) == 1; }},
    };
}

void measure(double seconds) {
    std::printf("%-26s %s\n", "Kernels in use", kernels_in_use().c_str());
    Workplace workplace;
    for (const Task& task : tasks_on(workplace)) print_rate(task, rate_of(task, seconds));
}

}  // namespace

void add_bench(CLI::App& app) {
    const auto seconds = std::make_shared<double>(0.3);
    CLI::App& sub = cli::command(app, "bench", "Measure the speed of this machine, and name the kernels in use",
                                 [seconds] { measure(*seconds); });
    cli::number(sub, "--time", *seconds, 0.001, 60, "Seconds per line (default: 0.3)");
}

}  // namespace ulmaro::tool
