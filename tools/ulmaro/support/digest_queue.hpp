// SM3 digests of many files, computed by several threads and handed out in the order in which they were asked for.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/digest.hpp"

namespace ulmaro::tool {

/// What became of one file.
struct FileDigest {
    std::optional<Digest> digest;  ///< none when it could not be read
    std::string failure;           ///< why not
    bool missing = false;          ///< because it does not exist
};

class DigestQueue {
public:
    /// Gets each digest, in the thread that adds and finishes.
    using Use = std::function<void(const FileDigest&)>;

    /// jobs: the threads that work, that of the caller included; 0 is one for each processor. The others start when
    /// there is work for them. Each has a buffer of its own; at most 256 files are waiting.
    DigestQueue(unsigned jobs, bool show_progress);
    DigestQueue(const DigestQueue&) = delete;
    DigestQueue& operator=(const DigestQueue&) = delete;
    ~DigestQueue();

    /// Uses the digests that are ready meanwhile. What is not a regular file is read alone and in its turn: whatever
    /// feeds a pipe may count on the order.
    void add(std::string name, Use use);
    /// Waits for all files and uses their digests.
    void finish();

private:
    struct Task {
        std::string name;
        Use use;
        FileDigest result;
        std::exception_ptr error;
        std::atomic<bool> first{false};  ///< the next to be used: its progress is shown
        bool done = false;
    };

    void work();
    void run_next(std::unique_lock<std::mutex>& lock);
    void add_worker();
    bool first_is_done();
    void use_first();

    const unsigned jobs_;
    const bool show_progress_;
    std::mutex mutex_;
    std::condition_variable added_;
    std::condition_variable done_;
    std::deque<Task> tasks_;  // only the caller changes its size
    std::size_t next_ = 0;    // index of the first task that nobody has begun
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace ulmaro::tool
