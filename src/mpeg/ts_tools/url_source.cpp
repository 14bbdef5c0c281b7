// SPDX-License-Identifier: MIT
// Opening a source by its scheme, and telling an end from a failure.
#include "mpeg/ts_tools/url_source.h"

#include <cerrno>

#include "bitStream/log.h"
#include "mpeg/mpegts/copy_text.h"

namespace zv {
namespace {

// Streams fill what they are asked for before they return: little, so that a report is not late.
constexpr int kStreamPiece = 16384;

bool is_end(int result) {
    return result == 0 || result == -ETIMEDOUT || result == -EINTR;
}

}  // namespace

bool UrlSource::open(const char* url) {
    url_ = url;
    ZvptcUrlInfo info;
    memset(&info, 0, sizeof info);
    zvptc_api_urlSplit_urlinfo(&info, url);
    const ZvptcHandler* handler = zvptc_api_matchByName(info.scheme);
    if (handler == nullptr) {
        LOG(kLogError, "MPEGTS", "Not find %s function", info.scheme);
        return false;
    }
    const int index = zvptc_api_getPtcindex(url, 0, 0);
    has_datagrams_ = index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP;
    UrlRecord& record = source_.record();
    copy_text_or_report(record.url(), url, SIZE_MAX);
    record.set_open_flags(index == ZVPTC_INDEX_FILE ? kOpenFileForReading : 0);
    if (source_.open(handler) >= 0) return true;
    LOG(kLogError, "MPEGTS", "url_open %s failed", url);
    return false;
}

std::span<const uint8_t> UrlSource::next() {
    last_read_ = source_.read(piece_, has_datagrams_ ? kMaxPiece : kStreamPiece);
    if (last_read_ <= 0) return {};
    any_ = true;
    return {piece_, static_cast<size_t>(last_read_)};
}

int UrlSource::result() const {
    if (any_ && is_end(last_read_)) return ZV_TS_TOOL_DONE;
    return fail();
}

int UrlSource::copy_result() const {
    return last_read_ == -EINTR && !has_datagrams_ ? fail() : result();
}

int UrlSource::fail() const {
    LOG(kLogError, "MPEGTS", "url_read %s failed(len:%d)", url_, last_read_);
    return ZV_TS_TOOL_CANNOT_READ;
}

}  // namespace zv
