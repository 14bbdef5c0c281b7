// SPDX-License-Identifier: MIT
// One source of the protocol library: its record, by the offsets that every such library keeps, and
// the operations of its handler. What is read, and what becomes of it, is the caller's.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zvprotocol.h"

namespace zv {

constexpr size_t kUrlSize = 1024;

// Zero until a member is set. It stays where it is: handlers keep its address.
class UrlRecord {
  public:
    UrlRecord() : record_{} {}
    UrlRecord(const UrlRecord&) = delete;
    UrlRecord& operator=(const UrlRecord&) = delete;

    ZvptcUrlContext* get() { return reinterpret_cast<ZvptcUrlContext*>(record_.raw); }

    // A url that fills all of it is still ended by the zero after it.
    char (&url())[kUrlSize] { return reinterpret_cast<char(&)[kUrlSize]>(record_.raw[kUrlAt]); }
    const char* protocol() const { return text_at(kProtocolAt); }
    const char* hostname() const { return text_at(kHostnameAt); }

    void set_open_flags(uint32_t flags) { store(kOpenFlagsAt, &flags, sizeof flags); }
    void set_interface(const char* name) { store(kInterfaceAt, &name, sizeof name); }

  private:
    static constexpr size_t kSize = 5760;
    static constexpr size_t kOpenFlagsAt = 4;
    static constexpr size_t kInterfaceAt = 72;
    static constexpr size_t kUrlAt = 2264;
    static constexpr size_t kProtocolAt = 4316;
    static constexpr size_t kHostnameAt = 4348;

    const char* text_at(size_t at) const { return reinterpret_cast<const char*>(record_.raw) + at; }
    void store(size_t at, const void* value, size_t size) { memcpy(record_.raw + at, value, size); }

    union {
        unsigned char raw[kSize];
        max_align_t alignment;
    } record_;
};

// What a host states when it opens a file for reading.
constexpr uint32_t kOpenFileForReading = 0x10;

// A record and the handler that opened it; closes what it opened when it goes.
class HandledUrl {
  public:
    ~HandledUrl() { close(); }

    UrlRecord& record() { return record_; }

    // -> the handler's answer, negative on failure; also for a null handler
    int open(const ZvptcHandler* handler) {
        const int result = handler != nullptr ? handler->open(record_.get()) : -1;
        if (result >= 0) handler_ = handler;
        return result;
    }
    // -> bytes read, never more than asked for; 0 at the end, negative on failure
    int read(uint8_t* buffer, int size) {
        return std::min(handler_->read(record_.get(), buffer, size), size);
    }
    void close() {
        if (handler_ != nullptr) handler_->close(record_.get());
        handler_ = nullptr;
    }

  private:
    UrlRecord record_;
    const ZvptcHandler* handler_ = nullptr;
};

}  // namespace zv
