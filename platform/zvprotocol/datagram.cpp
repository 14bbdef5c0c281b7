// SPDX-License-Identifier: MIT
// Owns the "udp" and "rtp" handlers: datagrams received from or sent to one address, unicast or
// multicast. An rtp datagram passes as it is; its header is the caller's to make and to read.
#include <netinet/in.h>
#include <poll.h>

#include <climits>

#include "handlers.h"
#include "net.h"
#include "options.h"

namespace zvptc {
namespace {

// A second of a 8 Mbit/s stream: what a receiver needs that stops for a disk or for its log.
constexpr int kDefaultReceiveBuffer = 1024 * 1024;

struct DatagramState {
    UniqueFd fd;
    bool writing;
    int timeout_ms;
    int packet_size;
    SocketAddress peer;  // writing only
};

// Both names share this state: a context may be opened as udp and closed as rtp.
constexpr const void* kOwner = &kUdpHandler;

// A link-local group means nothing without the interface it is on.
void setScope(SocketAddress& address, unsigned interface_index) noexcept {
    if (address.family() != AF_INET6 || interface_index == 0) return;
    auto& v6 = reinterpret_cast<sockaddr_in6&>(address.storage);
    if (v6.sin6_scope_id == 0) v6.sin6_scope_id = interface_index;
}

// With no address in the URL, an interface given by its address is where to listen.
SocketAddress listeningAddress(const ZvptcUrlContext& context, const SocketAddress& address,
                               const SocketOptions& options) noexcept {
    SocketAddress local;
    if (context.hostname[0] != '\0' || !parseAddress(options.interface_name, local)) return address;
    if (local.family() == AF_INET6)
        reinterpret_cast<sockaddr_in6&>(local.storage).sin6_port =
            htons(static_cast<uint16_t>(context.port));
    else
        reinterpret_cast<sockaddr_in&>(local.storage).sin_port =
            htons(static_cast<uint16_t>(context.port));
    return local;
}

int bindTo(int fd, const SocketAddress& address) noexcept {
    return bind(fd, address.get(), address.length) < 0 ? failure(errno) : 0;
}

int prepareReceiving(int fd, const ZvptcUrlContext& context, const SocketAddress& address,
                     unsigned interface_index, const SocketOptions& options) noexcept {
    const int wanted = options.receive_buffer > 0 ? options.receive_buffer : kDefaultReceiveBuffer;
    setSocketOption(fd, SOL_SOCKET, SO_RCVBUF, wanted);  // the kernel cuts it to what it allows
    if (!address.isMulticast()) return bindTo(fd, listeningAddress(context, address, options));
    // Several receivers of one group may run on a machine. Bound to the group, the socket gets no
    // datagrams of other groups with the same port.
    int result = setSocketOption(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    if (result == 0) result = bindTo(fd, address);
    if (result == 0) result = joinGroup(fd, address, interface_index, context.userinfo);
    return result;
}

int prepareSending(int fd, const SocketAddress& peer, unsigned interface_index,
                   const SocketOptions& options) noexcept {
    SocketAddress local;
    if (parseAddress(options.interface_name, local)) {
        const int result = bindTo(fd, local);
        if (result < 0) return result;
    }
    return setSending(fd, peer, interface_index, options.ttl);
}

int openSocket(const ZvptcUrlContext& context, bool writing, const SocketOptions& options,
               UniqueFd& fd, SocketAddress& address) noexcept {
    if (writing && context.hostname[0] == '\0') return failure(EINVAL);
    int result = resolveFirst(context.hostname, context.port, SOCK_DGRAM, address);
    if (result < 0) return result;
    int index = 0;
    if (address.isMulticast()) {
        index = interfaceIndex(options.interface_name);
        if (index < 0) return index;
    }
    const auto interface_index = static_cast<unsigned>(index);
    setScope(address, interface_index);
    result = makeSocket(address.family(), SOCK_DGRAM, fd);
    if (result < 0) return result;
    return writing ? prepareSending(fd.get(), address, interface_index, options)
                   : prepareReceiving(fd.get(), context, address, interface_index, options);
}

int openDatagram(ZvptcUrlContext* context, int ptc_index) noexcept {
    SocketOptions options;
    int result = beginOpen(context, ptc_index);
    if (result == 0) result = readOptions(*context, options);
    if (result < 0) return result;
    const bool writing = (context->open_flags & ZVPTC_OPEN_WRITE) != 0;
    UniqueFd fd;
    SocketAddress address;
    result = openSocket(*context, writing, options, fd, address);
    if (result < 0) return failure(-result);  // closing the socket may have touched errno
    createState(
        *context, kOwner,
        DatagramState{std::move(fd), writing, options.timeout_ms, options.packet_size, address});
    return 0;
}

int openUdp(ZvptcUrlContext* context) noexcept {
    return openDatagram(context, ZVPTC_INDEX_UDP);
}

int openRtp(ZvptcUrlContext* context) noexcept {
    return openDatagram(context, ZVPTC_INDEX_RTP);
}

int readDatagram(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = stateOf<DatagramState>(context, kOwner);
    if (!state || state->writing) return notOpen(context);
    if (!buffer || size < 1) return failure(EINVAL);
    const Deadline deadline(state->timeout_ms);
    for (;;) {
        const int ready = waitReady(state->fd.get(), POLLIN, deadline);
        if (ready < 0) return failure(-ready);
        // MSG_TRUNC: the result is the datagram's length even where the buffer is shorter.
        const ssize_t length = recv(state->fd.get(), buffer, static_cast<size_t>(size), MSG_TRUNC);
        if (length > size) return failure(EMSGSIZE);
        if (length > 0) return static_cast<int>(length);
        // Readiness is a hint: the kernel drops a datagram with a bad checksum only here.
        if (length < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return failure(errno);
        // Empty ones, too, may come without end, and poll would find each in no time.
        if (deadline.remainingMs() == 0) return failure(ETIMEDOUT);
    }
}

int writeDatagram(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const state = stateOf<DatagramState>(context, kOwner);
    if (!state || !state->writing) return notOpen(context);
    if (!buffer || size < 1) return failure(EINVAL);
    if (size > state->packet_size) return failure(EMSGSIZE);
    const Deadline deadline(state->timeout_ms);
    for (;;) {
        // An unconnected socket: a receiver that is not there yet must not end the sender.
        const ssize_t sent = sendto(state->fd.get(), buffer, static_cast<size_t>(size),
                                    MSG_NOSIGNAL, state->peer.get(), state->peer.length);
        if (sent >= 0) return static_cast<int>(sent);
        if (errno != EAGAIN && errno != EWOULDBLOCK) return failure(errno);
        const int ready = waitReady(state->fd.get(), POLLOUT, deadline);
        if (ready < 0) return failure(-ready);
    }
}

int closeDatagram(ZvptcUrlContext* context) noexcept {
    auto* const state = stateOf<DatagramState>(context, kOwner);
    if (!state) return closeUnopened(context);
    destroyState(*context, *state);
    return 0;
}

}  // namespace

const ZvptcHandler kUdpHandler = {"udp",         openUdp,       readDatagram,
                                  writeDatagram, closeDatagram, ZVPTC_INDEX_UDP};
const ZvptcHandler kRtpHandler = {"rtp",         openRtp,       readDatagram,
                                  writeDatagram, closeDatagram, ZVPTC_INDEX_RTP};

}  // namespace zvptc
