// SPDX-License-Identifier: MIT
// The same work on many items, on several threads, with the results in the order of the items.
#pragma once

#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "base/interrupt.h"

namespace zvprobe {

// While it exists, signals go to the threads that work: those of a thread that only waits for them
// would interrupt no read.
class SignalsToWorkers {
  public:
    SignalsToWorkers() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~SignalsToWorkers() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsToWorkers(const SignalsToWorkers&) = delete;
    SignalsToWorkers& operator=(const SignalsToWorkers&) = delete;

  private:
    sigset_t before_;
};

template <typename Result>
class SideBySide {
  public:
    // jobs: threads at most, more than 0; of one, the work is done on the calling thread
    SideBySide(size_t count, size_t jobs) : count_(count), jobs_(jobs) {}

    // Calls work(index) -> Result on the threads, and take(index, Result) on this one, index by
    // index. No item is begun after a signal. Throws what `work` throws at its item's turn.
    template <typename Work, typename Take>
    void run(Work work, Take take) {
        if (jobs_ == 1) {
            for (size_t i = 0; i < count_ && !interrupted(); ++i)
                take(i, work(i));
            return;
        }
        std::vector<std::jthread> threads;
        try {
            while (threads.size() < jobs_)
                threads.emplace_back([this, &work] { work_on(work); });
        } catch (const std::system_error&) {
            if (threads.empty()) throw;  // with fewer it takes longer
        }
        const SignalsToWorkers signals;
        try {
            while (auto done = next_done(threads.size())) {
                if (done->failure) std::rethrow_exception(done->failure);
                take(taken_ - 1, std::move(*done->result));
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            count_ = begun_;
            changed_.notify_all();
            throw;
        }
    }

  private:
    // So many results wait for an earlier one at most, for each thread.
    static constexpr size_t kAhead = 4;

    struct Done {
        std::optional<Result> result;
        std::exception_ptr failure;
    };

    template <typename Work>
    void work_on(Work& work) {
        while (const auto index = begin_next()) {
            Done done;
            try {
                done.result = work(*index);
            } catch (...) {
                done.failure = std::current_exception();
            }
            const std::lock_guard lock(mutex_);
            done_.emplace(*index, std::move(done));
            changed_.notify_all();
        }
        const std::lock_guard lock(mutex_);
        ++ended_;
        changed_.notify_all();
    }

    std::optional<size_t> begin_next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock,
                      [this] { return begun_ >= count_ || begun_ < taken_ + kAhead * jobs_; });
        if (begun_ >= count_ || interrupted()) return std::nullopt;
        return begun_++;
    }

    // -> the next item's outcome; nothing when no thread will bring it
    std::optional<Done> next_done(size_t threads) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return done_.contains(taken_) || ended_ == threads; });
        const auto found = done_.find(taken_);
        if (found == done_.end()) return std::nullopt;
        Done done = std::move(found->second);
        done_.erase(found);
        ++taken_;
        changed_.notify_all();
        return done;
    }

    size_t count_;
    const size_t jobs_;
    std::mutex mutex_;
    std::condition_variable changed_;
    size_t begun_ = 0;
    size_t taken_ = 0;
    size_t ended_ = 0;             // threads
    std::map<size_t, Done> done_;  // by index
};

}  // namespace zvprobe
