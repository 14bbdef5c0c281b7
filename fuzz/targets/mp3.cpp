// SPDX-License-Identifier: MIT
// MPEG audio headers at every offset of the input, and the description of what was found and of
// records that a host has filled with anything.
#include "mp3.h"

#include "parts/input.h"
#include "parts/log_double.h"

namespace {

constexpr size_t kHeaderSize = 4;
constexpr size_t kInfoRoom = 80;  // for the text added, its end included

void describe(const MP3HeaderInfo& info) {
    fuzz::ExactBytes text(kInfoRoom + 1);
    strcpy(text.text(), "x");
    fuzz::require(mp3_api_getInfo(&info, text.text()) == text.text(), "getInfo returns its buffer");
    fuzz::require(text.text()[0] == 'x', "what stood in the buffer stays");
}

void check_every_offset(std::span<const uint8_t> bytes) {
    for (; !bytes.empty(); bytes = bytes.subspan(1)) {
        fuzz::ExactBytes header(bytes.first(std::min(bytes.size(), kHeaderSize)));
        MP3HeaderInfo info;
        memset(&info, 0, sizeof info);
        if (!mp3_api_check(&info, header.data(), header.length())) continue;
        fuzz::require(header.size() == kHeaderSize && info.samplerate > 0 && info.layer != 0 &&
                          info.version != 0,
                      "an accepted header has version, layer and sampling rate");
        describe(info);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = fuzz::take_mode(in);
    if (mode & 1) {
        MP3HeaderInfo info;
        memset(&info, 0, sizeof info);
        const auto bytes = in.take(sizeof info);
        memcpy(&info, bytes.data(), bytes.size());
        describe(info);
    } else {
        check_every_offset(in.rest());
    }
    return 0;
}
