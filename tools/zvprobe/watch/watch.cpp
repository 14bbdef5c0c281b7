// SPDX-License-Identifier: MIT
// Implementation of watch.h.
#include "watch/watch.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "io/datagram_source.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

// A configuration that makes up names at each reload must not fill the memory.
constexpr size_t kMostGone = 4096;

// So long without a turn is no load, but a fault.
constexpr std::chrono::seconds kStandstill{10};

// While it is made a connection takes more than later: over HTTP two pairs of sockets and that of the
// look-up as long as a server of names does not answer.
uint64_t descriptors_of(const std::string& url) {
    if (zvptc_api_matchByUrlAndIndex(url.c_str(), ZVPTC_INDEX_HTTP) != 0) return 6;
    if (!sends_datagrams(url)) return 4;
    return opens_at_once(url) ? 1 : 2;
}

constexpr std::chrono::milliseconds kTurn{50};

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

Watch::Watch(const Options& options) : options_(options) {}

Watch::~Watch() {
    set_sources({});
}

void Watch::set_sources(const std::vector<SourceSettings>& all,
                        const std::function<void()>& meanwhile) {
    const SignalsElsewhere mask;
    std::vector<Place> before = std::exchange(places_, {});
    std::vector<Place> now(all.size());
    for (size_t i = 0; i < all.size(); ++i) {
        const auto same = std::ranges::find_if(before, [&](const Place& place) {
            return place.source && place.source->settings() == all[i];
        });
        if (same != before.end()) now[i] = std::exchange(*same, {});
    }
    std::erase_if(before, [](const Place& place) { return !place.source; });
    std::vector<std::string> ended;
    ended.reserve(before.size());
    for (const Place& place : before)
        ended.push_back(place.source->settings().name);
    end_meanwhile(std::move(before), meanwhile);  // first: their ports may be those of new ones
    for (size_t i = 0; i < all.size(); ++i)
        if (!now[i].source) now[i] = begin(all[i]);
    // Not before: a source whose settings changed has taken its counts back by now.
    for (const std::string& name : ended)
        if (gone_.size() > kMostGone) gone_.erase(name);
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
    place.source = std::make_shared<WatchedSource>(
        settings, std::move(tallies),
        WatchedSource::Options{options_.tell_events, options_.keep_history, options_.keep_counts});
    const auto seed = static_cast<uint32_t>(std::hash<std::string>()(settings.name));
    place.backoff = Backoff(seed);
    receive(place);
    return place;
}

// What cannot be received now is tried again as a source that does not open.
void Watch::receive(Place& place) {
    const SignalsElsewhere mask;
    const std::string& url = place.source->settings().url;
    const uint64_t needed = descriptors_of(url);
    place.lacks_descriptors = descriptors_ + needed > options_.descriptors;
    try {
        if (place.lacks_descriptors) throw std::system_error(EMFILE, std::generic_category());
        if (!sends_datagrams(url)) {
            place.reader = std::make_unique<StreamReader>(place.source);
        } else {
            // The look-up of a name may take long, and the others must not wait for it.
            const bool shared = opens_at_once(url);
            place.receiver = shared ? least_busy() : std::make_shared<Receiver>();
            place.receiver->add(place.source, shared);
        }
        descriptors_ += needed;
    } catch (const std::system_error& error) {
        const auto wait = place.backoff.next();
        place.next_try = std::chrono::steady_clock::now() + wait;
        place.source->closed(error.code().message(), wait);
    }
}

void Watch::end(std::vector<Place> places) {
    for (const Place& place : places)
        if (place.reader) place.reader->stop();
    for (Place& place : places) {
        if (place.is_received()) descriptors_ -= descriptors_of(place.source->settings().url);
        place.reader.reset();
        if (place.receiver) place.receiver->remove(*place.source);
        gone_.insert_or_assign(place.source->settings().name, place.source->retire());
    }
}

// A thread that looks up a name ends after half a minute or so, and the others must not wait for it.
void Watch::end_meanwhile(std::vector<Place> places, const std::function<void()>& meanwhile) {
    if (places.empty()) return;
    // Where there are no more threads it is done by get().
    auto ended =
        std::async(std::launch::async | std::launch::deferred, [&] { end(std::move(places)); });
    while (ended.wait_for(kTurn) == std::future_status::timeout)
        meanwhile();
    ended.get();
}

// As many threads as there are cores, each made when it is needed.
std::shared_ptr<Receiver> Watch::least_busy() {
    const auto least = std::ranges::min_element(
        receivers_, {},
        [](const std::shared_ptr<Receiver>& receiver) { return receiver->count(); });
    const size_t most = std::max(1u, std::thread::hardware_concurrency());
    const bool all_busy = least == receivers_.end() || (*least)->count() > 0;
    if (!all_busy || receivers_.size() >= most) return *least;
    try {
        const auto receiver = std::make_shared<Receiver>();
        const std::lock_guard lock(mutex_);
        return receivers_.emplace_back(receiver);
    } catch (const std::system_error&) {
        if (receivers_.empty()) throw;
        return *least;
    }
}

void Watch::tick() {
    const auto now = std::chrono::steady_clock::now();
    ticked_ = now;
    for (Place& place : places_)
        if (!place.is_received() && now >= place.next_try) receive(place);
    for (const auto& source : sources())
        source->tick();
}

size_t Watch::without_descriptors() const {
    return static_cast<size_t>(std::ranges::count(places_, true, &Place::lacks_descriptors));
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
