// SPDX-License-Identifier: MIT
// What stands on the screen of `monitor`: the lines for any size and any names, and the figures of the
// last seconds.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

#include "render/screen/layout.h"
#include "support/survey_run.h"
#include "support/test_media.h"
#include "ts/stream_meter.h"

namespace {

using namespace zvprobe;

const ScreenSize kUsual = {30, 100};

class InLocale {
  public:
    explicit InLocale(const char* name) {
        EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << name;
    }
    ~InLocale() { std::setlocale(LC_CTYPE, "C"); }
    InLocale(const InLocale&) = delete;
    InLocale& operator=(const InLocale&) = delete;
};

std::wstring text_of(const Line& line) {
    std::wstring text;
    for (const Piece& piece : line.pieces())
        text += piece.text;
    return text;
}

std::wstring page(const StreamSnapshot& stream, ViewState& state, ScreenSize size = kUsual) {
    std::wstring text;
    for (const Line& line : layout(stream, state, size))
        text += text_of(line) + L'\n';
    return text;
}
std::wstring page(const StreamSnapshot& stream, ScreenSize size = kUsual) {
    ViewState state;
    return page(stream, state, size);
}

bool has(const std::wstring& text, const std::wstring& part) {
    return text.find(part) != text.npos;
}

PidSnapshot pid(uint16_t number, double rate, uint64_t recent_errors = 0) {
    return {number, "video", "h264", 1, rate, 0.5, false, {9, recent_errors}};
}

// With names that want to be more than names.
StreamSnapshot hostile() {
    StreamSnapshot stream;
    const std::string names[] = {"\x1b[31mred\x1b]0;title\x07", "\xff\xfe\xe4\xb8",
                                 "\u65e5\u672c\u8a9e\u65e5\u672c\u8a9e\u65e5\u672c\u8a9e",
                                 "\u202eright to left\u2028\n\r\t\u009b31m",
                                 "e" + std::string(3000, '\xcc').replace(1, 1, "\x81")};
    stream.name = names[0];
    stream.programs = 5;
    stream.bit_rate_bps = NAN;
    for (const std::string& name : names) {
        stream.services.push_back({65535, name, name, name, 1, true, 1e12});
        stream.events.push_back({1e9, 8191, "service_changed", "3.10", "now " + name});
    }
    for (uint16_t i = 0; i < 50; ++i)
        stream.pids.push_back(pid(i, i % 3 == 0 ? NAN : 1e9 * i, UINT64_MAX));
    for (const char* id : {"1.1", "2.3.a", "3.10"})
        stream.indicators.push_back({id, id[0] - '0', id[0] != '3', {UINT64_MAX, 7}});
    return stream;
}

TEST(Screen, LinesFitWhateverTheSizeAndTheNames) {
    const StreamSnapshot stream = hostile();
    for (const char* const name : {"C.UTF-8", "C"}) {
        const InLocale locale(name);
        for (size_t lines = 0; lines < 64; lines += 1 + lines / 16)
            for (size_t columns = 0; columns < 140; columns += 1 + columns / 10) {
                ViewState state;
                state.help = lines % 5 == 4;
                state.frozen = columns % 2 == 0;
                const auto all = layout(stream, state, {lines, columns});
                EXPECT_LE(all.size(), lines);
                for (const Line& line : all) {
                    const std::wstring text = text_of(line);
                    EXPECT_LE(wcswidth(text.data(), text.size()), static_cast<int>(columns));
                    EXPECT_GE(wcswidth(text.data(), text.size()), 0) << "a control character";
                }
            }
    }
}

TEST(Screen, NamesAreShownAsFarAsTheLocaleCan) {
    StreamSnapshot stream = hostile();
    {
        const InLocale locale("C.UTF-8");
        const std::wstring text = page(stream);
        EXPECT_TRUE(text.starts_with(L" zvprobe \\x1b[31mred\\x1b]0;title\\x07 "));
        EXPECT_TRUE(
            has(text, L" \\x1b[31mred\\x1b]0;title\u2026 \\x1b[31mred\\x1b]0;title\\x07, "));
        EXPECT_EQ(wide("\x1b[31m\u009b"), L"?[31m?");
        EXPECT_TRUE(has(text, L"\\xff\\xfe\\xe4\\xb8"));
        EXPECT_TRUE(has(text, L"\u65e5\u672c\u8a9e"));
        EXPECT_FALSE(has(text, L"\u202e"));
        EXPECT_EQ(cells_of(cut(L"\u65e5\u672c\u8a9e", 4)), 3u);  // no half of one
        EXPECT_TRUE(has(page(stream, {30, 140}), L"\u2588"));
    }
    const std::wstring text = page(stream, {30, 140});
    EXPECT_TRUE(has(text, L"????"));
    EXPECT_TRUE(has(text, L"##########"));
    for (const wchar_t c : text)
        EXPECT_LT(c, 0x80);
}

TEST(Screen, LightsHaveASymbolEach) {
    StreamSnapshot stream;
    stream.indicators = {{"1.1", 1, true, {0, 0}},
                         {"1.4", 1, true, {12, 3}},
                         {"2.2", 2, true, {5, 0}},
                         {"2.4", 2, false, {8, 8}}};
    const std::wstring text = page(stream);
    for (const wchar_t* light : {L" 1.1 + ", L" 1.4 X 12", L"2.2 ! 5 ", L"2.4 - "})
        EXPECT_TRUE(has(text, light)) << light;
    // Where there is room for one line, it has what is wrong.
    const std::wstring brief = page(stream, kSmallestScreen);
    EXPECT_TRUE(has(brief, L"1.4 X 12  2.2 ! 5"));
    EXPECT_FALSE(has(brief, L"1.1"));
    EXPECT_TRUE(has(page(StreamSnapshot(), kSmallestScreen), L"+ no error"));
    EXPECT_TRUE(has(page(stream, {9, 80}), L"too small"));
}

TEST(Screen, PidsAreSortedAndScrolled) {
    StreamSnapshot stream;
    stream.pids = {pid(0x20, 1e6), pid(0x21, NAN, 1), pid(0x22, 3e6), pid(0x23, 2e6, 5)};
    ViewState state;
    const auto order = [&] {
        const std::wstring text = page(stream, state);
        std::string found;
        for (size_t at = 0; (at = text.find(L"\n0x2", at)) != text.npos; ++at)
            found += static_cast<char>(text[at + 4]);
        return found;
    };
    EXPECT_EQ(order(), "0123");
    state.press(Key::kSort);
    EXPECT_EQ(order(), "2301");
    state.press(Key::kSort);
    EXPECT_EQ(order(), "3102");
    state.press(Key::kSort);
    for (uint16_t i = 4; i < 60; ++i)
        stream.pids.push_back(pid(static_cast<uint16_t>(0x1000 + i), 1));
    EXPECT_TRUE(has(page(stream, state), L"of 60"));
    state.press(Key::kDown);
    EXPECT_EQ(order(), "123");
    for (int i = 0; i < 20; ++i)
        state.press(Key::kPageDown);
    EXPECT_TRUE(has(page(stream, state), L"-60 of 60"));
    const size_t last = state.first_pid;
    state.press(Key::kUp);
    EXPECT_EQ(state.first_pid, last - 1) << "scrolling stops at the end";
}

class Meter : public testing::Test {
  protected:
    // The sample in steps of a second; a hole of two packets in the second numbered `holed`.
    void feed(int seconds, int holed = -1) {
        constexpr size_t kStep = size_t{200} * 188;
        for (int i = 0; i < seconds; ++i, ++second_) {
            auto bytes = std::span(media_).subspan(at_ % (7 * kStep), kStep);
            at_ += kStep;
            if (at_ % (7 * kStep) == 0) at_ = 0;
            put(bytes.first(100 * 188));
            put(bytes.subspan(second_ == holed ? 102 * 188 : 100 * 188));
            last_ = meter_.look(*survey_, second_ + 1);
        }
    }
    void put(std::span<const uint8_t> bytes) {
        ASSERT_EQ(zvsurvey_feed_at(*survey_, bytes.data(), bytes.size(),
                                   static_cast<uint64_t>(second_) * 1'000'000),
                  0);
    }

