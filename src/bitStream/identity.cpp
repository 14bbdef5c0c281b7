// SPDX-License-Identifier: MIT
// The library's description and version.
#include <cstring>

#include "bitStream.h"

void zvbitStream_api_info(char* buf) {
    if (buf == nullptr) return;
    strcat(buf, "linux_soc|mpegts_parser|flv_parser|mp3_parser");
}

const char* zvbitStream_api_version(void) {
    return ZV_VERSION_TEXT;
}
