// SPDX-License-Identifier: MIT
// Texts of broadcast tables: every character table by a name that is spelled differently in the
// others, control codes, and what undecodable bytes become.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/guarded_buffer.h"
#include "survey/psi/dvb_text.h"

namespace {

using namespace std::string_view_literals;
using zv::survey::decode_dvb_text;

// The text, decoded where it ends at an unreadable page.
std::string decoded(std::string_view text) {
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    zvtest::GuardedBuffer block(bytes);
    return decode_dvb_text({block.data(), bytes.size()});
}

std::string utf16(std::string_view text) {
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    zvtest::GuardedBuffer block(bytes);
    return zv::survey::utf16be_to_utf8({block.data(), bytes.size()});
}

TEST(DvbText, ReadsTableZeroWithItsEuroSignAndAccents) {
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("Channel One"), "Channel One");
    EXPECT_EQ(decoded("5\xA4 \xA8 \xE0 \xFB"), "5€ ¤ \u2126 ß");
    EXPECT_EQ(decoded("T\xC2\x65l\xC2\x65vision, \xCFZi\xCFzka, K\xC8oln"),
              "Télévision, Žižka, Köln");
    EXPECT_EQ(decoded("\xC2\xF9"), "ǿ");
    EXPECT_EQ(decoded("\xC8q\xC1\x31"), "q\u03081\u0300") << "no such characters in Unicode";
    EXPECT_EQ(decoded("\xC2 \xC8 "), "´¨") << "a space shows the accent alone";
}

TEST(DvbText, ReadsEveryPartOfIso8859ByEitherSelector) {
    EXPECT_EQ(decoded("\x01\xC0\xDE\xE1\xE1\xD8\xEF"), "Россия");
    EXPECT_EQ(decoded("\x02\xE2\xE6\xC7\xC9"), "قناة");
    EXPECT_EQ(decoded("\x03\xC5\xD1\xD4\xA4"), "ΕΡΤ€");
    EXPECT_EQ(decoded("\x04\xF9\xEC\xE5\xED"), "שלום");
    EXPECT_EQ(decoded("\x05I\xFE\xFDk"), "Işık");
    EXPECT_EQ(decoded("\x06K\xE1r\xE1\xBAjohka"), "Kárášjohka");
    EXPECT_EQ(decoded("\x07\xE4\xB7\xC2"), "ไทย");
    EXPECT_EQ(decoded("\x09\xDEini\xF8"), "Žinių");
    EXPECT_EQ(decoded("\x0A\x44\xF0r"), "Dŵr");
    EXPECT_EQ(decoded("\x0B\xBCuvre \xA4"), "Œuvre €");
    EXPECT_EQ(decoded("\x10\0\x01\xC9t\xE9 \xA4"sv), "Été ¤");
    EXPECT_EQ(decoded("\x10\0\x02\xA3\xF3\x64\xBC"sv), "Łódź");
    EXPECT_EQ(decoded("\x10\0\x03G\xB1"sv), "Għ");
    EXPECT_EQ(decoded("\x10\0\x04R\xEFga"sv), "Rīga");
    EXPECT_EQ(decoded("\x10\0\x05\xC0\xDE\xE1"sv), "Рос");
    EXPECT_EQ(decoded("\x10\0\x0F\xBCuvre"sv), "Œuvre");
    EXPECT_EQ(decoded("\x10\0\x10\xAAtiri"sv), "Știri");
}

TEST(DvbText, ReadsTheTablesOfMoreThanOneByte) {
    EXPECT_EQ(decoded("\x11\x65\xE5\x67\x2C"), "日本");
    EXPECT_EQ(decoded("\x12\xC7\xD1\xB1\xB9 TV\xA2\xE8"), "한국 TV㉾");
    EXPECT_EQ(decoded("\x13\xB1\xB1\xBE\xA9\xB5\xE7\xCA\xD3\xCC\xA8 TV"), "北京电视台 TV");
    EXPECT_EQ(decoded("\x14\x53\xF0\x70\x63"), "台灣");
    EXPECT_EQ(decoded("\x15Z\u00FCrich \u20AC \U0001F4FA"), "Zürich € 📺");
}

TEST(DvbText, MakesSpacesOfLineBreaksAndNothingOfOtherControls) {
    for (const char* table : {"", "\x05", "\x15"}) {
        const auto text = std::string(table) + "\x41\x09\x7F\x42";
        EXPECT_EQ(decoded(text), "AB") << static_cast<int>(*table);
    }
    EXPECT_EQ(decoded("\x86News\x87\x8A\x61t\x80\x9Ften"), "News atten");
    EXPECT_EQ(decoded("\x01\x86\xC0\x87\x8A\xDE"), "Р о");
    EXPECT_EQ(decoded("\x15\uE086N\uE087\uE08AT\uE080\uE09F\uE0A0"), "N T\uE0A0");
    EXPECT_EQ(decoded("\x11\xE0\x86\0N\xE0\x87\xE0\x8A\0T"sv), "N T");
    EXPECT_EQ(decoded("\x12\xE0\x86\xB0\xA1\xE0\x8A\xB0\xA1"), "가 가");
    EXPECT_EQ(decoded("\0\x01\xC2\x65t"sv), "ét") << "0x00 is no selector, and 0x01 no longer one";
}