    zvtest::SurveyRun survey_;
    StreamMeter meter_{"name", true};
    StreamSnapshot last_;

  private:
    const zvtest::Bytes media_ = zvtest::load_media("single.ts");
    size_t at_ = 0;
    int second_ = 0;
};

TEST_F(Meter, ErrorsLeaveTheLastIntervalAndStayInTheTotal) {
    feed(2, 1);
    EXPECT_EQ(last_.continuity_errors.total, 1u);
    EXPECT_EQ(last_.continuity_errors.recent, 1u);
    EXPECT_GE(last_.packets_lost.recent, 1u);
    feed(5);
    EXPECT_EQ(last_.continuity_errors.total, 1u);
    EXPECT_EQ(last_.continuity_errors.recent, 0u);
    EXPECT_NEAR(last_.interval_s, StreamMeter::kInterval_s, 1e-9);
    uint64_t by_pid = 0, lights = 0;
    for (const PidSnapshot& seen : last_.pids)
        by_pid += seen.errors.total;
    for (const IndicatorSnapshot& indicator : last_.indicators)
        if (indicator.id == "1.4") lights = indicator.count.total;
    EXPECT_EQ(by_pid, 1u);
    EXPECT_EQ(lights, 1u);
}

TEST_F(Meter, ResetCountsAnewFromThere) {
    feed(3, 1);
    meter_.add({0, 0, 0, "kind", nullptr, "text"});
    meter_.reset();
    feed(1);
    EXPECT_EQ(last_.continuity_errors.total, 0u);
    EXPECT_EQ(last_.counted_s, 0);
    EXPECT_TRUE(last_.events.empty());
    feed(3, 6);
    EXPECT_EQ(last_.continuity_errors.total, 1u);
    EXPECT_EQ(last_.counted_s, 3);
    EXPECT_EQ(last_.elapsed_s, 7);
}

TEST_F(Meter, RatesAreThoseOfTheLastInterval) {
    feed(7);
    EXPECT_NEAR(last_.bit_rate_bps, 200 * 1504, 1);
    double sum = 0, share = 0;
    for (const PidSnapshot& seen : last_.pids) {
        sum += seen.bit_rate_bps;
        share += seen.share;
    }
    EXPECT_NEAR(sum, last_.bit_rate_bps, 1);
    EXPECT_NEAR(share, 1, 1e-9);
    ASSERT_EQ(last_.services.size(), 1u);
    EXPECT_EQ(last_.services[0].name, "Colour Bars");
    EXPECT_GT(last_.services[0].bit_rate_bps, 0.8 * sum);
    EXPECT_LT(last_.services[0].bit_rate_bps, sum);
    const StreamSnapshot silent = meter_.look(*survey_, 20);
    EXPECT_EQ(silent.silent_s, 13);
}

}  // namespace
