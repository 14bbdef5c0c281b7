// SPDX-License-Identifier: MIT
// The HTML report of sources larger than any sample: what the page holds of them, and how large it is.
#include <gtest/gtest.h>

#include "base/json.h"
#include "base/media_history.h"
#include "render/page/page_report.h"

namespace {

using namespace zvprobe;

constexpr char kHostile[] = "</script><script>alert('1')</script>\"&\xE2\x80\xA8\xE2\x80\xA9";
constexpr size_t kSteps = 600;
constexpr int kPids = 8192;

Json extremes(double value) {
    return {{"min", Json(kSteps, -value)}, {"max", Json(kSteps, value)}};
}

Json pid_json(int pid) {
    return {{"pid", pid},
            {"use", "unreferenced"},
            {"programs", Json::array({1, 2, 3})},
            {"codec", nullptr},
            {"packets", 1'000'000 + pid},
            {"bit_rate_bps", 123456.789012345},
            {"transport_errors", pid == 77 ? 1 : 0},
            {"crc_errors", 0},
            {"scrambled_packets", 0},
            {"continuity", {{"errors", 0}, {"lost", 0}}},
            {"pcr", {{"interval_ms", {{"max", 39.123456789}}}}},
            {"pts", {{"ahead_ms", {{"min", 400.123456789}}}}},
            {"first_s", 0.123456789},
            {"last_s", 86399.123456789}};
}

Json history_json() {
    Json history = {{"start_s", 0.0}, {"step_s", 204.8}, {"steps", kSteps}};
    for (int pid = 0; pid < 200; ++pid)
        history["packets"].push_back({{"pid", pid}, {"packets", Json(kSteps, 1'000'000)}});
    history["packets"].push_back({{"pid", 0x1FFF}, {"packets", Json(kSteps, 1)}});
    history["other_packets"] = Json(kSteps, 7'000'000);
    for (int pid = 0; pid < 40; ++pid) {
        history["pcr"].push_back({{"pid", pid},
                                  {"interval_ms", extremes(39.123456789 + pid)},
                                  {"accuracy_ns", extremes(123.123456789)}});
        history["pts"].push_back({{"pid", pid}, {"ahead_ms", extremes(1234.123456789 + pid)}});
        history["tables"].push_back(
            {{"pid", pid}, {"table_id", 2}, {"interval_ms", extremes(99.123456789)}});
    }
    history["events"] = Json::array({{{"number", "1.4"}, {"counts", Json(kSteps, 100)}}});
    return history;
}

// A day of a stream that has all PIDs, and texts that try to be more than text.
TsReport large_report() {
    Json survey;
    for (const char* const name : {"packet_size", "bytes", "packets", "trailing_bytes",
                                   "null_packets", "transport_errors", "crc_errors"})
        survey[name] = 188;
    for (const char* const name : {"transport_stream_id", "network", "utc"})
        survey[name] = nullptr;
    survey["sync"] = {{"losses", 0}, {"loss_list", Json::array()}};
    survey["clock"] = {{"source", "pcr"}, {"duration_s", 86400.0}};
    survey["tr101290"] = Json::array();
    for (int i = 0; i < kPids; ++i) {
        survey["pids"].push_back(pid_json(i));
        survey["tables"].push_back(
            {{"pid", i}, {"table_id", 2}, {"name", kHostile}, {"versions", Json(32, 31)}});
        survey["programs"].push_back({{"program_number", i},
                                      {"service", {{"name", kHostile}}},
                                      {"streams", Json(70, {{"pid", i}, {"codec", kHostile}})}});
    }
    const Json event = {{"time_s", 1.5}, {"offset", 188}, {"kind", "x"}, {"message", kHostile}};
    survey["events"] = {{"total", 5000}, {"list", Json(1000, event)}};
    survey["history"] = history_json();
    return {survey, {}, {}};
}

SourceReport large_source() {
    SourceReport source;
    source.name = kHostile;
    source.content = large_report();
    return source;
}

std::string large_page() {
    const SourceReport source = large_source();
    return page_of({&source, 1});
}

// -> what the page's script reads
Json data_of(const std::string& page) {
    constexpr std::string_view kBegins = "id=\"data\">";
    const size_t begin = page.find(kBegins) + kBegins.size();
    return Json::parse(page.substr(begin, page.find("</script>", begin) - begin));
}

TEST(Page, StaysBelowItsBoundAndSaysWhatItLacks) {
    const std::string page = large_page();
    EXPECT_LT(page.size(), kMostOfPage);
    const Json part = data_of(page)["sources"][0]["mpegts"];
    for (const char* const list : {"pids", "tables"}) {
        const size_t shown = part[list]["rows"].size();
        EXPECT_GT(shown, 200u) << list;
        EXPECT_EQ(part[std::string(list) + "_left_out"], kPids - shown) << list;
    }
    EXPECT_EQ(part["programs_left_out"], kPids - part["programs"].size());
    EXPECT_EQ(part["pids"]["rows"][0][0], 77) << "the one with an error is there";
}

TEST(Page, AddsUpThePacketsOfPidsThatHaveNoNameInThePlot) {
    const Json part = data_of(large_page())["sources"][0]["mpegts"];
    uint64_t sum = part["history"]["other_packets"][0];
    for (const Json& pid : part["history"]["packets"])
        sum += pid["packets"][0].get<uint64_t>();
    EXPECT_EQ(sum, 200u * 1'000'000 + 1 + 7'000'000);
    EXPECT_EQ(part["history"]["packets"].back()["pid"], 0x1FFF) << "null packets are always named";
    EXPECT_GE(part["history"]["pcr"].back()["interval_ms"]["max"][0], 39 + 39)
        << "the worst are shown";
}

TEST(Page, HoldsTextsOfAnyKindAsText) {
    const std::string page = large_page();
    const std::string empty = page_of({});
    for (const std::string_view mark : {"<script", "</script", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        const auto count = [&mark](const std::string& text) {
            size_t found = 0;
            for (size_t at = 0; (at = text.find(mark, at)) != text.npos; ++at)
                ++found;
            return found;
        };
        EXPECT_EQ(count(page), count(empty)) << mark;
    }
    const Json source = data_of(page)["sources"][0];
    EXPECT_EQ(source["source"], kHostile);
    EXPECT_EQ(source["mpegts"]["programs"][0]["service"]["name"], kHostile);
}

TEST(Page, AsksForNothingUnlessItIsLive) {
    EXPECT_EQ(page_of({}).find("connect-src"), std::string::npos);
    const std::string page = page_of({}, {{"renew_s", 5}});
    EXPECT_NE(page.find("Policy\" content=\"" + live_page_policy() + '"'), page.npos);
}

TEST(Page, SharesItsRoomAmongManySources) {
    std::vector<SourceReport> reports;
    for (int i = 0; i < 2; ++i)
        reports.push_back(large_source());
    reports.resize(3000);
    const std::string page = page_of(reports);
    EXPECT_LT(page.size(), kMostOfPage);
    const Json data = data_of(page);
    EXPECT_EQ(data["sources"].size() + data["sources_left_out"].get<size_t>(), reports.size());
    EXPECT_GT(data["sources"].size(), 2000u);
}

TEST(MediaHistory, LosesNothingWhenItsStepsDouble) {
    MediaHistory history;
    constexpr int64_t kFrames = 24 * 3600 * 25;
    for (int64_t i = 0; i < kFrames; ++i)
        history.add(MediaHistory::kVideo, 5000 + i * 40, i == 1000 ? 9999 : 100, i % 50 == 0);
    history.add(MediaHistory::kAudio, 0, 7, false);  // before all others
    EXPECT_LE(history.steps().size(), MediaHistory::kMostSteps);
    EXPECT_EQ(history.step_ms(), 100 << 11);
    MediaStep sum;
    for (const auto& step : history.steps())
        sum.add(step[MediaHistory::kVideo]);
    EXPECT_EQ(sum.frames, uint64_t{kFrames});
    EXPECT_EQ(sum.bytes, uint64_t{kFrames} * 100 + 9899);
    EXPECT_EQ(sum.key_frames, uint64_t{kFrames} / 50);
    EXPECT_EQ(sum.largest, 9999u);
    EXPECT_EQ(sum.longest_ms, 40);
    EXPECT_EQ(history.steps()[0][MediaHistory::kAudio].bytes, 7u);
    history.add(MediaHistory::kVideo, INT64_MAX / 2, 1, false);
    EXPECT_LE(history.steps().size(), MediaHistory::kMostSteps) << "a jump of ages";
}

}  // namespace
