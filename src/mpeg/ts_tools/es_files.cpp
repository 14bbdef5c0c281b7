// SPDX-License-Identifier: MIT
// Which stream a PID belongs to, what its file is called, and when it is opened and named.
#include "mpeg/ts_tools/es_files.h"

#include <cstdio>
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/program_view.h"

namespace zv {
namespace {

// "1_0x100_h264.es". The names of stream types have blanks at times, which stay, but no slash.
// -> false when it does not fit
bool make_path(const char* directory, uint16_t program_number, uint16_t pid,
               const char (&type_name)[64], char (&path)[PATH_MAX]) {
    const int length = snprintf(path, sizeof path, "%s/%u_0x%x_%.64s.es", directory, program_number,
                                pid, type_name);
    return length > 0 && static_cast<size_t>(length) < sizeof path;
}

}  // namespace

void EsFiles::learn(const MPEGTSContext& context) {
    if (directory_ == nullptr) return;
    for (const MPEGTSProgram& program : programs(context)) {
        bool& is_known = has_programme_[&program - context.program];
        if (is_known || program.pmt_parsed != 1) continue;
        is_known = true;
        for (const MPEGTSStream& stream : streams(program))
            add(program.program_number, stream);
    }
}

bool EsFiles::knows(uint16_t program_number, uint16_t pid) const {
    for (int i = 0; i < count_; ++i) {
        if (streams_[i].pid == pid && streams_[i].program_number == program_number) return true;
    }
    return false;
}

void EsFiles::add(uint16_t program_number, const MPEGTSStream& from) {
    if (from.pid >= kPidCount || knows(program_number, from.pid)) return;
    Stream& stream = streams_[count_++];
    stream.pid = from.pid;
    stream.program_number = program_number;
    memcpy(stream.type_name, from.type_name, sizeof stream.type_name);
    stream.next_of_pid = first_of_pid_[from.pid];
    first_of_pid_[from.pid] = static_cast<uint8_t>(count_);
}

bool EsFiles::take(std::span<const uint8_t> packets, size_t packet_size) {
    if (count_ == 0 || packet_size == 0) return true;
    for (size_t at = 0; at < packets.size(); at += packet_size) {
        const uint8_t* packet = packets.data() + at;
        const uint16_t pid = load_pid(packet + 1);
        for (int entry = first_of_pid_[pid]; entry != 0;) {
            Stream& stream = streams_[entry - 1];
            if (!write(stream, stream.payload.take(packet))) return false;
            entry = stream.next_of_pid;
        }
    }
    return true;
}

bool EsFiles::write(Stream& stream, std::span<const uint8_t> bytes) {
    if (bytes.empty()) return true;
    if (!stream.file.is_open() && !open(stream)) return false;
    return stream.file.write(bytes);
}

bool EsFiles::open(Stream& stream) {
    char path[PATH_MAX];
    if (make_path(directory_, stream.program_number, stream.pid, stream.type_name, path))
        return stream.file.open(path);
    LOG(kLogError, "MPEGTS", "Write %s failed:the name is too long", directory_);
    return false;
}

// No file gets its name before the bytes of every one are written.
bool EsFiles::commit() {
    for (int i = 0; i < count_; ++i) {
        if (streams_[i].file.is_open() && !streams_[i].file.finish()) return false;
    }
    for (int i = 0; i < count_; ++i) {
        if (streams_[i].file.is_open() && !streams_[i].file.commit()) return false;
    }
    return true;
}

}  // namespace zv
