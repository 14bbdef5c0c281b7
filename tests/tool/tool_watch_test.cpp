// SPDX-License-Identifier: MIT
// The watch over many sources: its configuration, and what it counts while sources come and go.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <regex>
#include <set>

#include "base/numbers.h"
#include "support/await.h"
#include "support/folder.h"
#include "support/loopback.h"
#include "support/test_media.h"
#include "watch/backoff.h"
#include "watch/config.h"
#include "watch/watch.h"

namespace {

using namespace zvtest;
using namespace zvprobe;
using Piece = std::span<const uint8_t>;

constexpr size_t kDatagram = size_t{7} * 188;
constexpr size_t kPackets = 1679;  // of single.ts

std::string refusal(const std::string& text) {
    try {
        sources_of_text(text, "watch.toml", {});
    } catch (const UsageError& error) {
        return error.what();
    }
    return "taken";
}

TEST(WatchConfig, NamesSourcesWithLabelsAndLimits) {
    ZvSurveyLimits defaults = {};
    defaults.pmt_s = 0.9;
    const auto sources = sources_of_text(
        "\uFEFF# all of them\n\n[news]  # the first\nurl = "
        "\"udp://eth0@239.1.1.1:1234?rcvbuf=9000\"\n"
        "labels.site = 'north'\n[news.limits]\npat = 0.7\n\n[sport-2]\n  url = rtp://[::1]:5004\n"
        "[sport-2.labels]\nsite = \"far, south\" # there\n",
        "watch.toml", defaults);
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_EQ(sources[0].url, "udp://eth0@239.1.1.1:1234?rcvbuf=9000");
    EXPECT_EQ(sources[0].limits.pat_s, 0.7);
    EXPECT_EQ(sources[0].limits.pmt_s, 0.9);
    EXPECT_EQ(sources[1].limits.pat_s, 0);
    EXPECT_EQ(sources[1].url, "rtp://[::1]:5004");
    EXPECT_EQ(sources[0].labels.at("site"), "north");
    EXPECT_EQ(sources[1].labels.at("site"), "far, south");
}

// One byte that is no UTF-8 would have Prometheus refuse the metrics of all sources.
TEST(WatchConfig, NamesSourcesOfUrlsInUtf8) {
    const std::string url = "a\xff\xe2\x82/\xc3\xa9\\\n\x1b.ts";
    const auto sources = sources_of_urls({url}, {});
    EXPECT_EQ(sources[0].url, url);
    EXPECT_EQ(sources[0].name, "a\uFFFD\uFFFD\uFFFD/\u00e9\\\\x0a\\x1b.ts");
}

TEST(WatchConfig, NamesNoTokenOfAUrlAndKeepsSourcesApart) {
    const std::vector<std::string> urls = {"http://h/a?token=x&b&=c#d",
                                           "http://h/a?token=y&e&=#d",
                                           "HTTPS://u@h/?",
                                           "http://v@h/",
                                           "http://w@h/",
                                           "udp://10.0.0.1@239.1.1.1:5?rcvbuf=9000"};
    std::vector<std::string> names;
    for (const SourceSettings& source : sources_of_urls(urls, {}))
        names.push_back(source.name);
    EXPECT_EQ(names, std::vector<std::string>(
                         {"http://h/a?token=***&***&=***#d", "http://h/a?token=***&***&=***#d (2)",
                          "HTTPS://***@h/?", "http://***@h/", "http://***@h/ (2)", urls.back()}));
    EXPECT_THROW(sources_of_urls({urls[0], urls[0]}, {}), UsageError);
    EXPECT_EQ(refusal("[a]\nurl = http://h:x/?token=y\n"),
              "watch.toml:2: url \"http://h:x/?token=***\": malformed");
}

TEST(WatchConfig, TakesTextsAsTheyStand) {
    for (const auto& [value, text] : {
             std::pair{R"("udp://x:1#f" # a comment)", R"(udp://x:1#f)"},
             {R"('udp://x:1#f'# a comment)", R"(udp://x:1#f)"},
             {R"("a\"b\\c=[1, 2] 'd'")", R"(a"b\c=[1, 2] 'd')"},
             {R"('a\"b\\c')", R"(a\"b\\c)"},
             {R"("5")", R"(5)"},
             {R"(5.ts)", R"(5.ts)"},
             {R"(-a.ts # there)", R"(-a.ts)"},
             {R"(udp://x:1?a=b)", R"(udp://x:1?a=b)"},
         })
        EXPECT_EQ(sources_of_text("[a]\nurl = " + std::string(value), "", {}).at(0).url, text);
    const auto labels =
        sources_of_text(
            "[a]\nurl = x\nlabels.b='#1'\nlabels.c=5\nlabels.d=\"a\\\\\\\"\"\nlabels.e=''\n", "",
            {})[0]
            .labels;
    EXPECT_EQ(labels.at("b"), "#1");
    EXPECT_EQ(labels.at("c"), "5");
    EXPECT_EQ(labels.at("d"), "a\\\"");
    EXPECT_EQ(labels.at("e"), "");
}

TEST(WatchConfig, TakesTheExample) {
    const auto sources = sources_of_file(ZV_EXAMPLES "/watch.toml", {});
    ASSERT_EQ(sources.size(), 3u);
    EXPECT_EQ(sources[1].name, "sport");
    EXPECT_EQ(sources[1].limits.pat_s, 0.7);
    EXPECT_EQ(sources[2].labels.at("site"), "south");
}

TEST(WatchConfig, RefusesAFileWithLineAndReason) {
    const std::string good = "[a]\nurl = udp://127.0.0.1:5\n";
    for (const auto& [text, reason] : {
             std::pair{good + "[a]\nurl = udp://127.0.0.1:6\n", "3: section .* twice"},
             {good + "url = udp://127.0.0.1:6\n", "3: .url. is set twice"},
             {good + "speed = 7\n", "3: no key .speed."},
             {good + "[a.limits]\npat = 0.5\nptt = 1\n", "5: no limit .ptt."},
             {good + "[a.limits]\npat = fast\n", "4: limit pat: .fast. is no number"},
             {good + "[a.colours]\n", "3: section .* labels and limits"},
             {good + "[a.labels]\npid = x\n", "4: label .pid. is one that metrics have"},
             {good + "[a.labels]\n1st = x\n", "4: label .1st."},
             {good + "[a b]\n", "3: section .a b.: a name has"},
             {good + "[b]\n\n[b.limits]\n", "3: source .b. has no url"},
             {good + "[default]\n", "3: section .*: the name default is reserved"},
             {good + "[b]\nurl\n", "4: not understood: .url."},
             {good + "[b]\nurl # = a\n", "4: not understood"},
             {good + "labels.c = 1\n[a.labels]\nc = 2\n", "5: .c. is set twice"},
             {good + "[b\n", "3: no head of a section"},
             {good + "[]\n", "3: "},
             {good + "[b]\nurl = gopher://x:1/?key=S\n",
              "4: url .*key=\\*\\*\\*.* unknown protocol"},
             {good + "[b]\nurl = udp://x:99999\n", "4: url .* malformed"},
             {good + "[b]\nurl = -\n", "4: url .-.: no URL"},
             {good + "[b]\nurl = \"udp://x:1\n", "4: a text without its end: .\"udp://x:1"},
             {good + "[b]\nurl = \"udp://x:1\\\"\n", "4: a text without its end"},
             {good + "[b]\nurl = \"udp:\\u002f/x:1\"\n", "4: no escape but .* is taken"},
             {good + "[b]\nurl = '''udp://x:1'''\n", "4: a text of several lines"},
             {good + "[b]\nurl = 'a' 'b'\n", "4: more than one value"},
             {good + "[b]\nurl = 5 # a\n", "4: url .5 # a. is no text"},
             {good + "[b]\nurl = -1.5e3\n", "4: url .* is no text"},
             {good + "[b]\nurl = true\n", "4: url .* is no text"},
             {good + "[b]\nurl = [\"udp://x:1\"]\n", "4: url .* is no text"},
             {good + "labels.c = [\"x\"]\n", "3: .c. is not one value"},
             {good + "[b]\nurl = a\"b\n", "4: .url. is not one value"},
             {good + "[b]\nurl = udp://x:1 udp://x:2\n", "4: .url. is not one value"},
             {std::string("url = udp://x:1\n"), "1: .url. stands before the first section"},
             {good + "[b]\nurl = \n", "4: .url. has no value"},
             {good + "labels.c = # x\n", "3: .c. has no value"},
             {good + "labels.c.d = x\n", "3: .d. stands below .c."},
             {good + "[a.labels]\nc.d = x\n", "4: .d. stands below .c."},
             {good + "labels.c = \"a\x1b\"\n", "3: label .c. has a value that cannot be printed"},
             {good + "labels.c = 'http://u:p@h/'\n", "3: label .c. has a value"},
             {good + "[b]\nurl = udp://127.0.0.1\n", "4: url .* has no port"},
             {good + "[b]\nurl = tcp://:5\n", "4: url .* has no host"},
             {good + "[b]\nurl = http:///x?a=b\n", "4: url .*a=\\*{3}. has no host"},
             {good + "[b]\nno\n", "4: "},
             {good + "x\n", "3: not understood"},
         })
        EXPECT_TRUE(
            std::regex_search(refusal(text), std::regex(std::string("^watch.toml:") + reason)))
            << text << refusal(text);
}

// Reading a pipe would stop the thread that answers signals.
TEST(WatchConfig, RefusesAtOnceWhatIsNoRegularFile) {
    Folder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& [path, reason] : {std::pair{pipe, "is no regular file"},
                                       {std::string(folder.path()), "is a directory"},
                                       {std::string("/dev/zero"), "is no regular file"},
                                       {pipe + "less", "No such file or directory"}}) {
        try {
            sources_of_file(path, {});
            ADD_FAILURE() << path;
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), path + ": " + reason);
        }
    }
}

