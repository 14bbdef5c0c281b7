// SPDX-License-Identifier: MIT
// The common library: memory, time, CRC, text, network and buffer helpers.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "zvcommon.h"
#include "zvmem_ext.h"

namespace {

void* allocate(size_t size, const char* tag, int line = 1) {
    return zvmem_api_malloc(size, tag, "sub", "file.cpp", line);
}

std::string report() {
    testing::internal::CaptureStderr();
    zvmem_api_deinit();
    return testing::internal::GetCapturedStderr();
}

TEST(Memory, BlocksAreAlignedCountedAndNulledWhenFreed) {
    std::array<void*, 40> blocks{};
    for (size_t size = 0; size < blocks.size(); ++size) {
        blocks[size] = allocate(size, size % 2 == 0 ? "even" : "odd");
        ASSERT_NE(blocks[size], nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(blocks[size]) % alignof(std::max_align_t), 0u);
        std::memset(blocks[size], 0xFF, size);
    }
    EXPECT_EQ(zvmem_ext_live("odd").blocks, 20u);
    EXPECT_EQ(zvmem_ext_live("odd").bytes, 400u);
    EXPECT_EQ(zvmem_ext_live(nullptr).bytes, 780u);
    EXPECT_GE(zvmem_ext_peakBytes(), 780u);
    for (const size_t first : {1u, 0u, 2u}) {  // middle, head and tail of the list in turn
        for (size_t i = first; i < blocks.size(); i += 3) {
            zvmem_api_free(&blocks[i]);
            EXPECT_EQ(blocks[i], nullptr);
            zvmem_api_free(&blocks[i]);
        }
    }
    zvmem_api_free(nullptr);
    EXPECT_EQ(zvmem_ext_live(nullptr).blocks, 0u);
    EXPECT_EQ(report(), "");

    const uint64_t peak = zvmem_ext_peakBytes();
    void* small = allocate(1, "small");
    EXPECT_EQ(zvmem_ext_peakBytes(), peak) << "freed bytes no longer count";
    zvmem_api_free(&small);
}

TEST(Memory, RefusesSizesThatNoBlockCanHave) {
    constexpr size_t kMost = std::numeric_limits<size_t>::max();
    for (const size_t size : {kMost, kMost - 8, kMost / 2 + 1, kMost / 2}) {
        EXPECT_EQ(allocate(size, "huge"), nullptr);
    }
}

TEST(Memory, ReportsWhatIsStillAllocatedByPlaceAndLetsItBeFreed) {
    EXPECT_EQ(zvmem_api_init(0), 0);
    const std::string path = std::string(80, 'd') + "/resolver.cpp";
    std::string tag = "a tag of more than twenty-three characters";
    std::array<void*, 3> blocks = {allocate(100, "ctx", 7), allocate(50, "ctx", 7),
                                   zvmem_api_malloc(8, tag.c_str(), nullptr, path.c_str(), -1)};
    tag.assign("changed");
    const std::string text = report();
    EXPECT_NE(text.find("3 blocks, 158 bytes\n"), std::string::npos) << text;
    EXPECT_NE(text.find("2 blocks, 150 bytes [ctx][sub] file.cpp:7\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[a tag of more than twen][] dddd"), std::string::npos) << text;
    EXPECT_NE(text.find("d/resolver.cpp:-1\n"), std::string::npos) << text;
    for (void*& block : blocks)
        zvmem_api_free(&block);
    EXPECT_EQ(report(), "");
}

TEST(Memory, SumsUpPlacesBeyondTheReportsTable) {
    std::array<void*, 40> blocks{};
    for (int i = 0; i < 40; ++i)
        blocks[static_cast<size_t>(i)] = allocate(10, "many", i);
    const std::string text = report();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 32 + 1);
    EXPECT_NE(text.find("8 blocks, 80 bytes elsewhere"), std::string::npos) << text;
    for (void*& block : blocks)
        zvmem_api_free(&block);
}

TEST(Memory, DoesNotFreeAPointerThatIsNoBlock) {
    void* block = allocate(1024, "outer");
    std::memset(block, 0, 1024);
    void* inside = static_cast<char*>(block) + 512;
    testing::internal::CaptureStderr();
    zvmem_api_free(&inside);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("not an allocated block"),
              std::string::npos);
    EXPECT_EQ(inside, nullptr);
    EXPECT_EQ(zvmem_ext_live("outer").blocks, 1u);
    zvmem_api_free(&block);
}

