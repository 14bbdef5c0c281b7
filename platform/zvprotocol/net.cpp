// SPDX-License-Identifier: MIT
// Implementation of net.h.
#include "zvprotocol/net.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "zvprotocol/open_failure.h"
#include "zvprotocol/url.h"

namespace zvptc {
namespace {

struct InterfaceListDeleter {
    void operator()(ifaddrs* list) const noexcept { freeifaddrs(list); }
};
using InterfaceList = std::unique_ptr<ifaddrs, InterfaceListDeleter>;

int resolver_error(int code) noexcept {
    if (code == EAI_SYSTEM) return errno;
    if (code == EAI_MEMORY) return ENOMEM;
    explain_open_failure(gai_strerror(code));
    return code == EAI_AGAIN ? EAGAIN : EHOSTUNREACH;
}

const in_addr& ipv4(const sockaddr& address) noexcept {
    return reinterpret_cast<const sockaddr_in&>(address).sin_addr;
}

const in6_addr& ipv6(const sockaddr& address) noexcept {
    return reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
}

bool same_host(const sockaddr& a, const sockaddr& b) noexcept {
    if (a.sa_family != b.sa_family) return false;
    if (a.sa_family == AF_INET) return ipv4(a).s_addr == ipv4(b).s_addr;
    return a.sa_family == AF_INET6 && IN6_ARE_ADDR_EQUAL(&ipv6(a), &ipv6(b));
}

int interface_of_address(const SocketAddress& address) noexcept {
    ifaddrs* raw = nullptr;
    if (getifaddrs(&raw) < 0) return -errno;
    const InterfaceList list(raw);
    for (const ifaddrs* entry = raw; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && same_host(*entry->ifa_addr, *address.get()))
            return static_cast<int>(if_nametoindex(entry->ifa_name));
    }
    return -ENODEV;
}

}  // namespace

bool SocketAddress::is_multicast() const noexcept {
    if (family() == AF_INET) return IN_MULTICAST(ntohl(ipv4(*get()).s_addr));
    return family() == AF_INET6 && IN6_IS_ADDR_MULTICAST(&ipv6(*get()));
}

void SocketAddress::set_port(int port) noexcept {
    const in_port_t network_order = htons(static_cast<uint16_t>(port));
    if (family() == AF_INET6)
        reinterpret_cast<sockaddr_in6&>(storage).sin6_port = network_order;
    else
        reinterpret_cast<sockaddr_in&>(storage).sin_port = network_order;
}

void SocketAddress::set_scope(unsigned interface_index) noexcept {
    if (family() != AF_INET6 || interface_index == 0) return;
    auto& v6 = reinterpret_cast<sockaddr_in6&>(storage);
    if (v6.sin6_scope_id == 0) v6.sin6_scope_id = interface_index;
}

SocketAddress address_of(const addrinfo& info) noexcept {
    SocketAddress address;
    memcpy(&address.storage, info.ai_addr, info.ai_addrlen);
    address.length = info.ai_addrlen;
    return address;
}

int resolve(const char* host, int port, int type, AddressList& list) noexcept {
    if (port < 1 || port > kMaxPort) return failure(EINVAL);
    addrinfo hints{};
    hints.ai_socktype = type;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    std::array<char, 8> service{};
    snprintf(service.data(), service.size(), "%d", port);
    addrinfo* raw = nullptr;
    const int code = getaddrinfo(*host != '\0' ? host : nullptr, service.data(), &hints, &raw);
    if (code != 0) return failure(resolver_error(code));
    list.reset(raw);
    return 0;
}

int resolve_first(const char* host, int port, int type, SocketAddress& address) noexcept {
    AddressList list;
    const int result = resolve(host, port, type, list);
    if (result == 0) address = address_of(*list);
    return result;
}

bool parse_address(const char* text, SocketAddress& address) noexcept {
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* raw = nullptr;
    if (*text == '\0' || getaddrinfo(text, nullptr, &hints, &raw) != 0) return false;
    const AddressList list(raw);
    address = address_of(*raw);
    return true;
}

int make_socket(int family, int type, UniqueFd& socket) noexcept {
    socket = UniqueFd(::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return socket.get() < 0 ? -errno : 0;
}

int set_socket_option(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    return setsockopt(fd, level, name, value, size) < 0 ? failure(errno) : 0;
}

int set_socket_option(int fd, int level, int name, int value) noexcept {
    return set_socket_option(fd, level, name, &value, sizeof value);
}

int find_interface(const char* name) noexcept {
    if (*name == '\0') return 0;
    const unsigned index = if_nametoindex(name);
    if (index > 0) return static_cast<int>(index);
    SocketAddress address;
    const int found = parse_address(name, address) ? interface_of_address(address) : -ENODEV;
    return found > 0 ? found : failure(ENODEV);
}

int join_group(int fd, const SocketAddress& group, unsigned interface_index,
               const char* source) noexcept {
    // Without this a socket also receives what other programs have joined elsewhere.
    if (group.family() == AF_INET) set_socket_option(fd, IPPROTO_IP, IP_MULTICAST_ALL, 0);
    if (*source == '\0') {
        group_req request{};
        request.gr_interface = interface_index;
        request.gr_group = group.storage;
        return set_socket_option(fd, group.level(), MCAST_JOIN_GROUP, &request, sizeof request);
    }
    SocketAddress sender;
    if (!parse_address(source, sender)) return failure(EINVAL);
    group_source_req request{};
    request.gsr_interface = interface_index;
    request.gsr_group = group.storage;
    request.gsr_source = sender.storage;
    return set_socket_option(fd, group.level(), MCAST_JOIN_SOURCE_GROUP, &request, sizeof request);
}

int set_sending(int fd, const SocketAddress& peer, unsigned interface_index, int ttl) noexcept {
    const bool v6 = peer.family() == AF_INET6;
    const int level = peer.level();
    int result = 0;
    if (ttl >= 0) {
        result =
            peer.is_multicast()
                ? set_socket_option(fd, level, v6 ? IPV6_MULTICAST_HOPS : IP_MULTICAST_TTL, ttl)
                : set_socket_option(fd, level, v6 ? IPV6_UNICAST_HOPS : IP_TTL, ttl);
    }
    if (result < 0 || interface_index == 0 || !peer.is_multicast()) return result;
    const auto index = static_cast<int>(interface_index);
    if (v6) return set_socket_option(fd, level, IPV6_MULTICAST_IF, index);
    ip_mreqn request{};
    request.imr_ifindex = index;
    return set_socket_option(fd, level, IP_MULTICAST_IF, &request, sizeof request);
}

}  // namespace zvptc
