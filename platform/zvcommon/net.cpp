// SPDX-License-Identifier: MIT
// Address tests on the text of a host. Nothing is resolved.

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>
#include <string_view>

#include "zvcommon.h"

namespace {

// Takes off what may surround an address literal: '@', brackets and the zone after '%'.
std::string_view bare_address(std::string_view host) {
    if (host.starts_with('@')) host.remove_prefix(1);
    if (host.size() >= 2 && host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    const bool with_zone = host.find(':') != std::string_view::npos;
    return with_zone ? host.substr(0, host.find('%')) : host;
}

}  // namespace

extern "C" int zvnet_api_isMulticast(const char* host) {
    if (host == nullptr) return 0;
    char text[INET6_ADDRSTRLEN] = "";
    const std::string_view address = bare_address(host);
    if (address.size() >= sizeof text) return 0;
    std::memcpy(text, address.data(), address.size());

    in_addr v4{};
    in6_addr v6{};
    if (::inet_pton(AF_INET, text, &v4) == 1) return IN_MULTICAST(ntohl(v4.s_addr)) ? 1 : 0;
    if (::inet_pton(AF_INET6, text, &v6) == 1) return v6.s6_addr[0] == 0xFF ? 1 : 0;
    return 0;
}
