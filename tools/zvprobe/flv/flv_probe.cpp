// SPDX-License-Identifier: MIT
// Implementation of flv_probe.h: the walk's tags go to the report, and to the library's probe.
#include "flv/flv_probe.h"

#include <algorithm>
#include <utility>

namespace zvprobe {
namespace {

constexpr uint8_t kAac = 10;
constexpr uint8_t kAvc = 7;
constexpr uint8_t kH263 = 2;

void note_config(FlvConfig& config, const FlvTag& tag, size_t head) {
    if (++config.tags > 1) return;
    config.length = tag.data_len - std::min(tag.data_len, static_cast<uint32_t>(head));
    const auto bytes = tag.body().subspan(std::min(tag.body().size(), head));
    config.bytes.assign(bytes.begin(), bytes.end());
}

void note_frame(FlvTrack& track, uint32_t time) {
    if (++track.frames == 1) track.first_time = time;
    track.last_time = time;
}

// The library's probe as a host feeds it. Of a large tag it gets the first piece only: the rest
// tells it nothing, so the record is set back as if the tag had been fed to its end.
class LibraryProbe {
  public:
    void feed(const FlvTag& tag) {
        std::vector<uint8_t>& bytes = bytes_;
        bytes = tag.bytes;
        if (bytes.size() == tag.size()) {
            for (int shift = 24; shift >= 0; shift -= 8)
                bytes.push_back(static_cast<uint8_t>(tag.size_word >> shift));
        }
        accepted_ = flv_api_check(&probe_, bytes.data(), static_cast<uint32_t>(bytes.size())) != 0;
        probe_.taggot = probe_.taglen = 0;
    }

    FlvLibraryView view() const {
        constexpr size_t kRoom = 4096;  // twice what the library asks for
        FlvLibraryView view = {accepted_, std::string(kRoom, '\0'), probe_.metadata};
        flv_api_getInfo(&probe_, view.info.data());
        view.info.resize(view.info.find('\0'));
        return view;
    }

  private:
    FLVProbe probe_ = {};
    std::vector<uint8_t> bytes_;
    bool accepted_ = false;
};

class ReportBuilder {
  public:
    void add(const FlvTag& tag) {
        library_.feed(tag);
        report_.last_time = std::max(report_.last_time, tag.timestamp);
        if (tag.filtered) ++report_.filtered_tags;
        switch (tag.type) {
            case ZV_FLV_TAG_AUDIO:
                return add_audio(tag);
            case ZV_FLV_TAG_VIDEO:
                return add_video(tag);
            case ZV_FLV_TAG_SCRIPT:
                return add_script(tag);
            default:
                ++report_.other_tags;
        }
    }

    FlvReport finish(const FlvReading& reading) {
        report_.reading = reading;
        report_.library = library_.view();
        return std::move(report_);
    }

  private:
    // Books the tag. -> false when its body cannot be looked into
    static bool note_tag(FlvTrack& track, const FlvTag& tag) {
        ++track.tags;
        track.body_bytes += tag.data_len;
        return !tag.filtered && tag.data_len > 0;
    }

    void add_audio(const FlvTag& tag) {
        FlvAudio& audio = report_.audio;
        if (!note_tag(audio, tag)) return;
        const auto body = tag.body();
        if (!std::exchange(audio_seen_, true)) {
            audio.codec = body[0] >> 4;
            audio.rate_code = body[0] >> 2 & 3;
            audio.wide = (body[0] & 2) != 0;
            audio.stereo = (body[0] & 1) != 0;
        }
        const bool is_config = body[0] >> 4 == kAac && body.size() > 1 && body[1] == 0;
        if (!is_config) return note_frame(audio, tag.timestamp);
        note_config(audio.config, tag, 2);
        if (!audio.aac) audio.aac = parse_aac_config(audio.config.bytes);
    }

    void add_video(const FlvTag& tag) {
        constexpr uint8_t kKeyFrame = 1;
        constexpr uint8_t kCommand = 5;
        constexpr uint8_t kPicture = 1;
        FlvVideo& video = report_.video;
        if (!note_tag(video, tag)) return;
        const auto body = tag.body();
        const uint8_t codec = body[0] & 0x0F;
        const uint8_t frame_type = body[0] >> 4;
        if (!std::exchange(video_seen_, true)) video.codec = codec;
        if (codec == kAvc && body.size() > 1 && body[1] == 0) return add_avc_config(tag);
        const bool is_end = codec == kAvc && body.size() > 1 && body[1] != kPicture;
        if (is_end || frame_type == kCommand) return;
        note_frame(video, tag.timestamp);
        video.ends_with_key_frame = frame_type == kKeyFrame;
        if (!video.ends_with_key_frame) return;
        ++video.key_frames;
        if (codec == kH263 && !video.size) video.size = parse_h263_size(body.subspan(1));
    }

    void add_avc_config(const FlvTag& tag) {
        FlvVideo& video = report_.video;
        note_config(video.config, tag, 5);
        if (video.avc) return;
        video.avc = parse_avc_config(video.config.bytes);
        if (video.avc) video.size = video.avc->size;
    }

    void add_script(const FlvTag& tag) {
        ++report_.script_tags;
        if (tag.filtered || report_.scripts.size() == FlvReport::kMaxScripts) return;
        FlvScript script = {tag.offset, read_script_data(tag.body())};
        if (tag.bytes.size() < tag.size()) script.data.complete = false;
        report_.scripts.push_back(std::move(script));
    }

    FlvReport report_;
    LibraryProbe library_;
    bool audio_seen_ = false;
    bool video_seen_ = false;
};

}  // namespace

FlvReport probe_flv(Source& source, std::span<const uint8_t> first_window,
                    const FlvProbeOptions& options) {
    constexpr uint64_t kProgressMask = 255;
    ByteCursor cursor(source, first_window);
    FlvWalk walk(cursor, options.on_finding);
    ReportBuilder builder;
    FlvTag tag;
    walk.begin();
    while (walk.next(tag)) {
        builder.add(tag);
        if (options.on_tag) options.on_tag(tag);
        if ((walk.reading().tags & kProgressMask) == 0 && options.on_progress)
            options.on_progress(walk.reading().bytes);
    }
    return builder.finish(walk.reading());
}

}  // namespace zvprobe
