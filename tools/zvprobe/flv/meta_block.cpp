// SPDX-License-Identifier: MIT
// What the onMetaData block of a copy says (flv_copy.h).
#include <algorithm>
#include <string_view>

#include "base/bytes.h"
#include "flv/amf_writer.h"
#include "flv/flv_copy.h"

namespace zvprobe {
namespace {

constexpr size_t kFileStart = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
constexpr size_t kBodyStart = kFileStart + ZV_FLV_TAG_HEADER_SIZE;

// More would make a block that readers give up on; every second, third, ... key frame is listed then.
constexpr size_t kMostKeyFrames = 50'000;

// What other writers call the things that are told here: old values of these are out of date.
constexpr std::string_view kReplaced[] = {
    "server_authors",  "server_name",   "server_version",
    "duration",        "filesize",      "canSeekToEnd",
    "videocodecid",    "videodatarate", "framerate",
    "width",           "height",        "audiocodecid",
    "audiodatarate",   "audiodelay",    "audiosamplerate",
    "audiosamplesize", "stereo",        "hasAudio",
    "hasVideo",        "hasMetadata",   "hasKeyframes",
    "keyframes",       "lasttimestamp", "lastkeyframetimestamp",
    "audiosize",       "videosize",     "lastkeyframelocation",
    "datasize",
};

double old_number(const FlvReport& report, std::string_view key) {
    const AmfValue* const value = report.metadata(key);
    const bool number = value != nullptr && value->type == AmfValue::Type::kNumber;
    return number ? value->number : 0;
}

void fill_video(FLVMetadata& out, const FlvReport& report) {
    const FlvVideo& video = report.video;
    const double measured = video_frame_rate(report);
    out.videocodecid = video.codec().metadata_id();
    out.videodatarate = report.metadata_rate(video);
    out.framerate = measured > 0 ? measured : old_number(report, "framerate");
    out.width = video.size ? video.size->width : old_number(report, "width");
    out.height = video.size ? video.size->height : old_number(report, "height");
}

void fill_audio(FLVMetadata& out, const FlvReport& report) {
    const FlvAudio& audio = report.audio;
    out.audiocodecid = audio.codec().metadata_id();
    out.audiodatarate = report.metadata_rate(audio);
    out.audiosamplerate = audio.sound.sample_rate;
    out.audiosamplesize = audio.wide || audio.codec().fourcc != 0 ? 16 : 8;
    out.stereo = audio.sound.channels > 1 ? 1 : 0;
    out.audiodelay = old_number(report, "audiodelay");
}

// The library's own start of a file.
std::vector<uint8_t> library_start(const FlvReport& report, uint64_t file_size) {
    FLVProbe probe = {};
    probe.hasaudio = report.audio_tags != 0 ? 1 : 0;
    probe.hasvideo = report.video_tags != 0 ? 1 : 0;
    probe.metadata = report.library.metadata;
    probe.metadata.duration = report.duration();
    probe.metadata.filesize = static_cast<double>(file_size);
    if (probe.hasvideo != 0) fill_video(probe.metadata, report);
    if (probe.hasaudio != 0) fill_audio(probe.metadata, report);
    std::vector<uint8_t> out(ZV_FLV_HEADER_SCRIPT_MAX);
    out.resize(flv_api_setFlvHeaderScript(&probe, out.data()));
    return out;
}

class MetaBlock {
  public:
    MetaBlock(const FlvReport& report, const FlvCopyList& list, const FlvTimeShift& shift)
        : report_(report), list_(list), shift_(shift) {}

    // library    the library's start of a file
    // first_tag  where the copied tags begin in the new one
    // -> the body of the script tag, of the same size for any such place
    std::vector<uint8_t> body(std::span<const uint8_t> library, uint64_t first_tag) {
        write_members(library, first_tag);
        AmfWriter whole;
        whole.text(kOnMetaData);
        whole.begin_array(members_);
        whole.append(out_.bytes());
        whole.end();
        return whole.bytes();
    }

