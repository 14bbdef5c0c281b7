// SPDX-License-Identifier: MIT
// Implementation of out_file_set.h.
#include "io/output/out_file_set.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <utility>

#include "base/descriptors.h"
#include "base/interrupt.h"

namespace zvprobe {
namespace {

constexpr size_t kMostOpen = 16;
constexpr size_t kPendingOfFile = size_t{256} << 10;
constexpr size_t kPendingOfAll = size_t{32} << 20;
constexpr size_t kReadSize = size_t{64} << 10;

[[noreturn]] void fail(int error = errno) {
    throw OutputError(error == EINTR ? "interrupted" : std::strerror(error));
}

// Keeps signals waiting: one of them could end the process between the first name and the last.
class SignalsWait {
  public:
    SignalsWait() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM})
            sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsWait(const SignalsWait&) = delete;
    SignalsWait& operator=(const SignalsWait&) = delete;

  private:
    sigset_t before_;
};

// Reads a file from its beginning: see(piece) until it has enough (false) or the file ends.
template <typename See>
void read_file(const std::string& path, See see) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) fail();
    std::vector<uint8_t> piece(kReadSize);
    ssize_t count = 0;
    while ((count = ::read(fd, piece.data(), piece.size())) > 0 &&
           see(std::span<const uint8_t>(piece).first(static_cast<size_t>(count)))) {
    }
    const int error = errno;
    ::close(fd);
    errno = error;
    if (count < 0) fail();
}

// What will be replaced keeps its mode. -> false for what is written, not replaced
bool prepare_replacing(const std::string& from, const std::filesystem::path& to) {
    struct stat status {};
    const bool stands = lstat(to.c_str(), &status) == 0;
    if (stands && !S_ISREG(status.st_mode)) return false;
    if (stands && access(to.c_str(), W_OK) != 0) fail();
    if (chmod(from.c_str(), stands ? status.st_mode & 07777 : mode_of_new_files()) != 0) fail();
    return true;
}

}  // namespace

OutFileSet::OutFileSet(const std::string& directory) : directory_(directory) {
    if (directory.empty()) fail(ENOENT);
    if (!made_directory_.make_directory(directory) && errno != EEXIST) fail();
    if (access((directory_ / ".").c_str(), W_OK | X_OK) != 0) fail();
}

OutFileSet::~OutFileSet() {
    close_all();
}

OutFileSet::Id OutFileSet::add() {
    files_.emplace_back();
    return files_.size() - 1;
}

void OutFileSet::write(Id id, std::span<const uint8_t> bytes) {
    File& file = files_[id];
    file.written += bytes.size();
    file.pending.insert(file.pending.end(), bytes.begin(), bytes.end());
    pending_ += bytes.size();
    if (file.pending.size() >= kPendingOfFile) flush(id);
    if (pending_ >= kPendingOfAll) flush_all();
}

void OutFileSet::flush(Id id) {
    File& file = files_[id];
    if (file.pending.empty()) return;
    if (file.fd < 0) open(id);
    const int error = write_all(file.fd, file.pending, interrupted);
    if (error != 0) fail(error);
    pending_ -= file.pending.size();
    file.pending.clear();
}

// The room goes with the bytes: of thousands of files each could keep its most.
void OutFileSet::flush_all() {
    for (Id id = 0; id < files_.size(); ++id) {
        flush(id);
        files_[id].pending.shrink_to_fit();
    }
}

int OutFileSet::try_open(File& file, const std::string& beside) {
    if (!file.unnamed.exists()) return file.unnamed.make_beside(beside);
    return ::open(file.unnamed.path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
}

void OutFileSet::open(Id id) {
    File& file = files_[id];
    const std::string beside = directory_ / "file";
    if (open_.size() >= kMostOpen) close_one();
    int fd = try_open(file, beside);
    while (fd < 0 && errno == EMFILE && !open_.empty()) {
        close_one();
        fd = try_open(file, beside);
    }
    if (fd < 0) fail();
    file.fd = fd;
    open_.push_back(id);
}

void OutFileSet::close_one() {
    const int fd = std::exchange(files_[open_.front()].fd, -1);
    open_.pop_front();
    if (close(fd) != 0) fail();
}

void OutFileSet::close_all() {
    for (const Id id : std::exchange(open_, {}))
        close(std::exchange(files_[id].fd, -1));
}

std::vector<uint8_t> OutFileSet::beginning(Id id, size_t most) {
    std::vector<uint8_t> bytes;
    if (files_[id].written == 0) return bytes;
    flush(id);
    read_file(files_[id].unnamed.path(), [&](std::span<const uint8_t> piece) {
        const auto wanted = piece.first(std::min(piece.size(), most - bytes.size()));
        bytes.insert(bytes.end(), wanted.begin(), wanted.end());
        return bytes.size() < most;
    });
    return bytes;
}

// Whatever can fail is done before the first file has its name.
void OutFileSet::commit(const std::vector<Named>& files) {
    for (const Named& file : files) {
        flush(file.id);
        if (!files_[file.id].unnamed.exists()) open(file.id);
    }
    while (!open_.empty())
        close_one();
    std::vector<std::pair<UnnamedFile*, std::string>> renamed;
    std::vector<std::unique_ptr<OutFile>> copies;
    for (const Named& file : files) {
        UnnamedFile& unnamed = files_[file.id].unnamed;
        const std::string to = path_of(file.name);
        if (prepare_replacing(unnamed.path(), to)) {
            renamed.emplace_back(&unnamed, to);
            continue;
        }
        OutFile& copy = *copies.emplace_back(std::make_unique<OutFile>(to));
        read_file(unnamed.path(),
                  [&](std::span<const uint8_t> piece) { return copy.write(piece), true; });
        copy.flush();
    }
    const SignalsWait wait;
    for (const auto& [unnamed, to] : renamed)
        if (!unnamed->give_name(to)) fail();
    for (const auto& copy : copies)
        copy->commit();
}

}  // namespace zvprobe
