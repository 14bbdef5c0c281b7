// SPDX-License-Identifier: MIT
// The FLV file test of a small test program: prints the first tags of a source, tries the writer,
// and ends the process. The protocol library brings the bytes, reader and writer do the work.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bitStream/log.h"
#include "bitStream/url_record.h"
#include "flv/flv_internal.h"
#include "zvcommon.h"

namespace {

constexpr int kReadBufferSize = 10240;
constexpr int kTagsPrinted = 21;
constexpr size_t kWriterBufferSize = 2048;

// Static, because it is too large for some stacks; the process ends after its first use.
FLVContext context;
uint8_t buffer[kReadBufferSize];

void log_rule() {
    LOG(zv::kLogDebug, "FLV", "================================================");
}

// Reads one of the two fixed pieces in front of the tags.
bool read_head(zv::HandledUrl& source, int size) {
    const int got = source.read(buffer, size);
    if (got == size) return true;
    LOG(zv::kLogError, "FLV", "Read error:%d", got);
    return false;
}

// Reads a piece of a tag; one that is larger than the buffer is refused without reading.
bool read_piece(zv::HandledUrl& source, int size) {
    const int got = size <= kReadBufferSize ? source.read(buffer, size) : 0;
    if (got == size) return true;
    LOG(zv::kLogError, "FLV", "Read error:%d %d", got, size);
    return false;
}

bool print_tag(zv::HandledUrl& source) {
    memset(&context, 0, sizeof context);
    log_rule();
    if (!read_piece(source, ZV_FLV_TAG_HEADER_SIZE)) return false;
    flv_innerapi_getbodytag(&context, buffer, 1);
    if (!read_piece(source, static_cast<int>(context.data_len) + ZV_FLV_PREVIOUS_TAG_SIZE))
        return false;
    flv_innerapi_getbodypayload(&context, buffer, 1, 1);
    return true;
}

// -> false when the source ended, or failed, too early
bool print_source(zv::HandledUrl& source) {
    if (!read_head(source, ZV_FLV_FILE_HEADER_SIZE)) return false;
    flv_innerapi_getflvheader(&context, buffer);
    if (!read_head(source, ZV_FLV_PREVIOUS_TAG_SIZE)) return false;
    flv_innerapi_getpretagsize(&context, buffer);
    for (int tag = 0; tag < kTagsPrinted; ++tag) {
        if (tag > 0) log_rule();
        if (!print_tag(source)) return false;
    }
    return true;
}

void write_sample() {
    FLVProbe probe;
    memset(&probe, 0, sizeof probe);
    probe.hasaudio = 1;
    probe.metadata.audiocodecid = 2.0;
    probe.metadata.audiodatarate = 125.0;
    probe.metadata.audiosamplerate = 44100.0;
    probe.metadata.audiosamplesize = 16.0;
    probe.metadata.stereo = 1;
    uint8_t script[kWriterBufferSize] = {};
    flv_api_setFlvHeaderScript(&probe, script);
}

}  // namespace

void flv_api_test(int log_level, const char* url) {
    zvlog_api_init(log_level, nullptr, nullptr, 0);
    zvmem_api_init(0);
    zvptc_api_init();
    zvptc_api_register();

    ZvptcUrlInfo info;
    memset(&info, 0, sizeof info);
    zvptc_api_urlSplit_urlinfo(&info, url);
    const ZvptcHandler* handler = zvptc_api_matchByName(info.scheme);
    if (handler == nullptr) {
        LOG(zv::kLogError, "FLV", "Not find %s function", info.scheme);
        return;
    }

    zv::HandledUrl source;
    snprintf(source.record().url(), zv::kUrlSize, "%s", url != nullptr ? url : "");
    if (strcmp(info.scheme, "file") == 0) source.record().set_open_flags(zv::kOpenFileForReading);
    if (source.open(handler) < 0) {
        handler->close(source.record().get());  // handlers accept a record that is not open
    } else {
        if (print_source(source)) write_sample();
        source.close();
    }
    zvptc_api_deinit();
    zvmem_api_deinit();
    zvlog_api_deinit();
    exit(0);
}
