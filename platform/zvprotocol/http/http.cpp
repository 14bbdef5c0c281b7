// SPDX-License-Identifier: MIT
// Owns the "http" and "https" handlers and the process-wide life of libcurl; a transfer itself is
// HttpStream's.
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "zvprotocol/handlers.h"
#include "zvprotocol/http/curl_api.h"
#include "zvprotocol/http/http_stream.h"
#include "zvprotocol/options.h"

namespace zvptc {
namespace {

struct HttpProcess {
    std::mutex mutex;
    bool started = false;
    int open_streams = 0;
};
constinit HttpProcess process;

int start_locked() noexcept {
    if (load_curl() == nullptr) return failure(ENOSYS);
    if (!process.started) process.started = curl().global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return process.started ? 0 : failure(EIO);
}

// Keeps libcurl alive while a stream is open.
class HttpUse {
  public:
    HttpUse() = default;
    HttpUse(HttpUse&& other) noexcept : counted_(std::exchange(other.counted_, false)) {}
    HttpUse& operator=(HttpUse&&) = delete;
    ~HttpUse() {
        if (!counted_) return;
        const std::lock_guard lock(process.mutex);
        --process.open_streams;
    }

    // -> 0 or a negated errno
    int begin() noexcept {
        const std::lock_guard lock(process.mutex);
        const int result = start_locked();
        if (result < 0) return result;
        ++process.open_streams;
        counted_ = true;
        return 0;
    }

  private:
    bool counted_ = false;
};

struct HttpState {
    HttpUse use;
    std::unique_ptr<HttpStream> stream;  // its address is libcurl's to keep
};

constexpr const void* kOwner = &kHttpHandler;

int open_http(ZvptcUrlContext* context) noexcept {
    int result = begin_open(context, ZVPTC_INDEX_HTTP);
    if (result < 0) return result;
    if (context->hostname[0] == '\0') return failure(EINVAL);
    if ((context->open_flags & ZVPTC_OPEN_WRITE) != 0) return failure(EOPNOTSUPP);
    HttpState state;
    result = state.use.begin();
    if (result < 0) return result;
    const int timeout = context_timeout(*context, ZVPTC_DEFAULT_TIMEOUT_MS);
    state.stream.reset(new (std::nothrow) HttpStream(timeout));
    result = state.stream ? state.stream->open(context->url) : -ENOMEM;
    if (result < 0) {
        state.stream.reset();
        return failure(-result);
    }
    create_state(*context, kOwner, std::move(state));
    return 0;
}

int read_http(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = state_of<HttpState>(context, kOwner);
    if (!state) return not_open(context);
    if (!buffer || size < 1) return failure(EINVAL);
    return state->stream->read(buffer, size);
}

int write_http(ZvptcUrlContext* context, const uint8_t*, int) noexcept {
    return state_of<HttpState>(context, kOwner) ? failure(EOPNOTSUPP) : not_open(context);
}

int close_http(ZvptcUrlContext* context) noexcept {
    auto* const state = state_of<HttpState>(context, kOwner);
    if (!state) return close_unopened(context);
    destroy_state(*context, *state);
    return 0;
}

}  // namespace

const ZvptcHandler kHttpHandler = {"http",     open_http,  read_http,
                                   write_http, close_http, ZVPTC_INDEX_HTTP};
const ZvptcHandler kHttpsHandler = {"https",    open_http,  read_http,
                                    write_http, close_http, ZVPTC_INDEX_HTTP};

void release_http() noexcept {
    const std::lock_guard lock(process.mutex);
    if (!process.started || process.open_streams > 0) return;
    curl().global_cleanup();
    process.started = false;
}

}  // namespace zvptc
