// SPDX-License-Identifier: MIT
// Owns one http transfer: libcurl pushes bytes into a bounded buffer, and read takes them out.
#pragma once

#include <cstdint>
#include <memory>

#include "zvprotocol/http/curl_api.h"
#include "zvprotocol/io.h"

namespace zvptc {

class HttpStream {
  public:
    explicit HttpStream(int timeout_ms) noexcept : timeout_ms_(timeout_ms) {}
    ~HttpStream();
    HttpStream(const HttpStream&) = delete;
    HttpStream& operator=(const HttpStream&) = delete;

    // Sends the request and waits for the first body byte, or the end of an empty body.
    // -> 0 or a negated errno
    int open(const char* url) noexcept;

    // Result as ZvptcHandler's read documents it.
    int read(uint8_t* buffer, int size) noexcept;

  private:
    // The most that is read ahead; the transfer pauses when it is full.
    static constexpr size_t kBufferSize = size_t{256} * 1024;

    static size_t on_body(char* data, size_t one, size_t length, void* self) noexcept;
    size_t store(const char* data, size_t length) noexcept;
    size_t take(uint8_t* out, size_t size) noexcept;
    bool configure(const char* url) noexcept;
    int pump(const Deadline& deadline) noexcept;
    void run() noexcept;
    int transfer_error() const noexcept;
    int connect_error() const noexcept;
    void explain_failure() const noexcept;
    long number(CURLINFO what) const noexcept;

    int timeout_ms_;
    std::unique_ptr<uint8_t[]> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    CURLM* multi_ = nullptr;
    CURL* easy_ = nullptr;
    bool paused_ = false;
    bool finished_ = false;
    CURLcode result_ = CURLE_OK;
    int pending_error_ = 0;
};

}  // namespace zvptc