TEST(DvbText, ReplacesEachUndecodableUnitOnce) {
    EXPECT_EQ(decoded("\xA6\xC9\xCC\xC2\xD8z"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDz");
    EXPECT_EQ(decoded("\xC2\xC8u\xC2\x86\xC2"), "\uFFFDü\uFFFD\uFFFD") << "accents without letter";
    EXPECT_EQ(decoded("\x04\xA1\xF9"), "\uFFFDש");
    EXPECT_EQ(decoded("\x12\xB0\x41\x80\xB0\xA1\xC9\xA1\xB0\xA0\xFF\xB0"),
              "\uFFFDA\uFFFD가\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(decoded("\x13\xAA\xA1\xD6\xD0\xFE\xFE\xD7\xFE"), "\uFFFD中\uFFFD\uFFFD");
    EXPECT_EQ(decoded("\x11\xD8\x3D\xDC\xFA\xDC\xFA\xDF\xFF\xD8\x3D\xFF\x01\xD8\x3D\0"sv),
              "📺\uFFFD\uFFFD\uFFFD！\uFFFD\uFFFD");
}

TEST(DvbText, ReplacesMaximalSubpartsOfIllFormedUtf8) {
    EXPECT_EQ(decoded("\x15\xC0\xAF\xF5\x80\xFF"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(decoded("\x15\xE0\x9F\x80"), "\uFFFD\uFFFD\uFFFD") << "overlong";
    EXPECT_EQ(decoded("\x15\xF0\x8F\x80"), "\uFFFD\uFFFD\uFFFD") << "overlong";
    EXPECT_EQ(decoded("\x15\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD") << "surrogate";
    EXPECT_EQ(decoded("\x15\xED\x9F\xBF"), "\uD7FF");
    EXPECT_EQ(decoded("\x15\xF4\x90\x80"), "\uFFFD\uFFFD\uFFFD") << "above U+10FFFF";
    EXPECT_EQ(decoded("\x15\xF4\x8F\xBF\xBF"), "\U0010FFFF");
    EXPECT_EQ(decoded("\x15\xF1\x80\x80z\xE2\x82"), "\uFFFDz\uFFFD") << "cut";
}

TEST(DvbText, CannotReadReservedSelectors) {
    for (const char* selector : {"\x08", "\x0C", "\x0F", "\x16", "\x1E", "\x1F\x01"}) {
        EXPECT_EQ(decoded(std::string(selector) + "A\x8A"), "\uFFFD\uFFFD") << int{*selector};
    }
    for (const auto selector : {"\x10\0\0"sv, "\x10\0\x0C"sv, "\x10\0\x11"sv, "\x10\x01\x05"sv}) {
        EXPECT_EQ(decoded(std::string(selector) + "A"), "\uFFFD") << int{selector[2]};
        EXPECT_EQ(decoded(selector.substr(0, 2)), "");
    }
    EXPECT_EQ(decoded("\x1F"), "");
}

// Well-formed UTF-8 is what table 0x15 returns unchanged.
TEST(DvbText, WritesWellFormedUtf8WithinItsBoundWhateverComes) {
    std::mt19937 random(20061);
    for (unsigned round = 0; round < 6400; ++round) {
        std::string text(1 + random() % 24, '\0');
        for (char& byte : text)
            byte = static_cast<char>(random());
        text[0] = static_cast<char>(round % 0x40);
        const std::string out = decoded(text);
        ASSERT_LE(out.size(), 3 * text.size());
        ASSERT_EQ(decoded("\x15" + out), out) << round;
        ASSERT_LE(utf16(text).size(), 3 * text.size());
    }
}

TEST(Utf16Names, EndAtTheirPadding) {
    EXPECT_EQ(utf16("\0N\0E\0W\0S\0\0\0X\0\0"sv), "NEWS");
    EXPECT_EQ(utf16("\0N\0E\0W\0S\0-\0D\0T"sv), "NEWS-DT");
    EXPECT_EQ(utf16("\xD8\x3D\xDC\xFA\xDC\x01\xD8\x3D\0\x07\0A\x42"sv), "📺\uFFFD\uFFFDA\uFFFD");
    EXPECT_EQ(utf16(""), "");
}

}  // namespace
