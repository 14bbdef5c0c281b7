// SPDX-License-Identifier: MIT
// Implementation of resolver.h.
#include "ts/resolver.h"

#include <new>
#include <utility>

namespace zvprobe {
namespace {

constexpr size_t kInfoLineRoom = size_t{16} << 10;  // "always enough"

// The library settles the packet size on the first bytes it sees. So many packets are a run that a
// survey has found; what follows them may be shorter.
constexpr size_t kFirstPackets = 5;

const AVParser* find_parser() {
    static const AVParser* const parser = [] {
        bitStream_register_parser();
        return ffurl_match_resolver("mpegts");
    }();
    return parser;
}

}  // namespace

Resolver::Resolver(const std::string& name) : parser_(find_parser()) {
    parser_->init(&context_, name.substr(0, 255).c_str(), nullptr);
    if (context_ == nullptr) throw std::bad_alloc();
}

Resolver::~Resolver() {
    parser_->deinit(&context_);
}

void Resolver::parse(std::span<const uint8_t> packets, size_t packet_size, uint32_t options) {
    const size_t first = std::exchange(begun_, true) ? 0 : kFirstPackets * packet_size;
    const auto head = packets.first(std::min(first, packets.size()));
    for (const auto part : {head, packets.subspan(head.size())})
        if (!part.empty())
            parser_->parse(context_, part.data(), static_cast<int>(part.size()), options);
}

// The resolver has something to say only when tables came since it was asked last. Until then what
// it said then is still the best account.
ResolverAccount Resolver::account() {
    tables_complete_ = parser_->updateInfo(context_, info_.get()) == 1 || tables_complete_;
    return {tables_complete_, std::make_unique<StreamInfo>(*info_)};
}

const char* kind_name(int32_t kind) {
    switch (kind) {
        case ZV_TS_KIND_VIDEO:
            return "video";
        case ZV_TS_KIND_AUDIO:
            return "audio";
        default:
            return "other";
    }
}

ContinuityTotals continuity_totals(const ResolverAccount& account) {
    ContinuityTotals totals;
    for (const StreamInfoProgram& program : account.programs()) {
        for (const StreamInfoEs& stream : streams_of(program)) {
            totals.errors += stream.cc_state.errnum;
            totals.lost += stream.cc_state.lostnum;
        }
    }
    return totals;
}

std::string stream_info_line(const StreamInfo& info, bool with_periods) {
    const auto copy = std::make_unique<StreamInfo>(info);
    if (!with_periods) {
        copy->pat_period = copy->sdt_period = 0;
        for (StreamInfoProgram& program : copy->programs)
            program.pcr_period = program.pmt_period = 0;
    }
    std::string line(kInfoLineRoom, '\0');
    mpegts_api_getStreamInfo(copy.get(), line.data(), 1);
    line.resize(line.find('\0'));
    return line;
}

}  // namespace zvprobe
