// SPDX-License-Identifier: MIT
// Owns the "tcp" handler: one connection, made to a peer or, with "listen=1", accepted from one.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>

#include "zvprotocol/fd_stream.h"
#include "zvprotocol/handlers.h"
#include "zvprotocol/net.h"
#include "zvprotocol/options.h"

namespace zvptc {
namespace {

int connect_to(const SocketAddress& peer, const SocketOptions& options, const Deadline& deadline,
               UniqueFd& fd) noexcept {
    int result = make_socket(peer.family(), SOCK_STREAM, fd);
    if (result < 0) return result;
    if (options.receive_buffer > 0)
        set_socket_option(fd.get(), SOL_SOCKET, SO_RCVBUF, options.receive_buffer);
    if (connect(fd.get(), peer.get(), peer.length) == 0) return 0;
    if (errno != EINPROGRESS) return -errno;
    result = wait_ready(fd.get(), POLLOUT, deadline);
    if (result < 0) return result;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &error, &size) < 0) error = errno;
    return -error;
}

int accept_on(const SocketAddress& local, const SocketOptions& options, const Deadline& deadline,
              UniqueFd& fd) noexcept {
    UniqueFd listener;
    int result = make_socket(local.family(), SOCK_STREAM, listener);
    if (result < 0) return result;
    // Without it the port stays in use for minutes after the last connection.
    set_socket_option(listener.get(), SOL_SOCKET, SO_REUSEADDR, 1);
    if (options.receive_buffer > 0)
        set_socket_option(listener.get(), SOL_SOCKET, SO_RCVBUF, options.receive_buffer);
    if (bind(listener.get(), local.get(), local.length) < 0) return -errno;
    if (listen(listener.get(), 1) < 0) return -errno;
    for (;;) {
        result = wait_ready(listener.get(), POLLIN, deadline);
        if (result < 0) return result;
        fd = UniqueFd(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (fd.get() >= 0) return 0;
        // A peer that gave up between the two calls is no reason to stop listening.
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ECONNABORTED) return -errno;
    }
}

// Tries the addresses of the host in turn, within one time-out for all.
int establish(const ZvptcUrlContext& context, const SocketOptions& options, UniqueFd& fd) noexcept {
    if (!options.listen && context.hostname[0] == '\0') return -EINVAL;
    AddressList list;
    int result = resolve(context.hostname, context.port, SOCK_STREAM, list);
    const Deadline deadline(options.timeout_ms);
    for (const addrinfo* entry = list.get(); entry; entry = entry->ai_next) {
        const SocketAddress address = address_of(*entry);
        result = options.listen ? accept_on(address, options, deadline, fd)
                                : connect_to(address, options, deadline, fd);
        if (result == 0 || result == -EINTR || deadline.remaining_ms() == 0) break;
    }
    return result;
}

int open_tcp(ZvptcUrlContext* context) noexcept {
    SocketOptions options;
    int result = begin_open(context, ZVPTC_INDEX_TCP);
    if (result == 0) result = read_options(*context, options);
    if (result < 0) return result;
    UniqueFd fd;
    result = establish(*context, options, fd);
    if (result < 0) return failure(-result);
    set_socket_option(fd.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    create_state(*context, &kTcpHandler, FdStream(std::move(fd), options.timeout_ms, true));
    return 0;
}

int read_tcp(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const stream = state_of<FdStream>(context, &kTcpHandler);
    return stream ? stream->read(buffer, size) : not_open(context);
}

int write_tcp(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const stream = state_of<FdStream>(context, &kTcpHandler);
    return stream ? stream->write(buffer, size) : not_open(context);
}

int close_tcp(ZvptcUrlContext* context) noexcept {
    auto* const stream = state_of<FdStream>(context, &kTcpHandler);
    if (!stream) return close_unopened(context);
    destroy_state(*context, *stream);
    return 0;
}

}  // namespace

const ZvptcHandler kTcpHandler = {"tcp", open_tcp, read_tcp, write_tcp, close_tcp, ZVPTC_INDEX_TCP};

}  // namespace zvptc
