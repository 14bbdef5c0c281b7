// SPDX-License-Identifier: MIT
// The log file: its path, append-only writing, rotation by size, the observer that reads along, and the lock
// that keeps texts whole. What is written, and when, is left to the callers.
#pragma once

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "zvlog_ext.h"

namespace zvlog {

using Path = char[PATH_MAX];

struct Rotation {
    uint64_t max_bytes = ZVLOG_DEFAULT_MAX_BYTES;
    unsigned generations = ZVLOG_DEFAULT_GENERATIONS;
};

class LogFile {
  public:
    // Replaces the open file, if any. False when the new one cannot be opened; that is reported on
    // stderr, but not twice in a row for the same path.
    bool open(const char* dir, const char* file);
    void close();
    void set_rotation(Rotation rotation);

    // Returns when no call of the previous observer is still running.
    void set_observer(ZvlogObserver observer, void* user);

    // Whether there is a file or an observer: a hint that takes no lock; write() checks again.
    bool has_reader() const { return is_open() || observed_.load(std::memory_order_relaxed); }

    // Writes one text, rotating before it when it would not fit.
    void write(const char* text, size_t length);

    // For several texts that must stay together: hold the lock and use write_locked.
    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }
    void write_locked(const char* text, size_t length);

  private:
    bool is_open() const { return fd_.load(std::memory_order_relaxed) >= 0; }
    bool open_path();
    bool reopen();
    void rotate();
    bool shift_generations();
    void close_locked();
    void append(const char* text, size_t length);
    void report_open_failure();
    void report_write_failure();

    std::mutex mutex_;
    std::atomic<int> fd_{-1};
    uint64_t size_ = 0;  // bytes in the file, or since the last rotation that did not succeed
    Rotation wanted_;    // what the program asked for
    Rotation active_;    // what holds for the open file
    Path path_ = "";
    Path reported_ = "";  // the last path whose failure was reported
    bool write_failure_reported_ = false;
    std::atomic<bool> observed_{false};
    ZvlogObserver observer_ = nullptr;
    void* observer_user_ = nullptr;
};

// The one log file of the process.
LogFile& log_file();

}  // namespace zvlog
