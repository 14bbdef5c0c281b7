// SPDX-License-Identifier: MIT
// Implementation of resolver.h.
#include "resolver.h"

#include <new>
#include <vector>

namespace zvprobe {
namespace {

constexpr size_t kInfoLineRoom = size_t{16} << 10;  // "always enough"

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

bool Resolver::parse(const uint8_t* packets, size_t size, uint32_t options) {
    return parser_->parse(context_, packets, static_cast<int>(size), options) >= 0;
}

bool Resolver::update(StreamInfo& info) {
    return parser_->updateInfo(context_, &info) == 1;
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
