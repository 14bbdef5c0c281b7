// SPDX-License-Identifier: MIT
// Implementation of flv_probe.h: the walk's tags go to the report, and to the library's probe.
#include "flv/flv_probe.h"

#include <algorithm>
#include <utility>

#include "flv/flv_checks.h"
#include "flv/flv_packets.h"

namespace zvprobe {
namespace {

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
    explicit ReportBuilder(const FlvFindings& on_finding) : on_finding_(on_finding) {}

    FlvTagFacts add(const FlvTag& tag) {
        library_.feed(tag);
        tag_ = &tag;
        facts_ = {};
        if (tag.filtered) ++report_.filtered_tags;
        switch (tag.type) {
            case ZV_FLV_TAG_AUDIO:
                ++report_.audio_tags;
                add_packets(report_.audio, report_.more_audio);
                break;
            case ZV_FLV_TAG_VIDEO:
                ++report_.video_tags;
                add_packets(report_.video, report_.more_video);
                break;
            case ZV_FLV_TAG_SCRIPT:
                add_script();
                break;
            default:
                ++report_.other_tags;
        }
        return facts_;
    }

    // whole: the source was read to its end
    FlvReport finish(const FlvReading& reading, bool whole) {
        report_.reading = reading;
        report_.whole = whole;
        report_.library = library_.view();
        if (whole) report_.differences = compare_metadata(report_);
        return std::move(report_);
    }

  private:
    void tell(FlvFinding::Kind kind, uint64_t found = 0, uint64_t expected = 0) const {
        if (on_finding_) on_finding_({tag_->offset, kind, found, expected});
    }

    // Encryption leaves the heads of a body as they are, and takes the codec's own data. What cannot
    // be looked into at all counts for the first track.
    template <typename Track>
    void add_packets(Track& first, std::map<uint8_t, Track>& more) {
        bool any = false;
        if (tag_->data_len > 0) {
            FlvPackets packets(*tag_);
            while (auto packet = packets.next()) {
                if (tag_->filtered) packet->bytes = {};
                add_packet(packet->track == 0 ? first : more[packet->track], *packet);
                any = true;
            }
        }
        if (any) return;
        ++first.tags;
        first.body_bytes += tag_->data_len;
    }

    void note_config(FlvTrack& track, const FlvPacket& packet) {
        FlvConfig& config = track.config;
        ++config.tags;
        if (config.bytes.empty()) {
            config.length = packet.length;
            config.bytes.assign(packet.bytes.begin(), packet.bytes.end());
        } else if (tag_->filtered) {
            return;
        } else if (!std::ranges::equal(config.last, packet.bytes)) {
            ++config.changes;
            tell(FlvFinding::Kind::kConfigChanged);
        }
        config.last.assign(packet.bytes.begin(), packet.bytes.end());
    }

    void note_frame(FlvTrack& track, const FlvPacket& packet) {
        ++track.frames;
        if (needs_config(packet.media) && track.config.tags == 0 &&
            ++track.frames_without_config == 1)
            tell(FlvFinding::Kind::kNoConfig);
        FlvTimes::Track place = FlvTimes::Track::kBeside;
        if (packet.track == 0)
            place = packet.codec.video ? FlvTimes::Track::kVideo : FlvTimes::Track::kAudio;
        const size_t told = report_.times.steps().kept().size();
        facts_.time = report_.times.add(place, tag_->offset, tag_->timestamp);
        facts_.frame = true;
        for (const FlvTimeStep& step : std::span(report_.times.steps().kept()).subspan(told))
            tell(finding_kind(step.kind), step.to, step.from);
    }

    static FlvFinding::Kind finding_kind(FlvTimeStep::Kind kind) {
        if (kind == FlvTimeStep::Kind::kBack) return FlvFinding::Kind::kStepBack;
        return kind == FlvTimeStep::Kind::kJump ? FlvFinding::Kind::kJump : FlvFinding::Kind::kWrap;
    }

    void note_head(FlvAudio& audio) const {
        constexpr uint32_t kRates[] = {5512, 11025, 22050, 44100};  // Hz
        const uint8_t first = tag_->body()[0];
        const FlvCodec codec = audio.codec();
        audio.rate_code = first >> 2 & 3;
        audio.wide = (first & 2) != 0;
        audio.stereo = (first & 1) != 0;
        if (codec.fourcc == 0) audio.sound = {kRates[audio.rate_code], audio.stereo ? 2u : 1u};
        if (codec.fixed_rate() != 0) audio.sound.sample_rate = codec.fixed_rate();
        if (codec.always_mono()) audio.sound.channels = 1;
    }

