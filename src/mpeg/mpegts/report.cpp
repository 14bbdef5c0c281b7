// SPDX-License-Identifier: MIT
// What is known of a stream as text: one line for logs and status pages, whose pieces host tools match
// on, and periods and continuity counters of every table and stream as a block of log lines.
#include <algorithm>

#include "bitStream/log.h"
#include "bitStream/piece_writer.h"
#include "mpeg/mpegts/context.h"
#include "mpeg/mpegts/program_view.h"
#include "ts_tools.h"

namespace {

using LineWriter = zv::PieceWriter<1024>;
using DetailWriter = zv::PieceWriter<256>;

void add_period(LineWriter& line, const char* format, int64_t period) {
    if (period > 0) line.add(format, zv::NumberText(period).text);
}

// A table's PID, with its period once it has one.
void add_timed_pid(LineWriter& line, const char* name, uint16_t pid, int64_t period) {
    if (!zvsi_api_isValidPid(pid)) return;
    if (period < 1)
        line.add(",%s[%#x]", name, pid);
    else
        line.add(",%s[%#x-%s]", name, pid, zv::NumberText(period).text);
}

void add_service(LineWriter& line, const StreamInfoProgram& program) {
    if (!program.has_service) return;
    line.add("%s", ",service[");
    const char* separator = "";
    for (const char* text :
         {program.service_type, program.service_provider, program.service_name}) {
        if (text[0] == '\0') continue;
        line.add("%s%.256s", separator, text);
        separator = ",";
    }
    line.add("%s", "]");
}

template <size_t Count>
void add_descriptions(DetailWriter& detail, const char (&texts)[Count][64]) {
    for (const char* text : texts) {
        if (text[0] != '\0') detail.add(",%.64s", text);
    }
}

void describe_media(const StreamInfoEs& es, char* text) {
    DetailWriter detail(text);
    if (es.kind == static_cast<int32_t>(zv::kKindAudio)) {
        if (es.sample_rate > 0) detail.add("%d Hz", es.sample_rate);
        if (es.bit_rate > 0) detail.add(",%d bps", static_cast<int>(es.bit_rate));
        add_descriptions(detail, es.audio_desc);
    } else if (es.kind == static_cast<int32_t>(zv::kKindVideo)) {
        if (es.picture[0] != '\0')
            detail.add("%.64s,%.1f fps", es.picture, static_cast<double>(es.frame_rate));
        add_descriptions(detail, es.video_desc);
    }
}

// The error count stands in both places, as host tools expect; the lost count only decides.
void add_continuity(LineWriter& line, const CCState& state) {
    if (!state.started) return;
    if (state.errnum == 0 && state.lostnum == 0)
        line.add("-cc[0]");
    else
        line.add("-cc[error,lost:%d,%d]", state.errnum, state.errnum);
}

void add_stream(LineWriter& line, const StreamInfo& info, const StreamInfoEs& es) {
    line.add(",%.64s", es.type_name);
    char detail[1024] = "";
    describe_media(es, detail);
    if (mpegts_api_isMpeg(info.format, es.pid)) {
        if (detail[0] != '\0')
            line.add("[%#x,%s]", es.pid, detail);
        else
            line.add("[%#x]", es.pid);
    } else if (detail[0] != '\0') {
        line.add("[%s]", detail);
    }
    add_continuity(line, es.cc_state);
    if (es.numPcr_noInPmt != 0) line.add("-numPcr_noInPmt[%d]", es.numPcr_noInPmt);
}

void add_program(LineWriter& line, const StreamInfo& info, const StreamInfoProgram& program) {
    if (mpegts_api_isMpeg(info.format, program.pmt_pid)) {
        add_timed_pid(line, "pmt", program.pmt_pid, program.pmt_period);
        add_timed_pid(line, "pcr", program.pcr_pid, program.pcr_period);
        add_service(line, program);
    }
    const int count = std::clamp<int>(program.es_count, 0, zv::kMaxStreams);
    for (int i = 0; i < count; ++i)
        add_stream(line, info, program.streams[i]);
}

void add_format(LineWriter& line, const StreamInfo& info) {
    if (info.format[0] == '\0') return;
    if (info.pkt_size != 0)
        line.add("format[%.128s],pktSize[%u]", info.format, info.pkt_size);
    else
        line.add("format[%.128s]", info.format);
}

}  // namespace

int mpegts_api_getStreamInfo(StreamInfo* info, char* out, int withFormat) {
    if (info == nullptr || out == nullptr || info->program_count <= 0) return 0;
    LineWriter line(out);
    if (withFormat) add_format(line, *info);
    if (info->progress[0] != '\0') line.add("parseProgressInfo[%.128s]", info->progress);
    add_period(line, ",pat[%s]", info->pat_period);
    add_period(line, ",sdt[%s]", info->sdt_period);

    if (info->report_program_count == 0) info->report_program_count = info->program_count;
    if (info->report_program_count > zv::kMaxPrograms)
        line.add(",program_num[%d]", info->report_program_count);
    else if (info->program_count == 1)
        add_program(line, *info, info->programs[0]);
    else
        line.add(",program_num[%d]", info->program_count);
    return 1;
}

void mpegts_innerapi_showStatistics(MPEGTSContext* ctx) {
    if (ctx == nullptr || !zv::log_enabled(zv::kLogInfo, "MPEGTS")) return;
    using zv::NumberText;
    LOG(zv::kLogInfo, "MPEGTS", "-------------------------------------------------------");
    LOG(zv::kLogInfo, "MPEGTS", "* pktSize:%d", ctx->pkt_size);
    LOG(zv::kLogInfo, "MPEGTS", "[PAT]period,numErr,numLost:%s,%d,%d",
        NumberText(ctx->period_pat.period).text, ctx->cc_pat.errnum, ctx->cc_pat.lostnum);
    LOG(zv::kLogInfo, "MPEGTS", "[SDT]period,numErr,numLost:%s,%d,%d",
        NumberText(ctx->period_sdt.period).text, ctx->cc_sdt.errnum, ctx->cc_sdt.lostnum);
    for (const MPEGTSProgram& program : zv::programs(*ctx)) {
        LOG(zv::kLogInfo, "MPEGTS", "[PMT-%#x]period,numErr,numLost:%s,%d,%d", program.pmt_pid,
            NumberText(program.period.period).text, program.cc_state.errnum,
            program.cc_state.lostnum);
        LOG(zv::kLogInfo, "MPEGTS", "[pcr-%#x]period:%s", program.pcr_pid,
            NumberText(program.pcr_period.period).text);
        for (const MPEGTSStream& stream : zv::streams(program))
            LOG(zv::kLogInfo, "MPEGTS", "[%.64s-%#x]numErr,numLost:%d,%d", stream.type_name,
                stream.pid, stream.cc_state.errnum, stream.cc_state.lostnum);
    }
}
