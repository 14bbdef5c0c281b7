// SPDX-License-Identifier: MIT
// The same work on many items, on several threads. Items are asked for one by one, and few are held at
// a time, so that there may be any number of them.
#pragma once

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <utility>
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

enum class Order { kAsGiven, kAsDone };

template <typename Item, typename Result>
class SideBySide {
  public:
    // jobs: threads at most, more than 0; of one, the work is done on the calling thread
    SideBySide(size_t jobs, Order order) : jobs_(jobs), order_(order), done_(kAhead * jobs) {}

    // Calls on the threads next() -> optional<Item>, one thread at a time and until there is none, and
    // work(Item) -> Result; on this one take(Result). No item is begun after a signal. `next` throws
    // nothing. What the others throw is thrown here, in its turn, and work under way is asked to
    // end (interrupt.h).
    template <typename Next, typename Work, typename Take>
    void run(Next next, Work work, Take take) {
        std::vector<std::jthread> threads;
        if (jobs_ > 1) start(threads, [this, &next, &work] { work_on(next, work); });
        if (threads.empty()) return run_here(next, work, take);
        const SignalsToWorkers signals;
        try {
            while (auto done = next_done(threads.size())) {
                if (done->failure) std::rethrow_exception(done->failure);
                take(std::move(*done->result));
            }
        } catch (...) {
            give_up();
            throw;
        }
    }

  private:
    // So many results wait to be taken at most, for each thread.
    static constexpr size_t kAhead = 4;

    // Addresses that must be there for another thread: its stack has 8 MiB as a rule, and its work
    // needs some, too.
    static constexpr size_t kRoom = size_t{16} << 20;

    struct Done {
        std::optional<Result> result;
        std::exception_ptr failure;
    };

    struct Begun {
        size_t index;
        Item item;
    };

    template <typename Next, typename Work, typename Take>
    void run_here(Next& next, Work& work, Take& take) {
        while (!interrupted()) {
            std::optional<Item> item = next();
            if (!item) return;
            take(work(std::move(*item)));
        }
    }

    // With fewer threads than asked for it takes longer, and that is all.
    template <typename Body>
    void start(std::vector<std::jthread>& threads, Body body) {
        threads.reserve(jobs_);
        try {
            while (threads.size() < jobs_) {
                ::operator delete(::operator new(kRoom));
                threads.emplace_back(body);
            }
        } catch (const std::exception&) {
        }
    }

    void give_up() {
        given_up_ = true;
        const std::lock_guard lock(mutex_);
        changed_.notify_all();
    }

    template <typename Next, typename Work>
    void work_on(Next& next, Work& work) {
        interrupt_by(&given_up_);
        while (auto begun = begin_next(next)) {
            Done done;
            try {
                done.result = work(std::move(begun->item));
            } catch (...) {
                done.failure = std::current_exception();
            }
            hold(begun->index, std::move(done));
        }
        const std::lock_guard lock(mutex_);
        ++ended_;
        changed_.notify_all();
    }

    // Asking for an item may take as long as its giver likes: what is done is taken meanwhile.
    template <typename Next>
    std::optional<Begun> begin_next(Next& next) {
        const std::lock_guard turn(asking_);
        wait_for_room();
        if (no_more_ || interrupted()) return std::nullopt;
        std::optional<Item> item = next();
        no_more_ = !item;
        if (!item) return std::nullopt;
        const std::lock_guard lock(mutex_);
        return Begun{begun_++, std::move(*item)};
    }

    void wait_for_room() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return given_up_ || begun_ < taken_ + done_.size(); });
    }

    // There is a place: more are never begun than there are places.
    void hold(size_t index, Done done) {
        const std::lock_guard lock(mutex_);
        const size_t turn = order_ == Order::kAsDone ? finished_++ : index;
        done_[turn % done_.size()] = std::move(done);
        changed_.notify_all();
    }

    // -> the next outcome in the order; nothing when no thread will bring it
    std::optional<Done> next_done(size_t threads) {
        std::unique_lock lock(mutex_);
        std::optional<Done>& next = done_[taken_ % done_.size()];
        changed_.wait(lock, [&] { return next || ended_ == threads; });
        if (!next) return std::nullopt;
        Done done = std::move(*next);
        next.reset();
        ++taken_;
        changed_.notify_all();
        return done;
    }

    const size_t jobs_;
    const Order order_;
    std::mutex asking_;     // next() and no_more_
    bool no_more_ = false;  // items
    std::atomic<bool> given_up_{false};
    std::mutex mutex_;  // what follows
    std::condition_variable changed_;
    size_t begun_ = 0;
    size_t finished_ = 0;
    size_t taken_ = 0;
    size_t ended_ = 0;                       // threads
    std::vector<std::optional<Done>> done_;  // by turn
};

}  // namespace zvprobe
