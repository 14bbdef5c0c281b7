// SPDX-License-Identifier: MIT
// A thread that reads one source that is no socket of datagrams: a connection, a pipe or a file. A
// source that ends or fails is opened again after a while.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "watch/backoff.h"
#include "watch/watched_source.h"

namespace zvprobe {

class StreamReader {
  public:
    explicit StreamReader(std::shared_ptr<WatchedSource> source);

    // Asks for the end, without waiting for it.
    void stop();

    // Waits for it: not for long, but for a look-up of a name that has begun.
    ~StreamReader();
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

  private:
    void run();
    std::string read_once();
    void wait(std::chrono::milliseconds time);

    const std::shared_ptr<WatchedSource> source_;
    Backoff backoff_;
    std::atomic<bool> stops_{false};
    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

}  // namespace zvprobe
