// Every routine is re-entrant: eight threads on objects of their own, with groups that they share and only read,
// compute what one thread computes. The threads run first, so that they also race for what is set up on first use. Run
// it under the thread sanitizer.
//
// Not re-entrant, so not here: the custom-curve registry, ::group and the C library's `rand`. The random source is
// the kernel's, replaced by a sequence of each thread's own.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <barrier>
#include <thread>

#include "support/entry_points.hpp"

using namespace ulmaro::test;

static thread_local Sequence sequence;

extern "C" ssize_t getrandom(void* out, std::size_t size, unsigned int) {
    std::generate_n(static_cast<unsigned char*>(out), size, [] { return sequence(); });
    return static_cast<ssize_t>(size);
}

namespace {

Bytes run(const KindsOfGroups& groups) {
    sequence = {};
    EntryPoints all(groups);
    Bytes log;
    for (int round = 0; round < 3; ++round) {
        for (const EntryPoints::Call& call : all.calls) {
            if ((call.traits & EntryPoints::registers) != 0) continue;
            call.run();
            for (const Bytes& part : {snapshot(all.pub), snapshot(all.other), snapshot(all.signature),
                                      snapshot(all.result), all.output, all.record}) {
                log.insert(log.end(), part.begin(), part.end());
            }
        }
    }
    return log;
}

TEST(Threads, MakeWhatOneThreadMakes) {
    const KindsOfGroups groups;
    constexpr int thread_count = 8;
    std::barrier together(thread_count);
    std::vector<Bytes> logs(thread_count);
    std::vector<std::jthread> threads;
    for (Bytes& log : logs) {
        threads.emplace_back([&] {
            together.arrive_and_wait();
            log = run(groups);
        });
    }
    threads.clear();
    EXPECT_EQ(std::ranges::count(logs, run(groups)), thread_count);
}

}  // namespace