TEST(Time, CountsMicrosecondsForward) {
    const uint64_t before = zvtime_api_upUs();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const uint64_t passed = zvtime_api_upUs() - before;
    EXPECT_GE(passed, 5000u);
    EXPECT_LT(passed, 5'000'000u);
}

uint32_t crc_bit_by_bit(const std::vector<uint8_t>& data) {
    uint32_t crc = 0xFFFFFFFF;
    for (const uint8_t byte : data) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool carry = ((crc >> 31) ^ (static_cast<uint32_t>(byte) >> bit)) & 1;
            crc = (crc << 1) ^ (carry ? 0x04C11DB7u : 0u);
        }
    }
    return crc;
}

TEST(Crc, AgreesWithTheBitwiseDefinitionAtEveryLength) {
    for (size_t length = 1; length < 70; ++length) {
        std::vector<uint8_t> data(length);  // exact size: a read beyond it is caught
        for (size_t i = 0; i < length; ++i)
            data[i] = static_cast<uint8_t>(i * 167 + length * 31);
        EXPECT_EQ(zvcrc_api_CRC32(data.data(), static_cast<int>(length)), crc_bit_by_bit(data));
    }
}

TEST(Crc, KnowsThePublishedCheckValueAndASection) {
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(zvcrc_api_CRC32(digits, 9), 0x0376E6E7u);
    const uint8_t pat[] = {0x00, 0xB0, 0x0D, 0x00, 0x01, 0xC5, 0x00, 0x00,
                           0x00, 0x01, 0xE1, 0x42, 0xEC, 0x61, 0xA8, 0x97};
    EXPECT_EQ(zvcrc_api_CRC32(pat, sizeof pat), 0u);
    EXPECT_EQ(zvcrc_api_CRC32(pat, 0), 0xFFFFFFFFu);
    EXPECT_EQ(zvcrc_api_CRC32(pat, -1), 0xFFFFFFFFu);
    EXPECT_EQ(zvcrc_api_CRC32(nullptr, 4), 0xFFFFFFFFu);
}

TEST(Text, FindsAWordWhateverItsCase) {
    EXPECT_EQ(zvstr_api_isCasestr("http://host/Live.TS?x", ".ts"), 1);
    EXPECT_EQ(zvstr_api_isCasestr("aab", "AB"), 1);
    EXPECT_EQ(zvstr_api_isCasestr("aaa", "aab"), 0);
    EXPECT_EQ(zvstr_api_isCasestr("keyframe", "keyframes"), 0);
    EXPECT_EQ(zvstr_api_isCasestr("@[`{", "`{@["), 0);
    EXPECT_EQ(zvstr_api_isCasestr("", ""), 1);
    EXPECT_EQ(zvstr_api_isCasestr("", "a"), 0);
    EXPECT_EQ(zvstr_api_isCasestr(nullptr, "a") + zvstr_api_isCasestr("a", nullptr), 0);
}

TEST(Net, TellsMulticastLiteralsFromTheRest) {
    for (const char* host : {"224.0.0.0", "239.255.255.255", "@239.1.2.3", "[239.1.2.3]", "ff02::1",
                             "FF0E::1", "[ff02::1]", "@[ff02::1%eth0]"}) {
        EXPECT_EQ(zvnet_api_isMulticast(host), 1) << host;
    }
    for (const char* host : {"223.255.255.255", "240.0.0.0", "239.1.2", "239.1.2.3.4", "fe80::1",
                             "ff02", "multicast.example", "", "@", "[", "[]", "239.1.2.3%eth0",
                             "ff02:0000:0000:0000:0000:0000:0000:0000:0000:0000:0001"}) {
        EXPECT_EQ(zvnet_api_isMulticast(host), 0) << host;
    }
    EXPECT_EQ(zvnet_api_isMulticast(nullptr), 0);
}

TEST(Buffer, MovesTheRestDownAndLeavesTheTail) {
    std::vector<uint8_t> data(6);
    std::iota(data.begin(), data.end(), uint8_t{0});
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), 2, 6), 4);
    EXPECT_EQ(data, (std::vector<uint8_t>{2, 3, 4, 5, 4, 5}));
    const std::vector<uint8_t> before = data;
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), 0, 6), 6);
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), -1, 6), 6);
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), 6, 6), 0);
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), 7, 6), 0);
    EXPECT_EQ(zvt_innerapi_bufOffset(data.data(), 1, -6), 0);
    EXPECT_EQ(zvt_innerapi_bufOffset(nullptr, 1, 6), 6);
    EXPECT_EQ(data, before);
}

}  // namespace
