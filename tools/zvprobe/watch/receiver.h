// SPDX-License-Identifier: MIT
// A thread that receives the datagrams of many sources: it waits for all of their sockets at once,
// and opens again those that fail or have long been silent.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "watch/backoff.h"
#include "watch/datagram_socket.h"
#include "watch/watched_source.h"

namespace zvprobe {

class Receiver {
  public:
    // Throws std::system_error.
    Receiver();
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    // at_once: it is opened before this returns, and not by the thread
    void add(const std::shared_ptr<WatchedSource>& source, bool at_once);

    // When it returns, the source gets nothing more and its port is free.
    void remove(const WatchedSource& source);

    size_t count() const;

    // -> whether its thread has looked for datagrams in that time, and is not stuck. Any thread.
    bool has_looked_within(std::chrono::milliseconds time) const;

  private:
    using Clock = std::chrono::steady_clock;

    struct Entry {
        Entry(std::shared_ptr<WatchedSource> watched, uint32_t seed)
            : source(std::move(watched)), backoff(seed) {}

        std::shared_ptr<WatchedSource> source;
        Backoff backoff;
        std::optional<DatagramSocket> socket = {};
        Clock::time_point opened = {};
        Clock::time_point next_try = {};  // while it is closed
        Clock::time_point last = {};      // datagram, or when it was opened
    };

    void run();
    void receive(uint64_t id);
    void look_after(uint64_t id, Entry& entry, Clock::time_point now);
    void open(uint64_t id, Entry& entry, Clock::time_point now);
    void close(Entry& entry, const std::string& why, Clock::time_point now);
    static void warn_of_shortage(const Entry& entry);

    const int epoll_;
    std::atomic<bool> stops_{false};
    std::atomic<Clock::time_point> looked_{Clock::now()};
    mutable std::mutex mutex_;  // for the entries, and the sockets in them
    std::map<uint64_t, Entry> entries_;
    uint64_t next_id_ = 0;
    DatagramBatch batch_;
    std::thread thread_;
};

}  // namespace zvprobe
