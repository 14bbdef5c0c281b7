// SPDX-License-Identifier: MIT
// A URL, opened through the protocol library until this object goes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "zvprotocol.h"

namespace zvprobe {

class UrlHandle {
  public:
    enum class For { kReading, kWriting };

    // timeout_ms: the longest wait of one call where the URL does not say; 0 for the default
    explicit UrlHandle(int timeout_ms = 0) { context_.timeout_ms = timeout_ms; }
    ~UrlHandle();
    UrlHandle(const UrlHandle&) = delete;
    UrlHandle& operator=(const UrlHandle&) = delete;

    // -> why it does not open; empty when it is open
    std::string open(const std::string& url, For what_for);

    // -> bytes, or a negated errno value
    int read(std::span<uint8_t> room);
    int write(std::span<const uint8_t> bytes);

    // -> what an errno value means to the user
    std::string text_of(int error) const;

    // -> the socket of a source of datagrams, to wait for; -1 for any other
    int socket() const;

    bool is_open() const { return handler_ != nullptr; }

    // -> ZVPTC_INDEX_*
    int protocol() const { return context_.ptc_index; }

    // -> what follows the "?"
    const char* query() const { return context_.query; }

  private:
    ZvptcUrlContext context_{};
    const ZvptcHandler* handler_ = nullptr;
};

}  // namespace zvprobe
