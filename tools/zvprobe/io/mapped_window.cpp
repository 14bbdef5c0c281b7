// SPDX-License-Identifier: MIT
// Implementation of mapped_window.h, and the process's SIGBUS handler.
#include "io/mapped_window.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace zvprobe {
namespace {

// What the signal handler knows. Lock-free atomics may be used there.
std::atomic<uintptr_t> guarded_begin{0};
std::atomic<uintptr_t> guarded_end{0};
std::atomic<bool> page_replaced{false};
static_assert(std::atomic<uintptr_t>::is_always_lock_free);

// Puts zero pages in the place of the missing page and of all behind it, so that the instruction
// that met it can go on. On Linux mmap is a bare system call and safe in a handler.
extern "C" void replace_missing_pages(int, siginfo_t* info, void*) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto at = reinterpret_cast<uintptr_t>(info->si_addr) & ~(page - 1);
    const uintptr_t end = guarded_end.load();
    if (at < guarded_begin.load() || at >= end ||
        mmap(reinterpret_cast<void*>(at), end - at, PROT_READ,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED) {
        std::signal(SIGBUS, SIG_DFL);  // not ours: the instruction runs into it again
        return;
    }
    page_replaced.store(true);
}

void install_handler() {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_sigaction = replace_missing_pages;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        return sigaction(SIGBUS, &action, nullptr) == 0;
    }();
    static_cast<void>(installed);
}

}  // namespace

bool MappedWindow::map(int fd, uint64_t offset, size_t length, bool populate) {
    unmap();
    const int flags = MAP_PRIVATE | (populate ? MAP_POPULATE : 0);
    void* const at = mmap(nullptr, length, PROT_READ, flags, fd, static_cast<off_t>(offset));
    if (at == MAP_FAILED) return false;
    adopt({static_cast<const uint8_t*>(at), length});
    return true;
}

void MappedWindow::adopt(std::span<const uint8_t> mapping) {
    unmap();
    install_handler();
    bytes_ = mapping;
    const auto begin = reinterpret_cast<uintptr_t>(mapping.data());
    guarded_begin.store(begin);
    guarded_end.store(begin + mapping.size());
}

bool MappedWindow::damaged() const {
    return page_replaced.load();
}

void MappedWindow::unmap() {
    if (bytes_.empty()) return;
    guarded_begin.store(0);
    guarded_end.store(0);
    page_replaced.store(false);
    munmap(const_cast<uint8_t*>(bytes_.data()), bytes_.size());
    bytes_ = {};
}

}  // namespace zvprobe
