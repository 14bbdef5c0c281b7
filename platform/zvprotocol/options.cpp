// SPDX-License-Identifier: MIT
// Implementation of options.h.
#include "zvprotocol/options.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "zvprotocol/io.h"
#include "zvprotocol/url.h"

namespace zvptc {
namespace {

bool set_interface(std::string_view name, SocketOptions& options) noexcept {
    if (name.size() >= sizeof options.interface_name) return false;
    *std::copy(name.begin(), name.end(), options.interface_name) = '\0';
    return true;
}

bool set_listen(std::string_view value, SocketOptions& options) noexcept {
    int number = 0;
    const bool good = parse_number(value, 0, 1, number);
    options.listen = number == 1;
    return good;
}

bool set_option(std::string_view key, std::string_view value, SocketOptions& options) noexcept {
    if (key == "timeout") return parse_number(value, -1, INT_MAX, options.timeout_ms);
    if (key == "rcvbuf") return parse_number(value, 1, INT_MAX, options.receive_buffer);
    if (key == "ttl") return parse_number(value, 0, 255, options.ttl);
    if (key == "pkt_size") return parse_number(value, 1, kMaxUdpPayload, options.packet_size);
    if (key == "listen") return set_listen(value, options);
    if (key == "localaddr" || key == "interface") return set_interface(value, options);
    return true;
}

}  // namespace

int context_timeout(const ZvptcUrlContext& context, int fallback) noexcept {
    return context.timeout_ms == 0 ? fallback : std::max(context.timeout_ms, -1);
}

int read_options(const ZvptcUrlContext& context, SocketOptions& options) noexcept {
    options.timeout_ms = context_timeout(context, ZVPTC_DEFAULT_TIMEOUT_MS);
    options.receive_buffer = std::max(context.receive_buffer, 0);
    if (context.interface_in && !set_interface(context.interface_in, options))
        return failure(EINVAL);

    std::string_view query(context.query, strnlen(context.query, sizeof context.query));
    while (!query.empty()) {
        const size_t end = std::min(query.find('&'), query.size());
        const std::string_view option = query.substr(0, end);
        const size_t equals = option.find('=');
        if (equals != std::string_view::npos &&
            !set_option(option.substr(0, equals), option.substr(equals + 1), options))
            return failure(EINVAL);
        query.remove_prefix(std::min(end + 1, query.size()));
    }
    return 0;
}

}  // namespace zvptc
