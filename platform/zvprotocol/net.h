// SPDX-License-Identifier: MIT
// Owns addresses and socket set-up: resolving, interfaces, multicast membership. What is then sent
// or received is the handlers' business.
#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <memory>

#include "io.h"
#include "options.h"

namespace zvptc {

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
    int family() const noexcept { return storage.ss_family; }
    bool isMulticast() const noexcept;
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
int resolveFirst(const char* host, int port, int type, SocketAddress& address) noexcept;

// A numeric address, no look-up, any port. -> whether `text` is one
bool parseAddress(const char* text, SocketAddress& address) noexcept;

SocketAddress addressOf(const addrinfo& info) noexcept;

// Non-blocking, closed on exec. -> 0 or a negated errno
int makeSocket(int family, int type, UniqueFd& socket) noexcept;

// -> 0 or a negated errno
int setSocketOption(int fd, int level, int name, const void* value, socklen_t size) noexcept;
int setSocketOption(int fd, int level, int name, int value) noexcept;

// Index of the interface that `name` names or whose address it is; 0 for an empty name, -ENODEV
// for one that is not there.
int interfaceIndex(const char* name) noexcept;

// Receives the datagrams of `group`, only those of the sender `source` when that is not empty.
// -> 0 or a negated errno
int joinGroup(int fd, const SocketAddress& group, unsigned interface_index,
              const char* source) noexcept;

// Chooses where multicast leaves and how far datagrams travel. -> 0 or a negated errno
int setSending(int fd, const SocketAddress& peer, unsigned interface_index, int ttl) noexcept;

}  // namespace zvptc
