// SPDX-License-Identifier: MIT
// Implementation of file_feeder.h.
#include "io/file_feeder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr int kPipeSize = 1 << 20;
constexpr size_t kPiece = size_t{64} << 10;

}  // namespace

FileFeeder::FileFeeder(std::unique_ptr<Source> source, bool draw)
    : source_(std::move(source)), progress_(source_->size().value_or(0), draw) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw SourceError(std::strerror(errno));
    read_end_ = ends[0];
    write_end_ = ends[1];
    fcntl(write_end_, F_SETPIPE_SZ, kPipeSize);
    thread_ = std::thread([this] {
        leave_signals_to_others();  // SIGPIPE, too: a reader that has gone is no reason to die
        feed();
        close(write_end_);
    });
}

FileFeeder::~FileFeeder() {
    finish();
}

std::string FileFeeder::finish() {
    if (thread_.joinable()) {
        close(read_end_);
        thread_.join();
    }
    const std::string error = source_->error();
    return error.empty() ? write_error_ : error;
}

void FileFeeder::feed() {
    uint64_t done = 0;
    for (auto window = source_->next(0); !window.empty(); window = source_->next(0)) {
        while (!window.empty()) {
            const auto piece = window.first(std::min(window.size(), kPiece));
            if (interrupted() || !write(piece)) return;
            progress_.show(done += piece.size());
            window = window.subspan(piece.size());
        }
    }
}

// Pages that a file has lost make the write fail, even if the file has grown again since.
bool FileFeeder::write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(write_end_, bytes.data(), bytes.size());
        if (written < 0 && errno != EPIPE)
            write_error_ = std::string("reading stopped: ") + std::strerror(errno);
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
    return true;
}

}  // namespace zvprobe
