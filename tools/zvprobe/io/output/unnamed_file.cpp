// SPDX-License-Identifier: MIT
// Implementation of unnamed_file.h: a list that a signal handler can walk.
#include "io/output/unnamed_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace zvprobe {
namespace {

UnnamedFile* first = nullptr;
std::atomic_flag list_taken = ATOMIC_FLAG_INIT;

// The list is the calling thread's while this lives. No signal is handled by that thread meanwhile,
// so a handler that waits for the list waits for a thread that is running.
class ListGuard {
  public:
    ListGuard() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
        while (list_taken.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~ListGuard() {
        list_taken.clear(std::memory_order_release);
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    ListGuard(const ListGuard&) = delete;
    ListGuard& operator=(const ListGuard&) = delete;

  private:
    sigset_t before_;
};

// A name of its own, which fits wherever the final one does but for the longest of paths.
std::string pattern_beside(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1) + ".zvprobe-XXXXXX";
}

}  // namespace

UnnamedFile::~UnnamedFile() {
    if (!exists()) return;
    const ListGuard guard;
    remove();
    strike_out();
}

void UnnamedFile::remove() const {
    if (unlink(path_.c_str()) != 0) rmdir(path_.c_str());
}

void UnnamedFile::enlist() {
    next_ = first;
    if (next_ != nullptr) next_->previous_ = this;
    first = this;
}

void UnnamedFile::strike_out() {
    (previous_ == nullptr ? first : previous_->next_) = next_;
    if (next_ != nullptr) next_->previous_ = previous_;
    path_.clear();
}

int UnnamedFile::make_beside(const std::string& path) {
    std::string name = pattern_beside(path);
    const ListGuard guard;
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) return -1;
    path_.swap(name);
    enlist();
    return fd;
}

bool UnnamedFile::make_directory(const std::string& path) {
    std::string name = path;
    const ListGuard guard;
    if (mkdir(name.c_str(), 0777) != 0) return false;
    path_.swap(name);
    enlist();
    return true;
}

bool UnnamedFile::give_name(const std::string& path) {
    const ListGuard guard;
    if (rename(path_.c_str(), path.c_str()) != 0) return false;
    strike_out();
    return true;
}

// The latest come first, so files go before the directory that was made for them.
void remove_unnamed_files() {
    const ListGuard guard;
    for (const UnnamedFile* file = first; file != nullptr; file = file->next_)
        file->remove();
}

}  // namespace zvprobe
