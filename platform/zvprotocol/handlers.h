// SPDX-License-Identifier: MIT
// Owns the list of built-in handlers and what they share: how an open begins, and how a handler
// keeps its state inside a context.
#pragma once

#include <cstdint>
#include <new>
#include <utility>

#include "zvprotocol.h"
#include "zvprotocol/io.h"
#include "zvprotocol/open_failure.h"

namespace zvptc {

extern const ZvptcHandler kFileHandler;
extern const ZvptcHandler kHttpHandler;
extern const ZvptcHandler kHttpsHandler;
extern const ZvptcHandler kUdpHandler;
extern const ZvptcHandler kTcpHandler;
extern const ZvptcHandler kRtpHandler;

// Process-wide end of the http client, which starts when it is first used. Any thread.
void release_http() noexcept;

// The state of an open context: lives in its private area, is destroyed by close, and answers only
// to the handler family that made it (`owner`: the address of any constant of that family).
template <typename State>
State* create_state(ZvptcUrlContext& context, const void* owner, State state) noexcept {
    static_assert(sizeof(State) <= sizeof context.private_state);
    static_assert(alignof(State) <= alignof(uint64_t));
    context.opened_by = owner;
    return new (static_cast<void*>(context.private_state)) State(std::move(state));
}

template <typename State>
State* state_of(ZvptcUrlContext* context, const void* owner) noexcept {
    if (!context || context->opened_by != owner) return nullptr;
    return std::launder(reinterpret_cast<State*>(context->private_state));
}

template <typename State>
void destroy_state(ZvptcUrlContext& context, State& state) noexcept {
    state.~State();
    context.opened_by = nullptr;
}

// What a failed look-up of the state means to read and write.
inline int not_open(const ZvptcUrlContext* context) noexcept {
    return failure(context ? EBADF : EINVAL);
}

// The same for close, which accepts a context that is not open.
inline int close_unopened(const ZvptcUrlContext* context) noexcept {
    return context && context->opened_by ? failure(EBADF) : 0;
}

// How every open begins: refuses a context that is in use, splits the URL and checks that it is of
// the protocol `index`. -> 0 or a negated errno
inline int begin_open(ZvptcUrlContext* context, int index) noexcept {
    forget_open_failure();
    if (!context) return failure(EINVAL);
    if (context->opened_by) return failure(EBUSY);
    const int result = zvptc_api_urlSplit_urlctt(context);
    if (result < 0) return result;
    return context->ptc_index == index ? 0 : failure(EINVAL);
}

}  // namespace zvptc
