// SPDX-License-Identifier: MIT
// Implementation of http_stream.h.
#include "zvprotocol/http/http_stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "zvprotocol/http/http_status.h"
#include "zvprotocol/open_failure.h"

namespace zvptc {
namespace {

constexpr long kMaxRedirects = 10;
constexpr int kLongestPollMs = 60000;

int http_status_error(long status) noexcept {
    switch (status) {
        case 401:
        case 403:
            return EACCES;
        case 404:
        case 410:
            return ENOENT;
        default:
            return EIO;
    }
}

int curl_error(CURLcode code) noexcept {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return EHOSTUNREACH;
        case CURLE_OPERATION_TIMEDOUT:
            return ETIMEDOUT;
        case CURLE_URL_MALFORMAT:
            return EINVAL;
        case CURLE_WEIRD_SERVER_REPLY:
            return EPROTO;
        case CURLE_OUT_OF_MEMORY:
            return ENOMEM;
        case CURLE_SEND_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
            return ECONNRESET;
        default:
            return EIO;
    }
}

// A redirection must not lead from the web to files or other protocols.
bool allow_only_http(CURL* easy) noexcept {
#if LIBCURL_VERSION_NUM >= 0x075500
    return curl().easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
           curl().easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK;
#else
    constexpr long kHttpOnly = CURLPROTO_HTTP | CURLPROTO_HTTPS;
    return curl().easy_setopt(easy, CURLOPT_PROTOCOLS, kHttpOnly) == CURLE_OK &&
           curl().easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS, kHttpOnly) == CURLE_OK;
#endif
}

}  // namespace

HttpStream::~HttpStream() {
    const SigpipeGuard guard;  // ending a TLS connection writes to it
    if (multi_ && easy_) curl().multi_remove_handle(multi_, easy_);
    if (easy_) curl().easy_cleanup(easy_);
    if (multi_) curl().multi_cleanup(multi_);
}

bool HttpStream::configure(const char* url) noexcept {
    const long connect_timeout = std::max(timeout_ms_, 0);  // 0: libcurl's own, five minutes
    return allow_only_http(easy_) && curl().easy_setopt(easy_, CURLOPT_URL, url) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_FAILONERROR, 1L) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_MAXREDIRS, kMaxRedirects) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_USERAGENT, "zvprotocol/1") == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, connect_timeout) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &HttpStream::on_body) == CURLE_OK &&
           curl().easy_setopt(easy_, CURLOPT_WRITEDATA, this) == CURLE_OK &&
           curl().multi_add_handle(multi_, easy_) == CURLM_OK;
}

int HttpStream::open(const char* url) noexcept {
    buffer_.reset(new (std::nothrow) uint8_t[kBufferSize]);
    multi_ = curl().multi_init();
    easy_ = curl().easy_init();
    if (!buffer_ || !multi_ || !easy_ || !configure(url)) return -ENOMEM;
    const Deadline deadline(timeout_ms_);
    while (begin_ == end_ && !finished_) {
        const int result = pump(deadline);
        if (result < 0) return result;
    }
    if (begin_ < end_) return 0;
    const int result = transfer_error();
    if (result < 0) explain_failure();
    return result;
}

int HttpStream::read(uint8_t* buffer, int size) noexcept {
    if (pending_error_ != 0) return failure(-std::exchange(pending_error_, 0));
    const Deadline deadline(timeout_ms_);
    size_t done = 0;
    int result = 0;
    for (;;) {
        done += take(buffer + done, static_cast<size_t>(size) - done);
        if (done == static_cast<size_t>(size)) break;
        if (finished_) {
            result = transfer_error();
            break;
        }
        result = pump(deadline);
        if (result < 0) break;
    }
    return partial_result(static_cast<int>(done), result, pending_error_);
}