TEST(WatchBackoff, GrowsToAMinuteAndIsNeverQuiteTheSame) {
    Backoff one(1), other(2);
    std::set<int64_t> last;
    for (int i = 0; i < 40; ++i) {
        const auto wait = one.next();
        EXPECT_GE(wait, Backoff::kLeast);
        EXPECT_LE(wait, Backoff::kMost);
        EXPECT_GE(wait, i > 6 ? Backoff::kMost / 2 : Backoff::kLeast);
        if (i > 6) last.insert({wait.count(), other.next().count()});
    }
    EXPECT_GT(last.size(), 50u);
    one.worked_for(std::chrono::seconds(30));
    EXPECT_GE(one.next(), Backoff::kMost / 2);
    one.worked_for(std::chrono::minutes(2));
    EXPECT_EQ(one.next(), Backoff::kLeast);
}

// Gives it all in datagrams of so many bytes.
void send(WatchedSource& source, const Bytes& bytes, size_t size = kDatagram) {
    for (size_t at = 0; at < bytes.size(); at += size) {
        const Piece datagram = Piece(bytes).subspan(at, std::min(size, bytes.size() - at));
        source.take_datagrams({&datagram, 1}, 0);
    }
}

std::unique_ptr<WatchedSource> source_at(const std::string& url) {
    auto source = std::make_unique<WatchedSource>(SourceSettings{"a", url}, Tallies{},
                                                  WatchedSource::Options{});
    source->opened(false);
    return source;
}

