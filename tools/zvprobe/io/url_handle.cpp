// SPDX-License-Identifier: MIT
// Implementation of url_handle.h.
#include "io/url_handle.h"

#include <cerrno>
#include <cstring>

#include "base/printable.h"
#include "zvprotocol_ext.h"

namespace zvprobe {

UrlHandle::~UrlHandle() {
    if (handler_ == nullptr) return;
    handler_->close(&context_);
    zvptc_api_deinit();
}

std::string UrlHandle::open(const std::string& url, For what_for) {
    if (url.size() >= sizeof context_.url) return std::strerror(ENAMETOOLONG);
    url.copy(context_.url, url.size());
    if (what_for == For::kWriting) context_.open_flags = ZVPTC_OPEN_WRITE;
    const int split = zvptc_api_urlSplit_urlctt(&context_);
    if (split < 0) return std::strerror(-split);
    const ZvptcHandler* const handler = zvptc_api_matchByName(context_.protocol);
    if (handler == nullptr) return "unknown protocol " + in_quotes(context_.protocol);
    zvptc_api_init();
    const int opened = handler->open(&context_);
    if (opened < 0) {
        zvptc_api_deinit();
        const std::string told = zvptc_ext_getOpenFailure();
        return told.empty() ? text_of(-opened) : told;
    }
    handler_ = handler;
    return {};
}

// The errors of a web server's reply have texts that tell its users nothing.
std::string UrlHandle::text_of(int error) const {
    if (protocol() != ZVPTC_INDEX_HTTP) return std::strerror(error);
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

int UrlHandle::socket() const {
    return zvptc_ext_getSocket(&context_);
}

int UrlHandle::read(std::span<uint8_t> room) {
    return handler_->read(&context_, room.data(), static_cast<int>(room.size()));
}

int UrlHandle::write(std::span<const uint8_t> bytes) {
    return handler_->write(&context_, bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace zvprobe