  private:
    double seconds(int64_t time) const {
        return static_cast<double>(shift_.moved_time(time)) / 1000.0;
    }

    void number(std::string_view name, double value) {
        ++members_;
        out_.number(name, value);
    }
    void boolean(std::string_view name, bool value) {
        ++members_;
        out_.boolean(name, value);
    }
    void raw(std::string_view name, std::span<const uint8_t> value) {
        ++members_;
        out_.raw(name, value);
    }

    void write_members(std::span<const uint8_t> library, uint64_t first_tag) {
        write_library_members(library);
        const auto& frames = list_.key_frames();
        boolean("hasMetadata", true);
        boolean("hasVideo", report_.video_tags != 0);
        boolean("hasAudio", report_.audio_tags != 0);
        boolean("hasKeyframes", !frames.empty());
        if (report_.video_tags != 0) number("videosize", static_cast<double>(list_.video_bytes()));
        if (report_.audio_tags != 0) number("audiosize", static_cast<double>(list_.audio_bytes()));
        if (!report_.times.empty()) number("lasttimestamp", seconds(report_.times.last()));
        if (!frames.empty()) {
            number("lastkeyframetimestamp", seconds(frames.back().time));
            number("lastkeyframelocation", static_cast<double>(first_tag + frames.back().position));
        }
        for (const OldValue& old : list_.old_values())
            if (std::ranges::find(kReplaced, old.key) == std::end(kReplaced))
                raw(old.key, old.bytes);
        if (!frames.empty()) write_key_frames(first_tag);
    }

    void write_library_members(std::span<const uint8_t> library) {
        const auto body = library.subspan(kBodyStart);
        for (const AmfMember& member : read_script_data(body).members) {
            if (member.key == "canSeekToEnd")
                boolean(member.key, report_.video.ends_with_key_frame);
            else if (member.key != "audiodelay" || report_.video_tags != 0)
                raw(member.key, body.subspan(member.begin, member.end - member.begin));
        }
    }

    void write_key_frames(uint64_t first_tag) {
        const auto& frames = list_.key_frames();
        const size_t step = (frames.size() + kMostKeyFrames - 1) / kMostKeyFrames;
        std::vector<double> times, positions;
        for (size_t i = 0; i < frames.size(); i += step) {
            times.push_back(seconds(frames[i].time));
            positions.push_back(static_cast<double>(first_tag + frames[i].position));
        }
        ++members_;
        out_.begin_object("keyframes");
        out_.numbers("times", times);
        out_.numbers("filepositions", positions);
        out_.end();
    }

    const FlvReport& report_;
    const FlvCopyList& list_;
    const FlvTimeShift& shift_;
    AmfWriter out_;
    uint32_t members_ = 0;
};

// The file header of the library, then a tag with that body.
std::vector<uint8_t> with_script_tag(std::span<const uint8_t> library,
                                     std::span<const uint8_t> body) {
    std::vector<uint8_t> out(library.begin(), library.begin() + kFileStart);
    out.push_back(ZV_FLV_TAG_SCRIPT);
    append_big_endian(out, body.size(), 3);
    append_big_endian(out, 0, 4 + 3);  // time stamp, stream id
    out.insert(out.end(), body.begin(), body.end());
    append_big_endian(out, ZV_FLV_TAG_HEADER_SIZE + body.size(), 4);
    return out;
}

}  // namespace

std::vector<uint8_t> make_flv_start(const FlvReport& report, const FlvCopyList& list,
                                    const FlvTimeShift& shift) {
    const auto start_for = [&](uint64_t first_tag) {
        const auto library = library_start(report, first_tag + list.bytes());
        return with_script_tag(library, MetaBlock(report, list, shift).body(library, first_tag));
    };
    return start_for(start_for(1).size());
}

}  // namespace zvprobe
