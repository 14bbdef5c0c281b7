// SPDX-License-Identifier: MIT
// What tests of the protocol library's handlers need: a source as hosts open it, peers on the
// loopback interface, and a signal that comes while a call waits.
#pragma once

#include <pthread.h>
#include <zvprotocol.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "loopback.h"

namespace zvtest {

// A context and its handler, chosen as hosts choose it.
class Source {
  public:
    explicit Source(const std::string& url, uint32_t flags = 0, int timeout_ms = 2000) {
        url.copy(context.url, sizeof context.url - 1);
        context.open_flags = flags;
        context.timeout_ms = timeout_ms;
        zvptc_api_urlSplit_urlctt(&context);
        handler = zvptc_api_matchByName(context.protocol);
    }
    Source(const Source&) = delete;
    ~Source() { close(); }

    int open() { return handler ? handler->open(&context) : -EPROTONOSUPPORT; }
    int close() { return handler ? handler->close(&context) : 0; }
    int write(const std::string& out) {
        return handler->write(&context, reinterpret_cast<const uint8_t*>(out.data()),
                              static_cast<int>(out.size()));
    }
    // An exact-size heap block, so that a sanitizer sees any byte too many.
    int read(int size) {
        std::vector<uint8_t> block(static_cast<size_t>(size));
        const int got = handler->read(&context, block.data(), size);
        bytes.assign(block.begin(), block.begin() + std::max(got, 0));
        return got;
    }
    std::string text(int size) { return read(size) < 0 ? "<" + std::to_string(errno) : bytes; }

    ZvptcUrlContext context{};
    const ZvptcHandler* handler = nullptr;
    std::string bytes;
};

inline int open_result(const std::string& url, uint32_t flags = 0) {
    return Source(url, flags).open();
}

// Joins on destruction.
class Thread {
  public:
    explicit Thread(std::function<void()> body) : thread_(std::move(body)) {}
    ~Thread() { thread_.join(); }

  private:
    std::thread thread_;
};

// Interrupts the calling thread once, in a while: with a wait of its own the caller can tell a
// signal that is remembered from a second one.
inline Thread interrupt_soon() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    return Thread([target = pthread_self()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        pthread_kill(target, SIGUSR1);
    });
}

inline std::string local(const std::string& scheme, int port, const std::string& rest = "") {
    return scheme + "://127.0.0.1:" + std::to_string(port) + rest;
}

}  // namespace zvtest
