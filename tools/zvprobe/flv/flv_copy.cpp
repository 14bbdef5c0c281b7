// SPDX-License-Identifier: MIT
// Implementation of flv_copy.h.
#include "flv/flv_copy.h"

#include <algorithm>

#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr uint32_t kSizeWord = ZV_FLV_PREVIOUS_TAG_SIZE;

bool is_on_meta_data(const FlvTag& tag) {
    return tag.type == ZV_FLV_TAG_SCRIPT && !tag.filtered &&
           read_script_data(tag.body()).name == kOnMetaData;
}

double old_number(const FlvReport& report, std::string_view key) {
    const AmfValue* const value = report.metadata(key);
    const bool number = value != nullptr && value->type == AmfValue::Type::kNumber;
    return number ? value->number : 0;
}

void fill_video(FLVMetadata& out, const FlvReport& report) {
    const FlvVideo& video = report.video;
    const double measured = frame_rate(video);
    out.videocodecid = video.codec;
    out.videodatarate = report.data_rate(video);
    out.framerate = measured > 0 ? measured : old_number(report, "framerate");
    out.width = video.size ? video.size->width : old_number(report, "width");
    out.height = video.size ? video.size->height : old_number(report, "height");
    out.canSeekToEnd = video.ends_with_key_frame ? 1 : 0;
}

void fill_audio(FLVMetadata& out, const FlvReport& report) {
    constexpr double kRates[] = {5512.5, 11025, 22050, 44100};  // Hz, by the tag header's code
    const FlvAudio& audio = report.audio;
    out.audiocodecid = audio.codec;
    out.audiodatarate = report.data_rate(audio);
    out.audiosamplerate = audio.aac ? audio.aac->sample_rate : kRates[audio.rate_code & 3];
    out.audiosamplesize = audio.wide ? 16 : 8;
    const bool has_channels = audio.aac && audio.aac->channels != 0;
    out.stereo = (has_channels ? audio.aac->channels > 1 : audio.stereo) ? 1 : 0;
    out.audiodelay = old_number(report, "audiodelay");
}

}  // namespace

void FlvCopyList::add(const FlvTag& tag) {
    if (is_on_meta_data(tag)) return;
    ++tags_;
    bytes_ += tag.size() + kSizeWord;
    const bool right = tag.size_word == tag.size();
    Piece piece = {tag.offset, tag.size() + (right ? kSizeWord : 0), std::nullopt};
    if (!right) piece.size_word = tag.size();
    if (!pieces_.empty()) {
        Piece& last = pieces_.back();
        if (!last.size_word && last.offset + last.length == piece.offset) {
            last.length += piece.length;
            last.size_word = piece.size_word;
            return;
        }
    }
    pieces_.push_back(piece);
}

void FlvTagCounter::take(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        if (left_ > 0) {
            const auto passed = std::min<uint64_t>(left_, bytes.size());
            left_ -= passed;
            bytes = bytes.subspan(static_cast<size_t>(passed));
            continue;
        }
        head_[head_size_++] = bytes[0];
        bytes = bytes.subspan(1);
        if (head_size_ < kHeadSize) continue;
        head_size_ = 0;
        const uint32_t body = big_endian(std::span(head_).subspan(1));
        left_ = ZV_FLV_TAG_HEADER_SIZE - kHeadSize + body + kSizeWord;
        ++tags_;
    }
}

std::vector<uint8_t> make_flv_start(const FlvReport& report, uint64_t copied) {
    FLVProbe probe = {};
    probe.hasaudio = report.audio.tags != 0 ? 1 : 0;
    probe.hasvideo = report.video.tags != 0 ? 1 : 0;
    probe.metadata = report.library.metadata;
    probe.metadata.duration = report.duration();
    if (probe.hasvideo != 0) fill_video(probe.metadata, report);
    if (probe.hasaudio != 0) fill_audio(probe.metadata, report);

    std::vector<uint8_t> out(ZV_FLV_HEADER_SCRIPT_MAX);
    probe.metadata.filesize = 1;  // any value takes the same room
    const unsigned size = flv_api_setFlvHeaderScript(&probe, out.data());
    probe.metadata.filesize = static_cast<double>(size + copied);
    out.resize(flv_api_setFlvHeaderScript(&probe, out.data()));
    return out;
}

}  // namespace zvprobe
