// SPDX-License-Identifier: MIT
// Owns what a host may choose about a socket: the options in the query of a URL, then the members
// of the context, then the defaults.
#pragma once

#include "zvprotocol.h"

namespace zvptc {

constexpr int kMaxUdpPayload = 65507;  // over IPv4

struct SocketOptions {
    int timeout_ms = ZVPTC_DEFAULT_TIMEOUT_MS;
    int receive_buffer = 0;  // bytes, 0: the protocol's default
    int ttl = -1;            // -1: the system's default
    int packet_size = kMaxUdpPayload;
    bool listen = false;
    char interface_name[64] = "";  // name or address; empty: the system chooses
};

// The time-out of a context: its member, or `fallback` when that is 0.
int context_timeout(const ZvptcUrlContext& context, int fallback) noexcept;

// -> 0, -EINVAL for an option out of its range
int read_options(const ZvptcUrlContext& context, SocketOptions& options) noexcept;

}  // namespace zvptc
