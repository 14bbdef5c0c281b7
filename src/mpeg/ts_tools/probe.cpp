// SPDX-License-Identifier: MIT
// A look at the head of a source before an analysis is set up: packet size, first packet. Each
// probe opens, reads once and closes.
#include <climits>

#include "bitStream/log.h"
#include "bitStream/url_record.h"
#include "mpeg/mpegts/copy_text.h"
#include "mpeg/ts_packet/ts_packet.h"
#include "ts_tools.h"
#include "zvcommon.h"

namespace {

constexpr int kHeadSize = 5120;

struct Head {
    uint8_t bytes[kHeadSize];
    int size;
};

void put_url(zv::UrlRecord& record, const char* url) {
    zv::copy_text_or_report(record.url(), url, SIZE_MAX);
}

bool open_source(zv::HandledUrl& source, const ZvptcHandler* handler, const char* url) {
    if (source.open(handler) >= 0) return true;
    LOG(zv::kLogError, "MPEGTS", "url_open %s failed", url);
    return false;
}

bool read_head(zv::HandledUrl& source, const char* url, Head& head) {
    head.size = source.read(head.bytes, kHeadSize);
    source.close();
    if (head.size >= 1) return true;
    LOG(zv::kLogError, "MPEGTS", "url_read %s failed(len:%d)", url, head.size);
    return false;
}

// An interface matters for a multicast group only.
void choose_interface(zv::UrlRecord& record, const char* interface_in) {
    const char* host = record.hostname();
    const int is_multicast = zvnet_api_isMulticast(host);
    LOG(zv::kLogDebug, "MPEGTS", "is_multicast:%d,hostname:%s,interfaceIn:%s", is_multicast, host,
        interface_in != nullptr ? interface_in : "");
    if (!is_multicast || interface_in == nullptr || interface_in[0] == '\0') return;
    record.set_interface(interface_in);
    LOG(zv::kLogDebug, "MPEGTS", "[%s]=========line:%d ", "mpegts_api_getTsPktSize", __LINE__);
}

}  // namespace

uint8_t mpegts_api_getTsPktSize(const char* url, const char* interfaceIn, int a3, uint8_t a4) {
    if (url == nullptr) return 0;
    zv::HandledUrl source;
    zv::UrlRecord& record = source.record();
    put_url(record, url);
    zvptc_api_urlSplit_urlctt(record.get());
    const int index = zvptc_api_getPtcindex(url, a3, a4);
    record.set_open_flags(index == ZVPTC_INDEX_FILE ? zv::kOpenFileForReading : 0);
    if (index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP) choose_interface(record, interfaceIn);

    Head head = {};
    if (!open_source(source, zvptc_api_matchByName(record.protocol()), url)) return 0;
    if (!read_head(source, url, head)) return 0;
    return mpegts_api_getTsPktSize3(head.bytes, static_cast<uint32_t>(head.size));
}

uint8_t mpegts_api_getTsPktSize2(const char* url, const char* interfaceIn, int a3, uint8_t a4) {
    const uint8_t size = mpegts_api_getTsPktSize(url, interfaceIn, a3, a4);
    return size != 0 ? size : static_cast<uint8_t>(zv::kTsPacketSize);
}

int mpegts_api_getTsPos(const char* url) {
    if (url == nullptr) return -1;
    if (zvptc_api_matchByUrlAndIndex(url, ZVPTC_INDEX_FILE) != 1) {
        LOG(zv::kLogError, "MPEGTS", "No need to getTsPos:%s", url);
        return -1;
    }
    zv::HandledUrl source;
    put_url(source.record(), url);
    source.record().set_open_flags(zv::kOpenFileForReading);
    Head head = {};
    if (!open_source(source, zvptc_api_matchByPtcindex(ZVPTC_INDEX_FILE), url)) return -2;
    if (!read_head(source, url, head)) return -3;
    return zvsi_api_tsOffsetInBuf(head.bytes, head.size);
}
