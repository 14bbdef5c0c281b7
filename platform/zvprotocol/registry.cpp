// SPDX-License-Identifier: MIT
// Owns the table of schemes and the look-ups over it, and counts the users of the library. The
// table is constant: a host that never calls init finds the same handlers.
#include "zvprotocol.h"

#include <strings.h>

#include <array>
#include <atomic>
#include <cstring>

#include "zvprotocol/handlers.h"
#include "zvprotocol/url.h"

namespace zvptc {
namespace {

// In the order of the protocol indices; the first entry of an index is the one found by index.
constexpr std::array<const ZvptcHandler*, 6> kHandlers = {
    &kFileHandler, &kHttpHandler, &kHttpsHandler, &kUdpHandler, &kTcpHandler, &kRtpHandler,
};

std::atomic<int> users{0};

const ZvptcHandler* find_handler(std::string_view scheme) noexcept {
    for (const ZvptcHandler* handler : kHandlers) {
        if (scheme.size() == strlen(handler->name) &&
            strncasecmp(scheme.data(), handler->name, scheme.size()) == 0)
            return handler;
    }
    return nullptr;
}

}  // namespace

int32_t scheme_index(std::string_view scheme) noexcept {
    const ZvptcHandler* const handler = find_handler(scheme);
    return handler ? handler->ptc_index : -1;
}

}  // namespace zvptc

int zvptc_api_init(void) {
    ++zvptc::users;
    return 0;
}

// Nothing to do: the handlers are constants, and the http client starts when it is first used.
int zvptc_api_register(void) {
    return 0;
}

void zvptc_api_deinit(void) {
    int count = zvptc::users.load();
    while (count > 0 && !zvptc::users.compare_exchange_weak(count, count - 1)) {
    }
    if (count == 1) zvptc::release_http();
}

const ZvptcHandler* zvptc_api_matchByName(const char* scheme) {
    return scheme ? zvptc::find_handler(scheme) : nullptr;
}

const ZvptcHandler* zvptc_api_matchByPtcindex(int index) {
    for (const ZvptcHandler* handler : zvptc::kHandlers) {
        if (handler->ptc_index == index) return handler;
    }
    return nullptr;
}

int zvptc_api_matchByUrlAndIndex(const char* url, int index) {
    return index >= 0 && zvptc_api_getPtcindex(url, 0, 0) == index ? 1 : 0;
}

int zvptc_api_getPtcindex(const char* url, int a3, uint8_t a4) {
    static_cast<void>(a3);
    static_cast<void>(a4);
    if (!url || *url == '\0') return -1;
    zvptc::UrlParts parts;
    std::string_view rest;
    zvptc::split_scheme(url, parts, rest);
    return parts.index;
}
