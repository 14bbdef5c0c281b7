// SPDX-License-Identifier: MIT
// Stands in for the http handlers where the library is built without libcurl: the schemes are
// known, and opening one reports why it cannot work.
#include <cstdio>

#include "zvprotocol/handlers.h"

namespace zvptc {
namespace {

int open_http(ZvptcUrlContext* context) noexcept {
    const int begun = begin_open(context, ZVPTC_INDEX_HTTP);
    if (begun < 0) return begun;
    // The rest of the URL may have a password in it.
    fprintf(stderr, "zvprotocol: cannot open %s://%s: built without libcurl, no http or https\n",
            context->protocol, context->hostname);
    return failure(ENOSYS);
}

int read_http(ZvptcUrlContext* context, uint8_t*, int) noexcept {
    return not_open(context);
}

int write_http(ZvptcUrlContext* context, const uint8_t*, int) noexcept {
    return not_open(context);
}

int close_http(ZvptcUrlContext* context) noexcept {
    return close_unopened(context);
}

}  // namespace

const ZvptcHandler kHttpHandler = {"http",     open_http,  read_http,
                                   write_http, close_http, ZVPTC_INDEX_HTTP};
const ZvptcHandler kHttpsHandler = {"https",    open_http,  read_http,
                                    write_http, close_http, ZVPTC_INDEX_HTTP};

void release_http() noexcept {}

}  // namespace zvptc
