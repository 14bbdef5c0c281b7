// SPDX-License-Identifier: MIT
// Implementation of stream_reader.h.
#include "watch/stream_reader.h"

#include <pthread.h>

#include <csignal>
#include <functional>

#include "base/interrupt.h"
#include "io/source.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongSilence{10};
constexpr std::chrono::milliseconds kNudgeInterval{5};

}  // namespace

StreamReader::StreamReader(std::shared_ptr<WatchedSource> source)
    : source_(std::move(source)),
      backoff_(static_cast<uint32_t>(std::hash<std::string>()(source_->settings().name))),
      thread_([this] { run(); }) {}

void StreamReader::stop() {
    stops_ = true;
    const std::lock_guard lock(mutex_);
    wake_.notify_all();
}

// A call that waits for bytes returns when a signal comes, one that is about to wait does not: it is
// sent until the thread has seen that it is to stop.
StreamReader::~StreamReader() {
    stop();
    while (!ended_) {
        pthread_kill(thread_.native_handle(), SIGALRM);
        std::this_thread::sleep_for(kNudgeInterval);
    }
    thread_.join();
}

void StreamReader::run() {
    interrupt_by(&stops_);
    while (!interrupted()) {
        const auto begin = Clock::now();
        std::string why;
        try {
            why = read_once();
        } catch (const std::exception& error) {
            why = error.what();
        }
        if (interrupted()) break;
        backoff_.worked_for(Clock::now() - begin);
        const auto time = backoff_.next();
        source_->closed(why, time);
        wait(time);
    }
    ended_ = true;
}

// -> why reading ended
std::string StreamReader::read_once() {
    const auto input = open_source(source_->settings().url);
    const bool live = input->origin() != Source::Origin::kFile;
    if (live) input->expect_live();
    source_->opened(true);
    auto last = Clock::now();
    while (!input->at_end() && !interrupted()) {
        const auto window = input->next(0);
        source_->take_bytes(window, live);
        const auto now = Clock::now();
        if (!window.empty()) last = now;
        if (now - last >= kLongSilence) return "nothing came for long";
    }
    return input->error().empty() ? source_->why_ended() : input->error();
}

void StreamReader::wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, time, [this] { return stops_.load(); });
}

}  // namespace zvprobe
