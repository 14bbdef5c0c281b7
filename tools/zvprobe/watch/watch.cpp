// SPDX-License-Identifier: MIT
// Implementation of watch.h.
#include "watch/watch.h"

#include <algorithm>
#include <csignal>
#include <thread>
#include <utility>

#include "io/datagram_source.h"

namespace zvprobe {
namespace {

// A configuration that makes up names at each reload must not fill the memory.
constexpr size_t kMostGone = 4096;

// So long without a turn is no load, but a fault.
constexpr std::chrono::seconds kStandstill{10};

// Threads that begin while it lives leave signals to the main thread, but for the one that ends
// their waits.
class SignalsElsewhere {
  public:
    SignalsElsewhere() {
        sigset_t others;
        sigfillset(&others);
        sigdelset(&others, SIGALRM);
        pthread_sigmask(SIG_BLOCK, &others, &before_);
    }
    ~SignalsElsewhere() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsElsewhere(const SignalsElsewhere&) = delete;
    SignalsElsewhere& operator=(const SignalsElsewhere&) = delete;

  private:
    sigset_t before_;
};

}  // namespace

Watch::Watch(bool tell_events, bool keep_history)
    : tell_events_(tell_events), keep_history_(keep_history) {}

Watch::~Watch() {
    set_sources({});
}

void Watch::set_sources(const std::vector<SourceSettings>& all) {
    const SignalsElsewhere mask;
    std::vector<Place> before = std::move(places_);
    std::vector<Place> now(all.size());
    for (size_t i = 0; i < all.size(); ++i) {
        const auto same = std::ranges::find_if(before, [&](const Place& place) {
            return place.source && place.source->settings() == all[i];
        });
        if (same != before.end()) now[i] = std::exchange(*same, {});
    }
    std::erase_if(before, [](const Place& place) { return !place.source; });
    end(std::move(before));  // first: their ports may be those of new ones
    for (size_t i = 0; i < all.size(); ++i)
        if (!now[i].source) now[i] = begin(all[i]);
    places_ = std::move(now);
    std::vector<std::shared_ptr<WatchedSource>> listed;
    for (const Place& place : places_)
        listed.push_back(place.source);
    const std::lock_guard lock(mutex_);
    listed_ = std::move(listed);
}

Watch::Place Watch::begin(const SourceSettings& settings) {
    Tallies tallies;
    if (auto known = gone_.extract(settings.name)) tallies = std::move(known.mapped());
    Place place;
    place.source =
        std::make_shared<WatchedSource>(settings, std::move(tallies), tell_events_, keep_history_);
    if (!sends_datagrams(settings.url)) {
        place.reader = std::make_unique<StreamReader>(place.source);
        return place;
    }
    // The look-up of a name may take long, and the others must not wait for it.
    const bool shared = opens_at_once(settings.url);
    place.receiver = shared ? least_busy() : std::make_shared<Receiver>();
    place.receiver->add(place.source, shared);
    return place;
}

void Watch::end(std::vector<Place> places) {
    for (const Place& place : places)
        if (place.reader) place.reader->stop();
    for (Place& place : places) {
        place.reader.reset();
        if (place.receiver) place.receiver->remove(*place.source);
        if (gone_.size() < kMostGone)
            gone_.insert_or_assign(place.source->settings().name, place.source->retire());
        else
            place.source->retire();
    }
}

// As many threads as there are cores, each made when it is needed.
std::shared_ptr<Receiver> Watch::least_busy() {
    const auto least = std::ranges::min_element(
        receivers_, {},
        [](const std::shared_ptr<Receiver>& receiver) { return receiver->count(); });
    const size_t most = std::max(1u, std::thread::hardware_concurrency());
    const bool all_busy = least == receivers_.end() || (*least)->count() > 0;
    if (!all_busy || receivers_.size() >= most) return *least;
    const auto receiver = std::make_shared<Receiver>();
    const std::lock_guard lock(mutex_);
    return receivers_.emplace_back(receiver);
}

void Watch::tick() {
    ticked_ = std::chrono::steady_clock::now();
    for (const auto& source : sources())
        source->tick();
}

bool Watch::is_working() const {
    if (std::chrono::steady_clock::now() - ticked_.load() >= kStandstill) return false;
    const std::lock_guard lock(mutex_);
    return std::ranges::all_of(receivers_, [](const std::shared_ptr<Receiver>& receiver) {
        return receiver->has_looked_within(kStandstill);
    });
}

std::vector<std::shared_ptr<WatchedSource>> Watch::sources() const {
    const std::lock_guard lock(mutex_);
    return listed_;
}

std::shared_ptr<WatchedSource> Watch::source(const std::string& name) const {
    for (const auto& source : sources())
        if (source->settings().name == name) return source;
    return nullptr;
}

}  // namespace zvprobe
