// SPDX-License-Identifier: MIT
// Implementation of stream_source.h.
#include "io/stream_source.h"

#include <cerrno>
#include <cstring>

#include "base/printable.h"
#include "io/rtp_payload.h"

namespace zvprobe {
namespace {

std::string unknown_scheme(const char* scheme) {
    return "unknown protocol " + in_quotes(scheme);
}

// The errors of a web server's reply have texts that tell its users nothing.
std::string reason_of(const ZvptcHandler& handler, int error) {
    if (handler.ptc_index != ZVPTC_INDEX_HTTP) return std::strerror(error);
    switch (error) {
        case EPROTO:
            return "the reply is not HTTP";
        case EBADMSG:
            return "the reply is damaged, as a wrong chunk size";
        case EPROTONOSUPPORT:
            return "the server redirects away from HTTP";
        case ECONNRESET:
            return "the server closed the connection early";
        default:
            return std::strerror(error);
    }
}

}  // namespace

StreamSource::StreamSource(const std::string& url) {
    if (url.size() >= sizeof context_.url) throw SourceError(std::strerror(ENAMETOOLONG));
    url.copy(context_.url, url.size());
    const int split = zvptc_api_urlSplit_urlctt(&context_);
    if (split < 0) throw SourceError(std::strerror(-split));
    handler_ = zvptc_api_matchByName(context_.protocol);
    if (handler_ == nullptr) throw SourceError(unknown_scheme(context_.protocol));
    zvptc_api_init();
    const int opened = handler_->open(&context_);
    if (opened < 0) {
        zvptc_api_deinit();
        throw SourceError(reason_of(*handler_, -opened));
    }
}

StreamSource::~StreamSource() {
    handler_->close(&context_);
    zvptc_api_deinit();
}

int StreamSource::read_once(std::span<uint8_t> room) {
    const int got = handler_->read(&context_, room.data(), static_cast<int>(room.size()));
    if (got <= 0 || handler_->ptc_index != ZVPTC_INDEX_RTP) return got;
    const auto payload = rtp_payload(room.first(static_cast<size_t>(got)));
    std::memmove(room.data(), payload.data(), payload.size());
    return payload.empty() ? -EINTR : static_cast<int>(payload.size());
}

std::string StreamSource::text_of(int error) const {
    return reason_of(*handler_, error);
}

}  // namespace zvprobe
