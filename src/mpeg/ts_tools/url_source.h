// SPDX-License-Identifier: MIT
// The bytes of a URL, piece by piece, to their end. How a URL is found and read is the protocol
// library's; what the bytes mean is the caller's.
#pragma once

#include <cstdint>
#include <span>

#include "bitStream/url_record.h"
#include "ts_tools.h"

namespace zv {

class UrlSource {
  public:
    static constexpr int kMaxPiece = 65536;  // no datagram is longer

    // -> false, logged, when no handler knows the scheme or the source does not open
    bool open(const char* url);

    // One piece: a datagram, or some bytes of a stream. It lasts until the next call.
    // -> empty at the end, at a time-out, when a signal interrupted the read, or on failure
    std::span<const uint8_t> next();

    bool has_datagrams() const { return has_datagrams_; }

    // -> ZV_TS_TOOL_DONE when the source ended after at least one byte; else
    //    ZV_TS_TOOL_CANNOT_READ, logged
    int result() const;

    // The same for a caller that copies the source: a file or stream that a signal cut short is not
    // whole. Datagrams end no other way.
    int copy_result() const;

  private:
    int fail() const;

    HandledUrl source_;
    const char* url_ = nullptr;
    bool has_datagrams_ = false;
    bool any_ = false;
    int last_read_ = 0;
    uint8_t piece_[kMaxPiece];
};

}  // namespace zv
