#include "support/digest_queue.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t most_waiting = 256;

bool is_regular(const std::string& name) {
    struct stat st {};
    return name != "-" && ::stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

FileDigest digest_file(const std::string& name, bool show_progress, const std::atomic<bool>& turn) {
    FileDigest result;
    errno = 0;
    try {
        Input input(name);
        result.digest = digest_of(input, show_progress, &turn);
    } catch (const Failure& failure) {
        result.missing = errno == ENOENT;
        result.failure = failure.what();
    }
    return result;
}

}  // namespace

DigestQueue::DigestQueue(unsigned jobs, bool show_progress)
    : jobs_(jobs != 0 ? jobs : std::max(std::thread::hardware_concurrency(), 1U)), show_progress_(show_progress) {}

DigestQueue::~DigestQueue() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    added_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void DigestQueue::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        added_.wait(lock, [this] { return stopping_ || next_ < tasks_.size(); });
        if (stopping_) return;
        run_next(lock);
    }
}

/// Without the lock while it works.
void DigestQueue::run_next(std::unique_lock<std::mutex>& lock) {
    Task& task = tasks_[next_++];
    lock.unlock();
    try {
        task.result = digest_file(task.name, show_progress_, task.first);
    } catch (...) {
        task.error = std::current_exception();
    }
    lock.lock();
    task.done = true;
    done_.notify_one();
}

/// One thread more, unless the system allows none.
void DigestQueue::add_worker() {
    if (workers_.size() + 1 >= jobs_) return;
    try {
        workers_.emplace_back(&DigestQueue::work, this);
    } catch (const std::system_error&) {
    }
}

void DigestQueue::use_first() {
    std::unique_lock lock(mutex_);
    Task& task = tasks_.front();
    task.first = true;
    while (!task.done) {
        if (next_ < tasks_.size()) {
            run_next(lock);
        } else {
            done_.wait(lock);
        }
    }
    lock.unlock();
    if (task.error) std::rethrow_exception(task.error);
    task.use(task.result);
    lock.lock();
    tasks_.pop_front();
    --next_;
}

void DigestQueue::add(std::string name, Use use) {
    const bool alone = jobs_ == 1 || !is_regular(name);
    if (alone) finish();
    if (tasks_.size() == most_waiting) use_first();
    bool more_than_one;
    {
        const std::lock_guard lock(mutex_);
        Task& task = tasks_.emplace_back();
        task.name = std::move(name);
        task.use = std::move(use);
        more_than_one = tasks_.size() - next_ > 1;
    }
    if (alone) return finish();
    if (more_than_one) add_worker();
    added_.notify_one();
    while (first_is_done()) use_first();
}

bool DigestQueue::first_is_done() {
    const std::lock_guard lock(mutex_);
    return !tasks_.empty() && tasks_.front().done;
}

void DigestQueue::finish() {
    while (!tasks_.empty()) use_first();
}

}  // namespace ulmaro::tool
