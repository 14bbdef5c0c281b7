// SPDX-License-Identifier: MIT
// Stands in for the http handlers where the library is built without libcurl: the schemes are
// known, and opening one says why it cannot work.
#include <cstdio>

#include "handlers.h"

namespace zvptc {
namespace {

int openHttp(ZvptcUrlContext* context) noexcept {
    const int begun = beginOpen(context, ZVPTC_INDEX_HTTP);
    if (begun < 0) return begun;
    fprintf(stderr, "zvprotocol: cannot open %s: built without libcurl, no http or https\n",
            context->url);
    return failure(ENOSYS);
}

int readHttp(ZvptcUrlContext* context, uint8_t*, int) noexcept {
    return notOpen(context);
}

int writeHttp(ZvptcUrlContext* context, const uint8_t*, int) noexcept {
    return notOpen(context);
}

int closeHttp(ZvptcUrlContext* context) noexcept {
    return closeUnopened(context);
}

}  // namespace

const ZvptcHandler kHttpHandler = {"http",    openHttp,  readHttp,
                                   writeHttp, closeHttp, ZVPTC_INDEX_HTTP};
const ZvptcHandler kHttpsHandler = {"https",   openHttp,  readHttp,
                                    writeHttp, closeHttp, ZVPTC_INDEX_HTTP};

void releaseHttp() noexcept {}

}  // namespace zvptc
