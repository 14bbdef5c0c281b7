// SPDX-License-Identifier: MIT
// One context a thread, all threads logging: run under ThreadSanitizer to see that nothing is
// shared that should not be.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bitStream.h"
#include "flv.h"
#include "mp3.h"
#include "mpegts.h"
#include "support/folder.h"
#include "support/test_media.h"
#include "zvlog.h"

namespace {

using namespace zvtest;

constexpr int kThreads = 8;

// Analyses a stream with every second packet of its middle missing, so that messages are written.
std::string analyse(const Bytes& stream, size_t datagram) {
    void* context = nullptr;
    ffurl_match_resolver("mpegts")->init(&context, "thread", nullptr);
    auto info = std::make_unique<StreamInfo>();
    for (size_t at = 0; at + datagram <= stream.size(); at += datagram) {
        const bool lost = at > stream.size() / 2 && at / datagram % 2 == 0;
        if (lost) continue;
        ffurl_mpegts_parser.parse(context, stream.data() + at, static_cast<int>(datagram), 0x14);
        ffurl_mpegts_parser.updateInfo(context, info.get());
    }
    info->pat_period = info->sdt_period = 0;
    info->programs[0].pmt_period = info->programs[0].pcr_period = 0;
    std::vector<char> text(ZV_TS_STREAM_INFO_MAX);
    mpegts_api_getStreamInfo(info.get(), text.data(), 1);
    ffurl_mpegts_parser.deinit(&context);
    return text.data();
}

std::string describe_others(const Bytes& flv, const Bytes& audio) {
    FLVProbe probe = {};
    char text[4096] = "";
    flv_api_check(&probe, flv.data() + 13, static_cast<uint32_t>(flv.size() - 13));
    flv_api_getInfo(&probe, text);
    MP3HeaderInfo header = {};
    mp3_api_check(&header, audio.data(), 4);
    mp3_api_getInfo(&header, text);
    return text;
}

TEST(Threads, EachWithItsOwnContextFindTheSame) {
    const Folder folder;
    ASSERT_EQ(zvlog_api_init(5, folder.path(), "threads.txt", 0), 0);
    bitStream_register_parser();
    const Bytes ts = load_media("single.ts"), flv = load_media("h264-aac.flv");
    const Bytes audio = load_media("mpeg1-layer2.mp2");
    const std::string expected = analyse(ts, 1316) + describe_others(flv, audio);

    std::vector<std::string> found(kThreads);
    std::vector<std::thread> threads;
    for (std::string& mine : found)
        threads.emplace_back([&] { mine = analyse(ts, 1316) + describe_others(flv, audio); });
    for (std::thread& thread : threads)
        thread.join();
    zvlog_api_deinit();

    for (const std::string& mine : found)
        EXPECT_EQ(mine, expected);
    EXPECT_NE(expected.find("-cc[error,lost:"), std::string::npos);
    EXPECT_NE(expected.find(",mpeg1-/L2"), std::string::npos);
}

}  // namespace
