// SPDX-License-Identifier: MIT
// What a run and a report are made of.
#include "mpeg/ts_tools/analysis.h"

#include "bitStream/log.h"

namespace zv {

bool Analysis::open(const char* name, uint32_t options) {
    options_ = options;
    mpegts_init(&context_, name, nullptr);
    return context_ != nullptr;
}

void Analysis::parse(const PacketFeed& feed, std::span<const uint8_t> run) {
    // The feed has seen more of the stream than the first run, so its packet size counts.
    context_->pkt_size = feed.packet_size();
    mpegts_parse(context_, run.data(), static_cast<int>(run.size()), options_);
}

void Analysis::log_stream_info() {
    mpegts_updateInfo(context_, &info_);
    line_[0] = '\0';
    if (mpegts_api_getStreamInfo(&info_, line_, 1))
        LOG(kLogInfo, "MPEGTS", "%s", line_);
    else if (info_.progress[0] != '\0')
        LOG(kLogInfo, "MPEGTS", "parseProgressInfo[%s]", info_.progress);
    else
        LOG(kLogInfo, "MPEGTS", "No program found");
}

void Analysis::report(const PacketFeed::Counts& counts) {
    log_stream_info();
    LOG(kLogInfo, "MPEGTS", "* packets,skippedBytes,syncLosses:%llu,%llu,%llu",
        static_cast<unsigned long long>(counts.packets),
        static_cast<unsigned long long>(counts.skipped_bytes),
        static_cast<unsigned long long>(counts.sync_losses));
    mpegts_innerapi_showStatistics(context_);
}

}  // namespace zv
