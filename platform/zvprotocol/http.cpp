// SPDX-License-Identifier: MIT
// Owns the "http" and "https" handlers and the process-wide life of libcurl; a transfer itself is
// HttpStream's.
#include <memory>
#include <mutex>
#include <new>

#include "curl_api.h"
#include "handlers.h"
#include "http_stream.h"
#include "options.h"

namespace zvptc {
namespace {

struct HttpProcess {
    std::mutex mutex;
    bool started = false;
    int open_streams = 0;
};
constinit HttpProcess process;

int startLocked() noexcept {
    if (loadCurl() == nullptr) return failure(ENOSYS);
    if (!process.started) process.started = curl().global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return process.started ? 0 : failure(EIO);
}

// Keeps libcurl alive while a stream is open.
class HttpUse {
  public:
    static int begin(HttpUse& use) noexcept {
        const std::lock_guard lock(process.mutex);
        const int result = startLocked();
        if (result == 0) {
            ++process.open_streams;
            use.counted_ = true;
        }
        return result;
    }
    HttpUse() = default;
    HttpUse(HttpUse&& other) noexcept : counted_(std::exchange(other.counted_, false)) {}
    HttpUse& operator=(HttpUse&&) = delete;
    ~HttpUse() {
        if (!counted_) return;
        const std::lock_guard lock(process.mutex);
        --process.open_streams;
    }

  private:
    bool counted_ = false;
};

struct HttpState {
    HttpUse use;
    std::unique_ptr<HttpStream> stream;  // its address is libcurl's to keep
};

constexpr const void* kOwner = &kHttpHandler;

int openHttp(ZvptcUrlContext* context) noexcept {
    int result = beginOpen(context, ZVPTC_INDEX_HTTP);
    if (result < 0) return result;
    if (context->hostname[0] == '\0') return failure(EINVAL);
    if ((context->open_flags & ZVPTC_OPEN_WRITE) != 0) return failure(EOPNOTSUPP);
    HttpState state;
    result = HttpUse::begin(state.use);
    if (result < 0) return result;
    const int timeout = contextTimeout(*context, ZVPTC_DEFAULT_TIMEOUT_MS);
    state.stream.reset(new (std::nothrow) HttpStream(timeout));
    result = state.stream ? state.stream->open(context->url) : -ENOMEM;
    if (result < 0) {
        state.stream.reset();
        return failure(-result);
    }
    createState(*context, kOwner, std::move(state));
    return 0;
}

int readHttp(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = stateOf<HttpState>(context, kOwner);
    if (!state) return notOpen(context);
    if (!buffer || size < 1) return failure(EINVAL);
    return state->stream->read(buffer, size);
}

int writeHttp(ZvptcUrlContext* context, const uint8_t*, int) noexcept {
    return stateOf<HttpState>(context, kOwner) ? failure(EOPNOTSUPP) : notOpen(context);
}

int closeHttp(ZvptcUrlContext* context) noexcept {
    auto* const state = stateOf<HttpState>(context, kOwner);
    if (!state) return closeUnopened(context);
    destroyState(*context, *state);
    return 0;
}

}  // namespace

const ZvptcHandler kHttpHandler = {"http",    openHttp,  readHttp,
                                   writeHttp, closeHttp, ZVPTC_INDEX_HTTP};
const ZvptcHandler kHttpsHandler = {"https",   openHttp,  readHttp,
                                    writeHttp, closeHttp, ZVPTC_INDEX_HTTP};

void releaseHttp() noexcept {
    const std::lock_guard lock(process.mutex);
    if (!process.started || process.open_streams > 0) return;
    curl().global_cleanup();
    process.started = false;
}

}  // namespace zvptc
