// SPDX-License-Identifier: MIT
// Owns the "tcp" handler: one connection, made to a peer or, with "listen=1", accepted from one.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>

#include "fd_stream.h"
#include "handlers.h"
#include "net.h"
#include "options.h"

namespace zvptc {
namespace {

int connectTo(const SocketAddress& peer, const SocketOptions& options, const Deadline& deadline,
              UniqueFd& fd) noexcept {
    int result = makeSocket(peer.family(), SOCK_STREAM, fd);
    if (result < 0) return result;
    if (options.receive_buffer > 0)
        setSocketOption(fd.get(), SOL_SOCKET, SO_RCVBUF, options.receive_buffer);
    if (connect(fd.get(), peer.get(), peer.length) == 0) return 0;
    if (errno != EINPROGRESS) return -errno;
    result = waitReady(fd.get(), POLLOUT, deadline);
    if (result < 0) return result;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &error, &size) < 0) error = errno;
    return -error;
}

int acceptOn(const SocketAddress& local, const SocketOptions& options, const Deadline& deadline,
             UniqueFd& fd) noexcept {
    UniqueFd listener;
    int result = makeSocket(local.family(), SOCK_STREAM, listener);
    if (result < 0) return result;
    // Else the port stays taken for minutes after the last connection.
    setSocketOption(listener.get(), SOL_SOCKET, SO_REUSEADDR, 1);
    if (options.receive_buffer > 0)
        setSocketOption(listener.get(), SOL_SOCKET, SO_RCVBUF, options.receive_buffer);
    if (bind(listener.get(), local.get(), local.length) < 0) return -errno;
    if (listen(listener.get(), 1) < 0) return -errno;
    for (;;) {
        result = waitReady(listener.get(), POLLIN, deadline);
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
        const SocketAddress address = addressOf(*entry);
        result = options.listen ? acceptOn(address, options, deadline, fd)
                                : connectTo(address, options, deadline, fd);
        if (result == 0 || result == -EINTR || deadline.remainingMs() == 0) break;
    }
    return result;
}

int openTcp(ZvptcUrlContext* context) noexcept {
    SocketOptions options;
    int result = beginOpen(context, ZVPTC_INDEX_TCP);
    if (result == 0) result = readOptions(*context, options);
    if (result < 0) return result;
    UniqueFd fd;
    result = establish(*context, options, fd);
    if (result < 0) return failure(-result);
    setSocketOption(fd.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    createState(*context, &kTcpHandler, FdStream(std::move(fd), options.timeout_ms, true));
    return 0;
}

int readTcp(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const stream = stateOf<FdStream>(context, &kTcpHandler);
    return stream ? stream->read(buffer, size) : notOpen(context);
}

int writeTcp(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const stream = stateOf<FdStream>(context, &kTcpHandler);
    return stream ? stream->write(buffer, size) : notOpen(context);
}

int closeTcp(ZvptcUrlContext* context) noexcept {
    auto* const stream = stateOf<FdStream>(context, &kTcpHandler);
    if (!stream) return closeUnopened(context);
    destroyState(*context, *stream);
    return 0;
}

}  // namespace

const ZvptcHandler kTcpHandler = {"tcp", openTcp, readTcp, writeTcp, closeTcp, ZVPTC_INDEX_TCP};

}  // namespace zvptc
