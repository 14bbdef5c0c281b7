// SPDX-License-Identifier: MIT
// The parse loop with its short cuts against a plain one that asks every filter about every packet:
// same results, same context, same log lines, whatever the calls' sizes and option words, on streams
// whose tables are valid.
#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "parts/analyser.h"
#include "parts/clock_double.h"
#include "parts/log_double.h"
#include "parts/packets.h"

namespace {

using fuzz::Analyser;

// Everything a packet goes through, in order. -> result of the PCR filter
int8_t ask_every_filter(MPEGTSContext* ctx, uint8_t* packet, uint8_t options) {
    int8_t is_pcr = 0;
    mpegts_innerapi_filterPat(ctx, packet, options);
    mpegts_innerapi_filterPmt(ctx, packet, options, 0, 0);
    if (!ctx->is_getAllInfo) {
        ctx->is_getAllInfo = static_cast<uint8_t>(mpegts_innerapi_isGetAllInfo(ctx));
    } else {
        if (ctx->btc_es == nullptr) ctx->btc_es = mpegts_innerapi_getBtcEs(ctx);
        is_pcr = mpegts_innerapi_filterPcr(ctx, packet, options, 0);
        mpegts_innerapi_filterEs(ctx, packet, options, is_pcr, nullptr);
    }
    mpegts_innerapi_filterSdt(ctx, packet, options);
    return is_pcr;
}

int parse_plainly(MPEGTSContext* ctx, std::span<uint8_t> bytes, uint32_t options) {
    if ((options & ZV_TS_STOP_KNOWN) && ctx->is_getAllInfo) return 0;
    int result = 0;
    const auto length = static_cast<int>(bytes.size());
    const int size = ctx->pkt_size;
    for (int i = 0; i < length / size; ++i) {
        uint8_t* packet = &bytes[static_cast<size_t>(i * size)];
        if (packet[0] != zv::kTsSyncByte) {
            LOG(zv::kLogVerbose, "MPEGTS", "It is not a ts stream-len:%d,pkt_index:%d", length, i);
            return -1;
        }
        zvsi_api_tsHeaderParse(&ctx->ts_head, packet, size, 0);
        if (ctx->ts_head.pid == zv::kPidNull || ctx->ts_head.adaptation_field_control == 0)
            continue;
        const int8_t is_pcr = ask_every_filter(ctx, packet, static_cast<uint8_t>(options));
        if (result == 0) result = is_pcr;
    }
    return result;
}

struct Feed {
    std::vector<uint8_t> packets;
    uint8_t options;
    uint8_t other_options;  // that come and go from call to call
    fuzz::PieceSizes sizes;
};

Feed read_feed(fuzz::ByteSource& in) {
    const uint8_t mode = in.u8();
    const uint8_t options = in.u8();
    const uint8_t other_options = mode & 4 ? in.u8() : uint8_t{0};
    Feed feed = {.packets = {},
                 .options = options,
                 .other_options = other_options,
                 .sizes = fuzz::PieceSizes(in)};
    // These look at every packet and so take the short cuts away.
    DBG_COMMON = DBG_TSHEAD_MODE = DBG_AV = 0;
    if (!(mode & 8)) DBG_PES = DBG_PES_PTSDTS = 0;
    flag_printLineFunc = 0;  // it would tell the two loops apart
    feed.packets =
        mode & 1 ? fuzz::whole_packets(in.rest(), zv::kTsPacketSize, true) : fuzz::make_stream(in);
    if (mode & 2 && !feed.packets.empty()) {  // sync is lost near the end
        const size_t last = feed.packets.size() / zv::kTsPacketSize - 1;
        feed.packets[last * zv::kTsPacketSize] = mode;
    }
    return feed;
}

// -> a number that tells results and log lines apart
template <typename Parse>
uint64_t run(Analyser& analyser, const Feed& feed, Parse parse) {
    analyser.context()->pkt_size = zv::kTsPacketSize;
    fuzz::reset_log_digest();
    fuzz::PieceSizes sizes = feed.sizes;
    uint8_t options = feed.options;
    uint64_t results = 0;
    for (fuzz::ByteSource in(feed.packets); !in.empty();) {
        const size_t bytes = (1 + sizes.next()) * size_t{zv::kTsPacketSize};
        results = results * 3 + static_cast<uint64_t>(parse(in.take(bytes), options) + 1);
        options ^= feed.other_options;
    }
    analyser.report();
    return fuzz::log_digest() ^ results;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    fuzz::set_log(in);
    const Feed feed = read_feed(in);

    Analyser plain("fuzz");
    const uint64_t expected =
        run(plain, feed, [&](std::span<const uint8_t> bytes, uint32_t options) {
            fuzz::ExactBytes block(bytes);
            return parse_plainly(plain.context(), block.span(), options);
        });
    Analyser fast("fuzz");
    const uint64_t got = run(fast, feed, [&](std::span<const uint8_t> bytes, uint32_t options) {
        return fast.parse(bytes, options);
    });
    plain.require_same_context(fast);
    plain.require_same_report(fast);
    fuzz::require(expected == got, "both ways return and log the same");
    return 0;
}
