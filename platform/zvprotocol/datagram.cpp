// SPDX-License-Identifier: MIT
// Owns the "udp" and "rtp" handlers: datagrams received from or sent to one address, unicast or
// multicast. An rtp datagram passes as it is; its header is the caller's to make and to read.
#include <poll.h>

#include "zvprotocol/handlers.h"
#include "zvprotocol/net.h"
#include "zvprotocol/options.h"
#include "zvprotocol_ext.h"

namespace zvptc {
namespace {

// A second of an 8 Mbit/s stream: enough for a receiver that has to wait for a disk or its log.
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

// Without an address in the URL, an interface that is given by address is listened on.
SocketAddress listening_address(const ZvptcUrlContext& context, const SocketAddress& address,
                                const SocketOptions& options) noexcept {
    SocketAddress local;
    if (context.hostname[0] != '\0' || !parse_address(options.interface_name, local))
        return address;
    local.set_port(context.port);
    return local;
}

int bind_to(int fd, const SocketAddress& address) noexcept {
    return bind(fd, address.get(), address.length) < 0 ? failure(errno) : 0;
}

int prepare_receiving(int fd, const ZvptcUrlContext& context, const SocketAddress& address,
                      unsigned interface_index, const SocketOptions& options) noexcept {
    const int wanted = options.receive_buffer > 0 ? options.receive_buffer : kDefaultReceiveBuffer;
    set_socket_option(fd, SOL_SOCKET, SO_RCVBUF, wanted);  // the kernel cuts it to what it allows
    if (!address.is_multicast()) return bind_to(fd, listening_address(context, address, options));
    // Several receivers of one group may run on a machine. Bound to the group, the socket gets no
    // datagrams of other groups with the same port.
    int result = set_socket_option(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    if (result == 0) result = bind_to(fd, address);
    if (result == 0) result = join_group(fd, address, interface_index, context.userinfo);
    return result;
}

int prepare_sending(int fd, const SocketAddress& peer, unsigned interface_index,
                    const SocketOptions& options) noexcept {
    SocketAddress local;
    if (parse_address(options.interface_name, local)) {
        const int result = bind_to(fd, local);
        if (result < 0) return result;
    }
    return set_sending(fd, peer, interface_index, options.ttl);
}

int open_socket(const ZvptcUrlContext& context, bool writing, const SocketOptions& options,
                UniqueFd& fd, SocketAddress& address) noexcept {
    if (writing && context.hostname[0] == '\0') return failure(EINVAL);
    int result = resolve_first(context.hostname, context.port, SOCK_DGRAM, address);
    if (result < 0) return result;
    int index = 0;
    if (address.is_multicast()) {
        index = find_interface(options.interface_name);
        if (index < 0) return index;
    }
    const auto interface_index = static_cast<unsigned>(index);
    address.set_scope(interface_index);
    result = make_socket(address.family(), SOCK_DGRAM, fd);
    if (result < 0) return result;
    return writing ? prepare_sending(fd.get(), address, interface_index, options)
                   : prepare_receiving(fd.get(), context, address, interface_index, options);
}

int open_datagram(ZvptcUrlContext* context, int ptc_index) noexcept {
    SocketOptions options;
    int result = begin_open(context, ptc_index);
    if (result == 0) result = read_options(*context, options);
    if (result < 0) return result;
    const bool writing = (context->open_flags & ZVPTC_OPEN_WRITE) != 0;
    UniqueFd fd;
    SocketAddress address;
    result = open_socket(*context, writing, options, fd, address);
    if (result < 0) return failure(-result);  // closing the socket may have touched errno
    create_state(
        *context, kOwner,
        DatagramState{std::move(fd), writing, options.timeout_ms, options.packet_size, address});
    return 0;
}

int open_udp(ZvptcUrlContext* context) noexcept {
    return open_datagram(context, ZVPTC_INDEX_UDP);
}

int open_rtp(ZvptcUrlContext* context) noexcept {
    return open_datagram(context, ZVPTC_INDEX_RTP);
}

int read_datagram(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = state_of<DatagramState>(context, kOwner);
    if (!state || state->writing) return not_open(context);
    if (!buffer || size < 1) return failure(EINVAL);
    const Deadline deadline(state->timeout_ms);
    for (;;) {
        const int ready = wait_ready(state->fd.get(), POLLIN, deadline);
        if (ready < 0) return failure(-ready);
        // MSG_TRUNC: the result is the datagram's length even where the buffer is shorter.
        const ssize_t length = recv(state->fd.get(), buffer, static_cast<size_t>(size), MSG_TRUNC);
        if (length > size) return failure(EMSGSIZE);
        if (length > 0) return static_cast<int>(length);
        // A ready socket may still have nothing: bad checksums are found only by this read.
        if (length < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return failure(errno);
        // Empty datagrams may come without end, and poll returns at once for each of them.
        if (deadline.remaining_ms() == 0) return failure(ETIMEDOUT);
    }
}

int write_datagram(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const state = state_of<DatagramState>(context, kOwner);
    if (!state || !state->writing) return not_open(context);
    if (!buffer || size < 1) return failure(EINVAL);
    if (size > state->packet_size) return failure(EMSGSIZE);
    const Deadline deadline(state->timeout_ms);
    for (;;) {
        // An unconnected socket: a receiver that is not there yet must not end the sender.
        const ssize_t sent = sendto(state->fd.get(), buffer, static_cast<size_t>(size),
                                    MSG_NOSIGNAL, state->peer.get(), state->peer.length);
        if (sent >= 0) return static_cast<int>(sent);
        if (errno != EAGAIN && errno != EWOULDBLOCK) return failure(errno);
        const int ready = wait_ready(state->fd.get(), POLLOUT, deadline);
        if (ready < 0) return failure(-ready);
    }
}

int close_datagram(ZvptcUrlContext* context) noexcept {
    auto* const state = state_of<DatagramState>(context, kOwner);
    if (!state) return close_unopened(context);
    destroy_state(*context, *state);
    return 0;
}

}  // namespace

const ZvptcHandler kUdpHandler = {"udp",          open_udp,       read_datagram,
                                  write_datagram, close_datagram, ZVPTC_INDEX_UDP};
const ZvptcHandler kRtpHandler = {"rtp",          open_rtp,       read_datagram,
                                  write_datagram, close_datagram, ZVPTC_INDEX_RTP};

}  // namespace zvptc

int zvptc_ext_getSocket(const ZvptcUrlContext* context) {
    // The look-up is shared with those that change the state, and changes nothing itself.
    const auto* const state =
        zvptc::state_of<zvptc::DatagramState>(const_cast<ZvptcUrlContext*>(context), zvptc::kOwner);
    return state && !state->writing ? state->fd.get() : -1;
}
