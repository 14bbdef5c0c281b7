// SPDX-License-Identifier: MIT
// A watch over many sources: shares them out among the threads that receive, and exchanges them
// while the rest goes on.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "watch/backoff.h"
#include "watch/receiver.h"
#include "watch/source_settings.h"
#include "watch/stream_reader.h"
#include "watch/watched_source.h"

namespace zvprobe {

class Watch {
  public:
    struct Options {
        bool tell_events = false;   // every event of every source gets a line
        bool keep_history = false;  // of every source, for its report

        // How many the sources may have together; those for which there is none left stay away.
        uint64_t descriptors = UINT64_MAX;

        bool keep_counts = false;  // of surveys that ended, of every source
    };
    explicit Watch(const Options& options);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // These are the sources from now on. Those that are the same as before go on untouched; counts
    // of a name go on in any case.
    // meanwhile: called every 50 ms while those that go are waited for; it may tick
    void set_sources(
        const std::vector<SourceSettings>& all, const std::function<void()>& meanwhile = [] {});

    // -> how many of them are not received because the descriptors are taken: not each needs as many
    size_t without_descriptors() const;

    // Time passes; to be called ten times a second or so.
    void tick();

    // -> the sources in the order in which they were set. Any thread.
    std::vector<std::shared_ptr<WatchedSource>> sources() const;

    // -> whether it does its work: tick was called not long ago, and the threads that share sources
    // out among them have looked for datagrams since. Any thread.
    bool is_working() const;

    // -> null when there is none of that name. Any thread.
    std::shared_ptr<WatchedSource> source(const std::string& name) const;

  private:
    // A source, and what it is received by: one of the two, or none where threads or descriptors are
    // short.
    struct Place {
        bool is_received() const { return receiver || reader; }

        std::shared_ptr<WatchedSource> source = {};
        std::shared_ptr<Receiver> receiver = {};
        std::unique_ptr<StreamReader> reader = {};
        bool lacks_descriptors = false;
        Backoff backoff{0};
        std::chrono::steady_clock::time_point next_try = {};  // while it is not received
    };

    Place begin(const SourceSettings& settings);
    void receive(Place& place);
    void end(std::vector<Place> places);
    void end_meanwhile(std::vector<Place> places, const std::function<void()>& meanwhile);
    std::shared_ptr<Receiver> least_busy();

    const Options options_;
    uint64_t descriptors_ = 0;             // that those need which are received
    std::map<std::string, Tallies> gone_;  // of sources that are not watched now
    std::vector<std::shared_ptr<Receiver>> receivers_;
    std::vector<Place> places_;
    // For listed_ and changes of receivers_, which other threads ask for.
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<WatchedSource>> listed_;
    std::atomic<std::chrono::steady_clock::time_point> ticked_{std::chrono::steady_clock::now()};
};

}  // namespace zvprobe
