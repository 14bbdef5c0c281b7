// SPDX-License-Identifier: MIT
// The extraction tool: a source through the analyser, and its elementary streams into files.
#include <cstring>

#include "mpeg/ts_tools/es_files.h"
#include "mpeg/ts_tools/owned.h"
#include "mpeg/ts_tools/stream_tool.h"
#include "ts_tools.h"

namespace {

// Keeps the packets in front of the tables, so that a stream which begins there is extracted whole.
class Backlog {
  public:
    // -> false when there is no room
    bool add(std::span<const uint8_t> run) {
        if (run.size() > sizeof bytes_ - size_) return false;
        memcpy(bytes_ + size_, run.data(), run.size());
        size_ += run.size();
        return true;
    }
    std::span<const uint8_t> bytes() const { return {bytes_, size_}; }

  private:
    // 0.4 s of a full 80 Mbit/s multiplex; tables come every 0.1 s (ETSI TR 101 290).
    static constexpr size_t kCapacity = size_t{4} * 1024 * 1024;

    size_t size_ = 0;
    uint8_t bytes_[kCapacity];
};

struct Extraction {
    zv::StreamTool tool;
    zv::EsFiles files;
    Backlog backlog;
    bool is_waiting = true;  // for the tables

    bool open(const char* url, const char* out_dir) {
        if (!tool.open(url, ZV_TS_CHECK_CC | ZV_TS_PES_TIMING)) return false;
        files.set_directory(out_dir);
        return true;
    }
    bool write_all();
    bool finish();

  private:
    bool write_run(std::span<const uint8_t> run);
    bool write_backlog();
};

bool Extraction::write_run(std::span<const uint8_t> run) {
    const MPEGTSContext& context = tool.analysis.context();
    const bool knew_all = context.is_getAllInfo;
    tool.analysis.parse(tool.feed, run);
    if (!knew_all) files.learn(context);
    if (is_waiting && !context.is_getAllInfo && backlog.add(run)) return true;
    return write_backlog() && files.take(run, tool.feed.packet_size());
}

bool Extraction::write_backlog() {
    if (!is_waiting) return true;
    is_waiting = false;
    return files.take(backlog.bytes(), tool.feed.packet_size());
}

bool Extraction::write_all() {
    for (auto run = tool.feed.next(); !run.empty(); run = tool.feed.next()) {
        if (!write_run(run)) return false;
    }
    return true;
}

bool Extraction::finish() {
    tool.feed.finish();
    return write_all() && write_backlog();
}

int extract(Extraction& extraction) {
    zv::StreamTool& tool = extraction.tool;
    bool is_written = true;
    while (is_written) {
        const std::span<const uint8_t> piece = tool.source.next();
        if (piece.empty()) break;
        tool.feed.append(piece);
        is_written = extraction.write_all();
    }
    is_written = is_written && extraction.finish();
    tool.analysis.report(tool.feed.counts());
    if (!is_written) return ZV_TS_TOOL_CANNOT_WRITE;
    const int result = extraction.files.wanted() ? tool.source.copy_result() : tool.source.result();
    if (result != ZV_TS_TOOL_DONE) return result;
    return extraction.files.commit() ? ZV_TS_TOOL_DONE : ZV_TS_TOOL_CANNOT_WRITE;
}

}  // namespace

int mpegts_api_tsExtract(int log_level, const char* url, const char* out_dir) {
    if (url == nullptr) return zv::missing_argument();
    const zv::PlatformSession session(log_level, "tsExtract.txt");
    zv::Owned<Extraction> extraction(zv::kStreamToolTag);
    if (!extraction || !extraction->open(url, out_dir)) return ZV_TS_TOOL_CANNOT_OPEN;
    if (out_dir != nullptr && !zv::is_writable_directory(out_dir)) return ZV_TS_TOOL_CANNOT_WRITE;
    return extract(*extraction);
}
