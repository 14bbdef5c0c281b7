// SPDX-License-Identifier: MIT
// Implementation of receiver.h.
#include "watch/receiver.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <system_error>

namespace zvprobe {
namespace {

constexpr std::chrono::milliseconds kLookAfter{50};
constexpr size_t kMostEvents = 64;
// A group may have to be joined anew, as when an interface went and came back.
constexpr std::chrono::seconds kLongSilence{10};

int make_epoll() {
    const int fd = epoll_create1(EPOLL_CLOEXEC);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "epoll");
    return fd;
}

}  // namespace

Receiver::Receiver() : epoll_(make_epoll()) {
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        ::close(epoll_);
        throw;
    }
}

Receiver::~Receiver() {
    stops_ = true;
    thread_.join();
    ::close(epoll_);
}

size_t Receiver::count() const {
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

bool Receiver::has_looked_within(std::chrono::milliseconds time) const {
    return Clock::now() - looked_.load() < time;
}

void Receiver::add(const std::shared_ptr<WatchedSource>& source, bool at_once) {
    const std::lock_guard lock(mutex_);
    const auto seed = static_cast<uint32_t>(std::hash<std::string>()(source->settings().name));
    const uint64_t id = next_id_++;
    Entry& entry = entries_.try_emplace(id, source, seed).first->second;
    if (at_once) open(id, entry, Clock::now());
}

void Receiver::remove(const WatchedSource& source) {
    const std::lock_guard lock(mutex_);
    std::erase_if(entries_,
                  [&](const auto& entry) { return entry.second.source.get() == &source; });
}

// The mutex is not held while it waits, so that sources come and go meanwhile.
void Receiver::run() {
    std::array<epoll_event, kMostEvents> events;
    auto next_look = Clock::now();
    while (!stops_) {
        looked_ = Clock::now();
        const int ready =
            epoll_wait(epoll_, events.data(), kMostEvents, static_cast<int>(kLookAfter.count()));
        const std::lock_guard lock(mutex_);
        for (int i = 0; i < ready; ++i)
            receive(events[static_cast<size_t>(i)].data.u64);
        const auto now = Clock::now();
        if (now < next_look) continue;
        next_look = now + kLookAfter;
        for (auto& [id, entry] : entries_)
            look_after(id, entry, now);
    }
}

// One batch: the other sockets have their turn before the next one.
void Receiver::receive(uint64_t id) {
    const auto found = entries_.find(id);
    if (found == entries_.end() || !found->second.socket) return;
    Entry& entry = found->second;
    const int got = batch_.receive(entry.socket->fd());
    if (got == -EAGAIN || got == -EINTR) return;
    const auto now = Clock::now();
    if (got < 0) return close(entry, std::strerror(-got), now);
    entry.last = now;
    entry.source->take_datagrams(batch_.datagrams(), entry.socket->new_drops(batch_));
}

void Receiver::look_after(uint64_t id, Entry& entry, Clock::time_point now) {
    if (!entry.socket && now >= entry.next_try) return open(id, entry, now);
    if (!entry.socket || now - entry.last < kLongSilence || now < entry.next_try) return;
    // Nothing has come for long, so nothing is lost between the two sockets.
    entry.socket.reset();
    open(id, entry, now);
}

void Receiver::open(uint64_t id, Entry& entry, Clock::time_point now) {
    entry.backoff.worked_for(entry.last - entry.opened);
    entry.socket.emplace();
    const std::string error = entry.socket->open(entry.source->settings().url);
    if (!error.empty()) return close(entry, error, now);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = id;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, entry.socket->fd(), &event) != 0)
        return close(entry, std::strerror(errno), now);
    entry.opened = entry.last = now;
    entry.next_try = now + kLongSilence + entry.backoff.next();
    entry.source->opened(false);
    warn_of_shortage(entry);
}

void Receiver::close(Entry& entry, const std::string& why, Clock::time_point now) {
    const auto wait = entry.backoff.next();
    entry.socket.reset();
    entry.next_try = now + wait;
    entry.source->closed(why, wait);
}

// Where the URL does not ask, one line for all sources is enough.
void Receiver::warn_of_shortage(const Entry& entry) {
    static std::atomic<bool> told{false};
    const auto shortage = entry.socket->shortage();
    if (!shortage || (!shortage->by_url && told.exchange(true))) return;
    entry.source->warn("the kernel gives a receive buffer of " + std::to_string(shortage->granted) +
                       " bytes instead of " + std::to_string(shortage->wanted) +
                       " (net.core.rmem_max)");
}

}  // namespace zvprobe