// Continues the transfer, and waits for the network when that brought no bytes.
// -> 0, -ETIMEDOUT or -EINTR
int HttpStream::pump(const Deadline& deadline) noexcept {
    run();
    if (begin_ < end_ || finished_) return 0;
    const int left = deadline.remaining_ms();
    if (left == 0) return -ETIMEDOUT;
    const int wait = left < 0 ? kLongestPollMs : std::min(left, kLongestPollMs);
    int ready = 0;
    // libcurl takes a signal for "nothing happened"; only errno tells the two apart.
    errno = 0;
    const CURLMcode code = curl().multi_poll(multi_, nullptr, 0, wait, &ready);
    if (code != CURLM_OK) return -EIO;
    return ready == 0 && errno == EINTR ? -EINTR : 0;
}

void HttpStream::run() noexcept {
    const SigpipeGuard guard;
    if (paused_ && begin_ == end_) {
        paused_ = false;
        curl().easy_pause(easy_, CURLPAUSE_CONT);
    }
    int running = 0;
    if (curl().multi_perform(multi_, &running) != CURLM_OK) {
        finished_ = true;
        result_ = CURLE_RECV_ERROR;
    }
    int queued = 0;
    while (const CURLMsg* message = curl().multi_info_read(multi_, &queued)) {
        if (message->msg != CURLMSG_DONE) continue;
        finished_ = true;
        result_ = message->data.result;
    }
}

int HttpStream::transfer_error() const noexcept {
    if (result_ == CURLE_OK) return 0;
    switch (result_) {
        case CURLE_HTTP_RETURNED_ERROR:
            return -http_status_error(number(CURLINFO_RESPONSE_CODE));
        case CURLE_UNSUPPORTED_PROTOCOL:
            // Without a status the server has answered in another protocol, or HTTP/0.9.
            return number(CURLINFO_RESPONSE_CODE) == 0 ? -EPROTO : -EPROTONOSUPPORT;
        case CURLE_RECV_ERROR:
            // Where the system has no complaint the bytes are at fault, as in a wrong chunk size.
            return number(CURLINFO_OS_ERRNO) == 0 ? -EBADMSG : -ECONNRESET;
        case CURLE_COULDNT_CONNECT:
            return -connect_error();
        default:
            return -curl_error(result_);
    }
}

int HttpStream::connect_error() const noexcept {
    const long error = number(CURLINFO_OS_ERRNO);
    return error > 0 ? static_cast<int>(error) : ECONNREFUSED;
}

// EIO stands for whatever has no errno value of its own, as a certificate that is not trusted.
void HttpStream::explain_failure() const noexcept {
    char text[64];
    if (result_ == CURLE_HTTP_RETURNED_ERROR)
        explain_open_failure(http_status_text(number(CURLINFO_RESPONSE_CODE), text));
    else if (curl_error(result_) == EHOSTUNREACH || -transfer_error() == EIO)
        explain_open_failure(curl().easy_strerror(result_));
}

long HttpStream::number(CURLINFO what) const noexcept {
    long value = 0;
    curl().easy_getinfo(easy_, what, &value);
    return value;
}

size_t HttpStream::on_body(char* data, size_t one, size_t length, void* self) noexcept {
    return static_cast<HttpStream*>(self)->store(data, one * length);
}

size_t HttpStream::store(const char* data, size_t length) noexcept {
    static_assert(CURL_MAX_WRITE_SIZE <= kBufferSize, "an empty buffer takes any piece");
    if (begin_ > 0 && kBufferSize - end_ < length) {
        memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (kBufferSize - end_ < length) {
        paused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    memcpy(buffer_.get() + end_, data, length);
    end_ += length;
    return length;
}

size_t HttpStream::take(uint8_t* out, size_t size) noexcept {
    const size_t taken = std::min(size, end_ - begin_);
    memcpy(out, buffer_.get() + begin_, taken);
    begin_ += taken;
    if (begin_ == end_) begin_ = end_ = 0;
    return taken;
}

}  // namespace zvptc