    void add_packet(FlvAudio& audio, const FlvPacket& packet) {
        ++audio.tags;
        audio.body_bytes += packet.size;
        if (!audio.first_codec) {
            audio.first_codec = packet.codec;
            note_head(audio);
        }
        if (packet.kind == FlvPacket::Kind::kConfig) return add_config(audio, packet);
        if (packet.kind != FlvPacket::Kind::kFrame) return;
        note_frame(audio, packet);
        if (audio.frames > 1) return;
        if (const auto sound = read_audio_frame(packet.media, packet.bytes)) audio.sound = *sound;
    }

    void add_config(FlvAudio& audio, const FlvPacket& packet) {
        note_config(audio, packet);
        if (audio.aac) return;
        if (packet.media == FlvMedia::kAac) audio.aac = parse_aac_config(packet.bytes);
        if (audio.aac)
            audio.sound = {audio.aac->sample_rate, audio.aac->channels};
        else if (const auto sound = read_audio_config(packet.media, packet.bytes))
            audio.sound = *sound;
    }

    void add_packet(FlvVideo& video, const FlvPacket& packet) {
        ++video.tags;
        video.body_bytes += packet.size;
        // A command of an enhanced tag names no codec.
        if (!video.first_codec || *video.first_codec == FlvCodec{true})
            video.first_codec = packet.codec;
        if (packet.kind == FlvPacket::Kind::kConfig) return add_config(video, packet);
        if (packet.kind != FlvPacket::Kind::kFrame) return;
        note_frame(video, packet);
        video.ends_with_key_frame = packet.key;
        if (!packet.key) return;
        ++video.key_frames;
        facts_.key_frame |= packet.track == 0;
        if (!video.size) video.size = read_picture_size(packet.media, packet.bytes);
    }

    void add_config(FlvVideo& video, const FlvPacket& packet) {
        note_config(video, packet);
        if (!video.avc && packet.media == FlvMedia::kAvc)
            video.avc = parse_avc_config(packet.bytes);
        if (video.picture) return;
        video.picture = read_video_config(packet.media, packet.bytes);
        if (video.picture) video.size = PictureSize{video.picture->width, video.picture->height};
    }

    // Only the first onMetaData may be long: a file can have many script tags.
    void add_script() {
        ++report_.script_tags;
        if (tag_->filtered) return;
        facts_.meta_data = script_name(tag_->body()) == kOnMetaData;
        const bool first = facts_.meta_data && ++report_.meta_data_tags == 1;
        if (facts_.meta_data && !first) tell(FlvFinding::Kind::kSecondMetaData);
        if (report_.scripts.size() == FlvReport::kMaxScripts) return;
        const size_t most = first ? ScriptData::kMaxIndexValues : ScriptData::kMaxValues;
        FlvScript script = {tag_->offset, read_script_data(tag_->body(), most)};
        if (tag_->bytes.size() < tag_->size()) script.data.complete = false;
        report_.scripts.push_back(std::move(script));
    }

    const FlvFindings& on_finding_;
    FlvReport report_;
    LibraryProbe library_;
    const FlvTag* tag_ = nullptr;  // the one that is being added
    FlvTagFacts facts_;            // of it
};

}  // namespace

FlvReport probe_flv(Source& source, std::span<const uint8_t> first_window,
                    const FlvProbeOptions& options) {
    constexpr uint64_t kProgressMask = 255;
    ByteCursor cursor(source, first_window);
    FlvWalk walk(cursor, options.on_finding);
    ReportBuilder builder(options.on_finding);
    FlvTag tag;
    walk.begin();
    while (walk.next(tag)) {
        const FlvTagFacts facts = builder.add(tag);
        if (options.on_tag) options.on_tag(tag, facts);
        if ((walk.reading().tags & kProgressMask) == 0 && options.on_progress)
            options.on_progress(walk.reading().bytes);
    }
    return builder.finish(walk.reading(), !cursor.stopped());
}

}  // namespace zvprobe
