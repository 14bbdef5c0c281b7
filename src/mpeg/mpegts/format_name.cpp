// SPDX-License-Identifier: MIT
// Which format names, and which file names, stand for transport streams.
#include "bitStream/text_equal.h"
#include "ts_tools.h"
#include "zvcommon.h"

int mpegts_api_isFileNMpegts(int flag, const char* url, const char* format) {
    if (flag != 0) return 0;
    if (url != nullptr && zvstr_api_isCasestr(url, ".ts")) return 0;
    return format == nullptr || !zv::text_equal(format, "mpegts");
}

int mpegts_api_isMpeg(const char* format, uint16_t flag) {
    if (flag != 0) return 1;
    if (format == nullptr) return 0;
    return zv::text_equal(format, "mpegts") || zv::text_equal(format, "hls") ||
           zv::text_equal(format, "rtp_mpegts");
}

int mpegts_api_isMpeg2(const char* format) {
    if (format == nullptr) return 0;
    return mpegts_api_isMpeg(format, 0) || zv::text_equal(format, "rtp");
}