struct Part {
    const char* media;  // null: garbage
    size_t packet_size;
};

// Gives it all in pieces: of so many bytes, or of seven packets each.
void give(WatchedSource& source, const Bytes& bytes, size_t packet_size, size_t piece) {
    if (piece == 0) return send(source, bytes, 7 * packet_size);
    for (size_t at = 0; at < bytes.size(); at += piece)
        source.take_bytes(Piece(bytes).subspan(at, std::min(piece, bytes.size() - at)), true);
}

// Each way from one packet size to another, with garbage between two.
TEST(WatchedSource, CountsEveryPacketWhenThePacketSizeChanges) {
    constexpr Part kPlain{"single.ts", 188}, kParity{"single-204.ts", 204},
        kTimeCoded{"single-192.m2ts", 192}, kGarbage{nullptr, 188};
    for (const size_t piece : {size_t{0}, size_t{7}, size_t{1000}, size_t{65536}}) {
        SCOPED_TRACE(piece);
        const auto source = source_at(piece == 0 ? "udp://127.0.0.1:1" : "tcp://127.0.0.1:1");
        uint64_t packets = 0, bytes = 0;
        for (const Part& part : {kPlain, kParity, kGarbage, kPlain, kTimeCoded, kParity, kTimeCoded,
                                 kGarbage, kPlain, kGarbage, kParity, kPlain}) {
            const Bytes content = part.media ? load_media(part.media) : Bytes(300'000, 0x55);
            give(*source, content, part.packet_size, piece);
            bytes += content.size();
            if (part.media) packets += content.size() / part.packet_size;
            EXPECT_EQ(source->state().tallies.bytes, bytes);
            // With the next packet's time code one is whole.
            const uint64_t waiting = part.packet_size == 192 ? 1 : 0;
            EXPECT_EQ(source->state().tallies.packets.sum(), packets - waiting);
        }
        EXPECT_EQ(source->report().content.index(), 1u);
    }
}

// The rest of a connection is too little to tell at once that the packets have another size.
TEST(WatchedSource, CountsWhatCameBeforeItEndedInAnotherPacketSize) {
    const Bytes plain = load_media("single.ts"), parity = load_media("single-204.ts");
    const Bytes few(parity.begin(), parity.begin() + 15 * 204);
    for (const bool is_closed : {false, true}) {
        const auto source = source_at("tcp://127.0.0.1:1");
        source->take_bytes(plain, true);
        source->take_bytes(few, true);
        EXPECT_LE(source->state().tallies.packets.sum(), kPackets + 1);
        if (is_closed)
            source->closed("the end", std::chrono::seconds(1));
        else
            source->retire();
        EXPECT_EQ(source->state().tallies.packets.sum(), kPackets + 15);
    }
}

// Every other place where a packet of the old size would begin has a 0x47 by accident: two count as
// packets, and those around them are not lost for it.
TEST(WatchedSource, TakesNoAccidentForTheOldPacketSize) {
    Bytes parity = load_media("single-204.ts");
    parity[2 * 188] = 0x47;  // as parity[4 * 188] is
    const auto source = source_at("tcp://127.0.0.1:1");
    source->take_bytes(load_media("single.ts"), true);
    source->take_bytes(parity, true);
    EXPECT_EQ(source->state().tallies.packets.sum(), kPackets + parity.size() / 204 + 2);
}

// The parity of the first packet of 204 bytes is all that belongs to no packet.
TEST(WatchedSource, SkipsNoPacketThatIsOfAnotherSize) {
    WatchedSource::Options options;
    options.keep_counts = true;
    WatchedSource source({"a", "tcp://127.0.0.1:1"}, {}, options);
    source.opened(true);
    for (const char* const media : {"single.ts", "single-204.ts", "single-192.m2ts"})
        source.take_bytes(load_media(media), true);
    WatchedSource::Before before;
    source.report(false, &before);
    EXPECT_EQ(before.counts.faults.sync_losses, 2u);
    EXPECT_EQ(before.counts.faults.skipped_bytes, 16u);
}

TEST(WatchedSource, KeepsTheCountsOfSurveysThatEnded) {
    WatchedSource::Options options;
    options.keep_counts = true;
    WatchedSource source({"a", "tcp://127.0.0.1:1"}, {}, options);
    Bytes bytes = load_media("single.ts");
    bytes.erase(bytes.begin() + 188 * 1000, bytes.begin() + 188 * 1001);
    bytes[188 * 500 + 1] |= 0x80;  // transport_error_indicator
    bytes[188 * 600] = 0;          // no packet, then
    for (int i = 0; i < 3; ++i) {  // each time as many bytes as before
        source.opened(true);
        source.take_bytes(bytes, false);
    }
    WatchedSource::Before before;
    const SourceReport report = source.report(false, &before);
    const TsCounts now = counts_of(std::get<TsReport>(report.content).survey);
    EXPECT_EQ(before.bytes, 3 * bytes.size());
    EXPECT_EQ(before.counts.packets, 2 * (kPackets - 2));
    TsCounts both = now;
    add_counts(both, now);
    EXPECT_EQ(before.counts, both);
    EXPECT_TRUE(now.faults.transport_errors > 0 && now.faults.byte_errors > 0);
    EXPECT_GT(now.of_indicator("1.4"), 0u);
}

TEST(WatchedSource, IsAwayAfterItWasOpenedAgainUntilPacketsCome) {
    const auto source = source_at("tcp://127.0.0.1:1");
    const Bytes bytes = load_media("single.ts");
    const auto is_up = [&] {
        source->tick();
        return source->state().up;
    };
    source->take_bytes(bytes, true);
    EXPECT_TRUE(is_up());
    source->closed("the end", std::chrono::seconds(1));
    EXPECT_FALSE(is_up());
    source->opened(true);
    EXPECT_EQ(source->state().why_away, "no packets came yet");
    EXPECT_FALSE(is_up()) << "the packets are those of the connection before";
    source->take_bytes(bytes, true);
    EXPECT_TRUE(is_up());
}

TEST(WatchedSource, TellsOnceThatNothingOrNoPacketsCame) {
    auto now = WatchedSource::Clock::now();
    WatchedSource::Options options;
    options.now = [&] { return now; };
    WatchedSource source({"a", "udp://127.0.0.1:1"}, {}, options);
    testing::internal::CaptureStderr();
    source.opened(false);
    for (int i = 0; i < 10; ++i, now += std::chrono::seconds(1)) {
        if (i == 5) send(source, Bytes(1000, 0x55));
        source.tick();
        const char* const why = i < 5 ? "no packets came yet" : "bytes, but no packets";
        EXPECT_EQ(source.state().why_away, why) << i;
    }
    source.opened(false);  // as a socket that is silent for long
    source.tick();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zvprobe: a: away: no packets came yet\nzvprobe: a: away: bytes, but no packets\n");
}

// The name has its escapes already, and is the same in metrics.
TEST(WatchedSource, IsCalledInItsLinesWhatItIsCalledElsewhere) {
    WatchedSource::Options options;
    options.tell_events = true;
    const SourceSettings settings = sources_of_urls({"a\nb\\c.ts"}, {}).at(0);
    EXPECT_EQ(settings.name, "a\\x0ab\\c.ts");
    testing::internal::CaptureStderr();
    WatchedSource source(settings, {}, options);
    source.warn("so");
    source.opened(false);
    source.take_bytes(load_media("single.ts"), false);
    std::istringstream lines(testing::internal::GetCapturedStderr());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_TRUE(line.starts_with("zvprobe: " + settings.name + ": ")) << line;
    EXPECT_GT(count, 1);
}

TEST(WatchedSource, CountsWhatRtpLostOnceAlsoWhenTheSenderChanges) {
    const auto source = source_at("rtp://127.0.0.1:1");
    const Bytes bytes = load_media("single.ts");
    const auto send_rtp = [&](uint32_t ssrc, size_t begin, size_t lost) {
        for (size_t i = begin; i < begin + 100; ++i) {
            if (i == lost) continue;
            Bytes datagram = {0x80, 33, 0, static_cast<uint8_t>(i),   0, 0, 0, 0,
                              0,    0,  0, static_cast<uint8_t>(ssrc)};
            const auto at = bytes.begin() + static_cast<ptrdiff_t>(i * kDatagram);
            datagram.insert(datagram.end(), at, at + kDatagram);
            send(*source, datagram, datagram.size());
        }
    };
    send_rtp(1, 0, 50);
    send_rtp(2, 100, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    source->tick();
    const SourceState state = source->state();
    EXPECT_TRUE(state.up);
    EXPECT_TRUE(state.uses_rtp);
    EXPECT_EQ(state.tallies.rtp_packets_lost.sum(), 1u);
    EXPECT_EQ(state.tallies.packets.sum(), 199u * 7);
    EXPECT_GT(state.indicator("1.4"), 0u);
}

TEST(WatchedSource, BoundsWhatNoiseCanMake) {
    const auto source = source_at("udp://127.0.0.1:1");
    Bytes noise;
    for (int pid = 0; pid < 8192; ++pid) {
        Bytes packet(188, 0xFF);
        packet[0] = 0x47;
        packet[1] = static_cast<uint8_t>(pid >> 8);
        packet[2] = static_cast<uint8_t>(pid);
        packet[3] = 0x10;
        noise.insert(noise.end(), packet.begin(), packet.end());
    }
    send(*source, noise);
    EXPECT_LE(source->state().pids.size(), Tallies::kMostPids);
    // What comes later and is named by tables still has its place.
    send(*source, load_media("single.ts"));
    const SourceState state = source->state();
    EXPECT_LE(state.pids.size(), Tallies::kMostPids);
    EXPECT_EQ(state.pids.size() + state.pids_left_out, 8192u);
    EXPECT_TRUE(state.pids.contains(0x1000));
}

TEST(WatchedSource, IsAsExactAfterAYearAsAfterAMinute) {
    constexpr uint64_t kSecond = 1'000'000, kYear = 366 * 86'400 * kSecond;
    const Bytes bytes = load_media("three-programs.ts");
    const auto survey_with_gap = [&](uint64_t gap_us, uint64_t tick_us) {
        SurveyCallbacks callbacks;
        callbacks.on_event = [](const ZvSurveyEvent&) {};
        callbacks.on_packets = [](Piece, size_t, uint64_t) {};
        SurveyRun run(std::move(callbacks));
        uint64_t now = kYear;
        for (const bool last : {false, true}) {
            for (size_t at = 0; at < bytes.size(); at += kDatagram, now += 19'000)
                run.feed_at(Piece(bytes).subspan(at, std::min(kDatagram, bytes.size() - at)), now);
            for (const uint64_t end = now + gap_us; !last && now < end; now += tick_us)
                run.tick(now);
        }
        std::map<std::string, uint64_t> counts = {{"packets", run.totals().packets}};
        for (const ZvSurveyIndicator& indicator : run.indicators())
            counts[indicator.id] = indicator.count;
        return counts;
    };
    const auto minute = survey_with_gap(60 * kSecond, kSecond);
    EXPECT_EQ(minute.at("packets"), 2 * bytes.size() / 188);
    EXPECT_GT(minute.at("1.3.a"), 0u);
    EXPECT_EQ(survey_with_gap(kYear, 3600 * kSecond), minute);
}

// A watch that is ticked, and asked for everything by a thread of its own.
class WatchTest : public testing::Test {
  protected:
    WatchTest() {
        struct sigaction action {};
        action.sa_handler = [](int) {};  // and no SA_RESTART: what waits for bytes must return
        sigaction(SIGALRM, &action, nullptr);
    }
    ~WatchTest() override {
        ends_ = true;
        asker_.join();
    }
    // -> whether it comes true within ten seconds
    bool becomes(const std::function<bool()>& condition) {
        return await([&] {
            watch_.tick();
            return condition();
        });
    }
    SourceState state(const std::string& name) const {
        const auto source = watch_.source(name);
        return source ? source->state() : SourceState{};
    }
    uint64_t packets(const std::string& name) const { return state(name).tallies.packets.sum(); }
    void ask() {
        std::map<std::string, uint64_t> before;
        while (!ends_) {
            for (const auto& source : watch_.sources()) {
                const uint64_t now = source->state().tallies.packets.sum();
                uint64_t& last = before[source->settings().name];
                EXPECT_GE(now, last) << "went back";
                last = now;
                source->report();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    const Bytes media_ = load_media("single.ts");
    const std::string text_{media_.begin(), media_.end()};
    Watch watch_{Watch::Options()};
    std::atomic<bool> ends_{false};
    std::thread asker_{[this] { ask(); }};
};

TEST_F(WatchTest, ReloadsFiftyTimesWithoutLossOfWhatStays) {
    Loopback stays, changes;
    stays.give_port_away();
    changes.give_port_away();
    const auto url = [](const Loopback& to) {
        return "udp://127.0.0.1:" + std::to_string(to.port);
    };
    const SourceSettings first{"stays", url(stays)};
    watch_.set_sources({first, {"changes", url(changes)}});
    const auto source = watch_.source("stays");
    size_t sent = 0, received = 0;
    for (int i = 0; i < 50; ++i) {
        SourceSettings other{"changes", url(changes)};
        other.limits.pat_s = 1 + i;
        stays.send(text_.substr(sent * kDatagram, kDatagram));
        ++sent;
        if (i % 3 == 0)
            watch_.set_sources({first});
        else
            watch_.set_sources({other, first});
        changes.send(text_.substr(0, kDatagram));
        const uint64_t now = i % 3 == 0 ? 0 : ++received * kDatagram;
        EXPECT_TRUE(becomes([&] { return state("changes").tallies.bytes == now; })) << i;
    }
    EXPECT_EQ(watch_.source("stays"), source);
    EXPECT_TRUE(becomes([&] { return packets("stays") == sent * 7; })) << packets("stays");
    watch_.set_sources({first});
    watch_.set_sources({{"changes", url(changes)}, first});
    EXPECT_EQ(packets("changes"), received * 7);
    EXPECT_EQ(state("stays").tallies.reconnects, 0u);
}

// The counts of so many names are kept that the next ones are forgotten, but not of what is watched.
TEST(Watch, KeepsTheCountsOfWhatChangesAfterManyNamesWereMadeUp) {
    Watch watch({.descriptors = 0});
    SourceSettings source{"changes", "udp://127.0.0.1:1"};
    testing::internal::CaptureStderr();
    watch.set_sources({source});
    watch.source("changes")->take_bytes(load_media("single.ts"), true);
    for (int i = 0; i < 5000; ++i)
        watch.set_sources({source, {"made-up-" + std::to_string(i), "udp://127.0.0.1:2"}});
    source.labels["site"] = "north";
    watch.set_sources({source});
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(watch.source("changes")->state().tallies.packets.sum(), kPackets);
}

TEST_F(WatchTest, DoesNotMixTwoGroupsOrTwoSendersOfOnePort) {
    Loopback sender, other;
    const int port = free_port(SOCK_DGRAM);
    const std::string end = ":" + std::to_string(port) + "?interface=127.0.0.1";
    watch_.set_sources({{"one", "udp://@239.255.1.1" + end},
                        {"two", "udp://@239.255.1.2" + end},
                        {"mine", "udp://127.0.0.1@232.1.1.1" + end},
                        {"theirs", "udp://127.0.0.9@232.1.1.1" + end}});
    const in_addr local = {htonl(INADDR_LOOPBACK)};
    setsockopt(sender.fd, IPPROTO_IP, IP_MULTICAST_IF, &local, sizeof local);
    const auto send_to = [&](const char* group, size_t count) {
        sockaddr_in to = loopback(port);
        inet_pton(AF_INET, group, &to.sin_addr);
        for (size_t i = 0; i < count; ++i)
            sendto(sender.fd, text_.data() + i * kDatagram, kDatagram, 0,
                   reinterpret_cast<const sockaddr*>(&to), sizeof to);
    };
    send_to("239.255.1.1", 3);
    send_to("239.255.1.2", 5);
    send_to("232.1.1.1", 4);
    EXPECT_TRUE(becomes([&] { return packets("mine") == 4 * 7; }));
    EXPECT_TRUE(becomes([&] { return packets("one") == 3 * 7; }));
    EXPECT_TRUE(becomes([&] { return packets("two") == 5 * 7; }));
    EXPECT_EQ(packets("theirs"), 0u);
    const std::string taken = "udp://127.0.0.1:" + std::to_string(other.port);
    watch_.set_sources({{"late", taken}});
    EXPECT_EQ(state("late").why_away, "Address already in use");
}

// Accepts one connection, sends it all and closes it.
void serve(int listener, const std::string& bytes) {
    pollfd wait = {listener, POLLIN, 0};
    ASSERT_EQ(poll(&wait, 1, 10'000), 1);
    const int fd = accept(listener, nullptr, nullptr);
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    close(fd);
}

TEST_F(WatchTest, OpensAgainWhatEndsAndNothingWaitsForWhatIsStuck) {
    Folder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int port = bind_loopback(listener);
    listen(listener, 4);
    watch_.set_sources({{"pipe", pipe},  // without a writer
                        {"gone", "tcp://127.0.0.1:" + std::to_string(free_port(SOCK_STREAM))},
                        {"none", folder / "none"},
                        {"tcp", "tcp://127.0.0.1:" + std::to_string(port)}});
    serve(listener, text_);
    EXPECT_TRUE(becomes([&] { return packets("tcp") == kPackets; }));
    EXPECT_TRUE(becomes([&] { return state("tcp").why_away == "the end"; }));
    EXPECT_FALSE(state("tcp").up);
    serve(listener, text_.substr(0, text_.size() / 2));  // a packet is cut
    EXPECT_TRUE(becomes([&] { return packets("tcp") == kPackets + kPackets / 2; }));
    EXPECT_EQ(state("tcp").tallies.reconnects, 1u);
    EXPECT_EQ(state("tcp").indicator("1.4"), 0u) << "the two connections are two streams";
    EXPECT_EQ(state("none").why_away, "No such file or directory");
    EXPECT_EQ(state("gone").why_away, "Connection refused");
    const auto begin = std::chrono::steady_clock::now();
    watch_.set_sources({});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    close(listener);
}

// A server of names that does not answer until it is told to; the test of it is below.
std::atomic<bool> names_hang{false};
std::atomic<int> looked_up{0};

void look_up() {
    ++looked_up;
    for (int i = 0; i < 1000 && names_hang; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

TEST_F(WatchTest, GoesOnWhileALookUpOfANameHoldsUpAReload) {
    Loopback stays;
    stays.give_port_away();
    const SourceSettings other{"stays", "udp://127.0.0.1:" + std::to_string(stays.port)};
    names_hang = true;
    watch_.set_sources({other, {"tcp", "tcp://names.invalid:1"}, {"udp", "udp://names.invalid:1"}});
    ASSERT_TRUE(becomes([] { return looked_up == 2; }));
    int turns = 0;
    watch_.set_sources({other}, [&] {
        watch_.tick();
        EXPECT_EQ(watch_.sources().size(), 3u);
        EXPECT_TRUE(watch_.is_working());
        if (++turns == 10) names_hang = false;
    });
    EXPECT_GE(turns, 10);
    EXPECT_EQ(watch_.sources().size(), 1u);
}

}  // namespace

// In place of the system's.
extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** list) {
    using Function = decltype(&getaddrinfo);
    static const auto systems = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (host == nullptr || std::string_view(host) != "names.invalid")
        return systems(host, service, hints, list);
    look_up();
    return EAI_AGAIN;
}
