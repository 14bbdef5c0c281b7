// SPDX-License-Identifier: MIT
// Owns addresses and socket set-up: resolving, interfaces, multicast membership. What is then sent
// or received is decided by the handlers.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>

#include "zvprotocol/io.h"

namespace zvptc {

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
    int family() const noexcept { return storage.ss_family; }
    bool is_multicast() const noexcept;
    void set_port(int port) noexcept;
    // Names the interface of an IPv6 address that has none yet: a link-local group means nothing
    // without the interface it is on. 0: leaves it to the system.
    void set_scope(unsigned interface_index) noexcept;
    // Level of the family's own socket options.
    int level() const noexcept { return family() == AF_INET6 ? IPPROTO_IPV6 : IPPROTO_IP; }
};

struct AddressListDeleter {
    void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

// Addresses of `host` (empty: every local address) for SOCK_DGRAM or SOCK_STREAM. A port outside
// 1..65535 is -EINVAL. Name look-ups may take as long as the resolver takes.
// -> 0 or a negated errno
int resolve(const char* host, int port, int type, AddressList& list) noexcept;

// The first address of `host`. -> 0 or a negated errno
int resolve_first(const char* host, int port, int type, SocketAddress& address) noexcept;

// A numeric address, no look-up, any port. -> whether `text` is one
bool parse_address(const char* text, SocketAddress& address) noexcept;

SocketAddress address_of(const addrinfo& info) noexcept;

// Non-blocking, closed on exec. -> 0 or a negated errno
int make_socket(int family, int type, UniqueFd& socket) noexcept;

// -> 0 or a negated errno
int set_socket_option(int fd, int level, int name, const void* value, socklen_t size) noexcept;
int set_socket_option(int fd, int level, int name, int value) noexcept;

// Index of the interface that `name` names or whose address it is; 0 for an empty name, -ENODEV
// for one that is not there.
int find_interface(const char* name) noexcept;

// Receives the datagrams of `group`, only those of the sender `source` when that is not empty.
// -> 0 or a negated errno
int join_group(int fd, const SocketAddress& group, unsigned interface_index,
               const char* source) noexcept;

// Chooses where multicast leaves and how far datagrams travel. -> 0 or a negated errno
int set_sending(int fd, const SocketAddress& peer, unsigned interface_index, int ttl) noexcept;

}  // namespace zvptc
