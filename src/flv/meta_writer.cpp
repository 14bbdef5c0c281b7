// SPDX-License-Identifier: MIT
// Writes the start of an FLV file: file header, first size word, and an onMetaData script tag whose
// object holds what a probe learned.
#include <cstring>
#include <string_view>

#include "flv/flv_internal.h"
#include "flv/script.h"
#include "flv/tag.h"

namespace zv::flv {
namespace {

constexpr std::string_view kAuthors = "zvbitstream media stream library";
constexpr std::string_view kServerName = "zvbitstream meta writer";
constexpr std::string_view kServerVersion = "01.01.01";
static_assert(kAuthors.size() == 32 && kServerName.size() == 23);

constexpr uint8_t kFlvVersion = 1;

constexpr size_t kTagStart = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
constexpr size_t kBodyStart = kTagStart + ZV_FLV_TAG_HEADER_SIZE;

class MetaWriter {
  public:
    explicit MetaWriter(uint8_t* out) : out_(out) {}

    size_t size() const { return size_; }

    void be(uint32_t value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            out_[size_++] = static_cast<uint8_t>(value >> shift);
    }
    void u8(uint8_t value) { be(value, 1); }

    void raw(std::string_view text) {
        memcpy(out_ + size_, text.data(), text.size());
        size_ += text.size();
    }
    void key(std::string_view name) {
        be(static_cast<uint32_t>(name.size()), 2);
        raw(name);
    }
    void string(std::string_view text) {
        u8(kAmfString);
        key(text);
    }
    void number(std::string_view name, double value) {
        key(name);
        u8(kAmfNumber);
        flv_innerapi_setzv_double(value, out_ + size_);
        size_ += sizeof value;
    }
    void boolean(std::string_view name, uint8_t value) {
        key(name);
        u8(kAmfBoolean);
        u8(value);
    }

    // Goes back to the tag header, now that the body's size is known.
    void patch_data_size(size_t body_size) {
        out_[kTagStart + 2] = static_cast<uint8_t>(body_size >> 8);
        out_[kTagStart + 3] = static_cast<uint8_t>(body_size);
    }

  private:
    uint8_t* out_;
    size_t size_ = 0;
};

void write_file_header(MetaWriter* w, const FLVProbe& probe) {
    w->raw("FLV");
    w->u8(kFlvVersion);
    w->u8(static_cast<uint8_t>(probe.hasaudio * kHasAudioBit | probe.hasvideo * kHasVideoBit));
    w->be(ZV_FLV_FILE_HEADER_SIZE, 4);
    w->be(0, 4);  // nothing stands before the first tag
}

void write_tag_header(MetaWriter* w, const FLVProbe& probe) {
    w->u8(static_cast<uint8_t>(probe.hasfilter * kFilterBit + ZV_FLV_TAG_SCRIPT));
    w->be(0, 3);  // data size, patched later
    // Low byte last, into the extension byte: the reader's one-byte timestamp reads it back.
    w->be(probe.timestamp, 4);
    w->be(0, 3);  // stream id
}

void write_server_properties(MetaWriter* w) {
    w->key("server_authors");
    w->string(kAuthors);
    w->key("server_name");
    w->string(kServerName);
    w->key("server_version");
    w->string(kServerVersion);
}

void write_file_properties(MetaWriter* w, const FLVMetadata& summary) {
    if (summary.duration != 0) w->number("duration", summary.duration);
    if (summary.filesize != 0) w->number("filesize", summary.filesize);
    w->number("canSeekToEnd", summary.canSeekToEnd);
}

void write_video_properties(MetaWriter* w, const FLVMetadata& summary) {
    w->number("videocodecid", summary.videocodecid);
    w->number("videodatarate", summary.videodatarate);
    w->number("framerate", summary.framerate);
    w->number("width", summary.width);
    w->number("height", summary.height);
}

void write_audio_properties(MetaWriter* w, const FLVMetadata& summary) {
    w->number("audiodatarate", summary.audiodatarate);
    w->number("audiosamplerate", summary.audiosamplerate);
    w->number("audiosamplesize", summary.audiosamplesize);
    w->boolean("stereo", summary.stereo);
    w->number("audiocodecid", summary.audiocodecid);
    w->number("audiodelay", summary.audiodelay);
}

void write_body(MetaWriter* w, const FLVProbe& probe) {
    w->string("onMetaData");
    w->u8(kAmfObject);
    write_server_properties(w);
    write_file_properties(w, probe.metadata);
    if (probe.hasvideo == 1) write_video_properties(w, probe.metadata);
    if (probe.hasaudio == 1) write_audio_properties(w, probe.metadata);
    w->be(kAmfObjectEnd, 3);  // after an empty key
}

}  // namespace
}  // namespace zv::flv

unsigned flv_api_setFlvHeaderScript(const FLVProbe* probe, uint8_t* out) {
    using namespace zv::flv;
    if (probe == nullptr || out == nullptr) return 0;
    MetaWriter writer(out);
    write_file_header(&writer, *probe);
    write_tag_header(&writer, *probe);
    write_body(&writer, *probe);
    const size_t body_size = writer.size() - kBodyStart;
    writer.patch_data_size(body_size);
    writer.be(static_cast<uint32_t>(ZV_FLV_TAG_HEADER_SIZE + body_size), 4);
    return static_cast<unsigned>(writer.size());
}
