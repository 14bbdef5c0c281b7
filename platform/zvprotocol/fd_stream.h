// SPDX-License-Identifier: MIT
// Owns reading and writing a stream of bytes through a file descriptor: whole buffers, within a
// time-out, interruptible. Files, pipes and tcp connections share it.
#pragma once

#include <cstdint>
#include <utility>

#include "zvprotocol/io.h"

namespace zvptc {

class FdStream {
  public:
    // timeout_ms: longest wait of one call, negative for ever. With `may_wait` false (a regular
    // file) the descriptor is always ready and poll is not asked.
    FdStream(UniqueFd fd, int timeout_ms, bool may_wait) noexcept
        : fd_(std::move(fd)), timeout_ms_(timeout_ms), may_wait_(may_wait) {}

    // Results as ZvptcHandler's read and write document them.
    int read(uint8_t* buffer, int size) noexcept;
    int write(const uint8_t* buffer, int size) noexcept;

    int close() noexcept { return fd_.close(); }
    void release() noexcept { fd_.release(); }

  private:
    template <typename Step>
    int transfer(int size, short events, int& pending_error, Step step) noexcept;

    UniqueFd fd_;
    int timeout_ms_;
    bool may_wait_;
    // An error after some bytes of a call were moved; the next call reports it.
    int read_error_ = 0;
    int write_error_ = 0;
};

}  // namespace zvptc
