// SPDX-License-Identifier: MIT
// The RTP tool: takes the transport stream out of RTP datagrams (RFC 2250), in order, analyses it
// and writes it to a file. A source without RTP framing passes as plain transport stream.
#include "bitStream/log.h"
#include "mpeg/ts_tools/owned.h"
#include "mpeg/ts_tools/result_file.h"
#include "mpeg/ts_tools/rtp_order.h"
#include "mpeg/ts_tools/stream_tool.h"
#include "ts_tools.h"

namespace {

using Bytes = std::span<const uint8_t>;

class RtpDemux {
  public:
    bool open(const char* url) {
        order_.deliver_to(deliver, this);
        return tool_.open(url, ZV_TS_CHECK_CC | ZV_TS_PES_TIMING);
    }
    // -> false, logged, when the file cannot be written; without a path nothing is
    bool write_to(const char* path) { return path == nullptr || out_.open(path); }

    int run();

  private:
    using Framing = zv::DatagramFraming;

    static void deliver(void* self, Bytes payload) {
        static_cast<RtpDemux*>(self)->take_stream(payload);
    }
    void take_piece(Bytes piece);
    void take_stream(Bytes bytes);
    bool put_in_order(zv::RtpPacket packet);
    void finish();
    void report();

    zv::StreamTool tool_;
    zv::RtpOrder order_;
    zv::ResultFile out_;
    Framing framing_ = Framing::kUnknown;
    uint64_t bad_ = 0;
    bool is_written_ = true;
};

void RtpDemux::take_stream(Bytes bytes) {
    if (out_.is_open() && is_written_) is_written_ = out_.write(bytes);
    tool_.feed.append(bytes);
    tool_.parse_all();
}

// -> false when the payload is not a transport stream
bool RtpDemux::put_in_order(zv::RtpPacket packet) {
    const bool is_good = packet.payload.empty() || zv::is_whole_packets(packet.payload);
    if (!is_good && framing_ == Framing::kUnknown) return false;
    framing_ = Framing::kRtp;
    if (!is_good) packet.payload = {};  // its number has come, all the same
    order_.put(packet);
    return is_good;
}

// The first piece that is one or the other decides how the source is framed.
void RtpDemux::take_piece(Bytes piece) {
    if (framing_ == Framing::kUnknown &&
        (!tool_.source.has_datagrams() || zv::is_whole_packets(piece)))
        framing_ = Framing::kPlain;
    if (framing_ == Framing::kPlain) {
        take_stream(piece);
        return;
    }
    // RTCP has no sequence number; its length must not pass for one.
    const auto packet = zv::is_rtcp(piece) ? std::nullopt : zv::parse_rtp(piece);
    if (!packet || !put_in_order(*packet)) ++bad_;
}

void RtpDemux::finish() {
    order_.flush();
    tool_.feed.finish();
    tool_.parse_all();
}

void RtpDemux::report() {
    tool_.analysis.report(tool_.feed.counts());
    const zv::RtpOrder::Counts& counts = order_.counts();
    LOG(zv::kLogInfo, "MPEGTS",
        "[RTP]packets,lost,repeated,reordered,late,bad:%llu,%llu,%llu,%llu,%llu,%llu",
        static_cast<unsigned long long>(counts.packets),
        static_cast<unsigned long long>(counts.lost),
        static_cast<unsigned long long>(counts.repeated),
        static_cast<unsigned long long>(counts.reordered),
        static_cast<unsigned long long>(counts.late), static_cast<unsigned long long>(bad_));
}

int RtpDemux::run() {
    while (is_written_) {
        const Bytes piece = tool_.source.next();
        if (piece.empty()) break;
        take_piece(piece);
    }
    finish();
    report();
    if (!is_written_) return ZV_TS_TOOL_CANNOT_WRITE;
    if (!out_.is_open()) return tool_.source.result();
    const int result = tool_.source.copy_result();
    // A file of no packets would take the place of one that may have some.
    const bool has_packets = tool_.feed.counts().packets > 0;
    if (result != ZV_TS_TOOL_DONE || !has_packets) return result;
    return out_.commit() ? ZV_TS_TOOL_DONE : ZV_TS_TOOL_CANNOT_WRITE;
}

}  // namespace

int mpegts_api_rtpDemux(int log_level, const char* url, const char* ts_out) {
    if (url == nullptr) return zv::missing_argument();
    const zv::PlatformSession session(log_level, "rtpDemux.txt");
    zv::Owned<RtpDemux> demux(zv::kStreamToolTag);
    if (!demux || !demux->open(url)) return ZV_TS_TOOL_CANNOT_OPEN;
    if (!demux->write_to(ts_out)) return ZV_TS_TOOL_CANNOT_WRITE;
    return demux->run();
}
