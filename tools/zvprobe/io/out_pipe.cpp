// SPDX-License-Identifier: MIT
// Implementation of out_pipe.h.
#include "io/out_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr int kPipeSize = 1 << 20;
constexpr size_t kPiece = size_t{64} << 10;

}  // namespace

OutPipe::OutPipe(OutFile& out) : out_(out) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw OutputError(std::strerror(errno));
    read_end_ = ends[0];
    write_end_ = ends[1];
    fcntl(write_end_, F_SETPIPE_SZ, kPipeSize);
    thread_ = std::thread([this] {
        leave_signals_to_others();  // SIGPIPE, too: a reader that has gone is an error like others
        copy();
        close(read_end_);
    });
}

OutPipe::~OutPipe() {
    join();
}

void OutPipe::finish() {
    join();
    if (!error_.empty()) throw OutputError(error_);
}

void OutPipe::join() {
    if (!thread_.joinable()) return;
    close(write_end_);
    thread_.join();
}

void OutPipe::copy() {
    std::vector<uint8_t> piece(kPiece);
    try {
        for (ssize_t count; (count = read(read_end_, piece.data(), piece.size())) > 0;) {
            out_.write(std::span(piece).first(static_cast<size_t>(count)));
            out_.flush();  // a live stream may be watched
        }
    } catch (const OutputError& error) {
        error_ = error.what();
    }
}

}  // namespace zvprobe
