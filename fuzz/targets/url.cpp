// SPDX-License-Identifier: MIT
// URL splitting over any text: both splits and the scheme look-ups agree, and every part ends
// inside its member; and the socket options that the query of a URL may hold.
#include <zvprotocol.h>

#include <cerrno>

#include "../platform/zvprotocol/options.h"
#include "parts/input.h"

namespace {

constexpr size_t kUrlRoom = sizeof(ZvptcUrlContext::url);

template <size_t Size>
void require_terminated(const char (&text)[Size]) {
    fuzz::require(memchr(text, 0, Size) != nullptr, "every part is terminated");
}

template <typename Record>
void require_parts_terminated(const Record& record) {
    require_terminated(record.userinfo);
    require_terminated(record.hostname);
    require_terminated(record.path);
    require_terminated(record.query);
}

int split_text(const char* url, ZvptcUrlInfo* info) {
    memset(info, 0xEE, sizeof *info);
    const int result = zvptc_api_urlSplit_urlinfo(info, url);
    require_terminated(info->scheme);
    require_parts_terminated(*info);
    fuzz::require(result <= 0 && info->port >= 0 && info->port <= 65535, "ports are 16 bits wide");
    // Of a longer text only what fits the record was looked at.
    if (url[0] == '\0' || strlen(url) >= kUrlRoom) return result;
    fuzz::require(zvptc_api_getPtcindex(url, 0, 0) == info->ptc_index, "one scheme, one index");
    const ZvptcHandler* handler = zvptc_api_matchByName(info->scheme);
    fuzz::require((handler != nullptr) == (info->ptc_index >= 0), "known schemes have handlers");
    return result;
}

// The record's own member, which a host may have filled to the last byte.
int split_record(std::span<const uint8_t> url, ZvptcUrlContext* context) {
    memset(context, 0, sizeof *context);
    memcpy(context->url, url.data(), std::min(url.size(), kUrlRoom));
    const int result = zvptc_api_urlSplit_urlctt(context);
    require_terminated(context->protocol);
    require_parts_terminated(*context);
    fuzz::require(memcmp(context->url, url.data(), std::min(url.size(), kUrlRoom)) == 0,
                  "the URL stays as it is");
    return result;
}

void require_same_parts(const ZvptcUrlInfo& info, const ZvptcUrlContext& context) {
    fuzz::require(strcmp(info.scheme, context.protocol) == 0 &&
                      strcmp(info.userinfo, context.userinfo) == 0 &&
                      strcmp(info.hostname, context.hostname) == 0 &&
                      strcmp(info.path, context.path) == 0 &&
                      strcmp(info.query, context.query) == 0 && info.port == context.port &&
                      info.ptc_index == context.ptc_index,
                  "both splits find the same parts");
}

// The first byte of the text is what the host has set beside the URL, too.
void read_options(ZvptcUrlContext& context, uint8_t members) {
    context.timeout_ms = static_cast<int8_t>(members);
    context.receive_buffer = static_cast<int8_t>(members);
    if (members & 1) context.interface_in = context.hostname;
    zvptc::SocketOptions options;
    const int result = zvptc::read_options(context, options);
    fuzz::require(result == 0 || result == -EINVAL, "options are read or refused");
    require_terminated(options.interface_name);
    fuzz::require(options.timeout_ms >= -1 && options.receive_buffer >= 0 && options.ttl >= -1 &&
                      options.ttl <= 255 && options.packet_size >= 1 &&
                      options.packet_size <= 65507,
                  "numbers are in their ranges");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::span<const uint8_t> bytes(data, size);
    fuzz::ExactBytes text(size + 1);
    std::copy(bytes.begin(), bytes.end(), text.data());
    text.data()[size] = 0;

    const auto info = std::make_unique<ZvptcUrlInfo>();
    const auto context = std::make_unique<ZvptcUrlContext>();
    const int by_text = split_text(text.text(), info.get());
    const int by_record = split_record(bytes, context.get());
    fuzz::require(by_text == by_record, "both splits return the same");
    require_same_parts(*info, *context);
    read_options(*context, bytes[0]);
    return 0;
}
