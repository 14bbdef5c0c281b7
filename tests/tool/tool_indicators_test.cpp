// SPDX-License-Identifier: MIT
// Which limits and which indicators a user means.
#include <gtest/gtest.h>

#include <array>
#include <bit>

#include "base/numbers.h"
#include "commands/parts/limits_file.h"
#include "support/folder.h"
#include "ts/indicator_choice.h"

namespace {

using namespace zvtest;
using zvprobe::IndicatorChoice;
using zvprobe::limits_from;
using zvprobe::UsageError;

// In the order of the record.
constexpr std::array kNames = {"pat",
                               "pmt",
                               "pid",
                               "pcr-repetition",
                               "pcr-discontinuity",
                               "pcr-accuracy-ns",
                               "pts",
                               "cat",
                               "nit-actual",
                               "nit-other",
                               "bat",
                               "tot",
                               "unreferenced",
                               "sdt-actual",
                               "sdt-other",
                               "eit-actual",
                               "eit-other",
                               "eit-pf",
                               "tdt",
                               "section-distance"};
using Values = std::array<double, kNames.size()>;

Values values_of(const ZvSurveyLimits& limits) {
    return std::bit_cast<Values>(limits);
}

TEST(Limits, EachNameSetsItsOwnMember) {
    for (size_t i = 0; i < kNames.size(); ++i) {
        Values expected = {};
        expected[i] = 1.5;
        EXPECT_EQ(values_of(limits_from("", {std::string(kNames[i]) + "=1.5"})), expected)
            << kNames[i];
    }
}

TEST(Limits, HaveRanges) {
    for (const char* const fits : {"pat=0.001", "pat=86400", "pid=1", "pcr-accuracy-ns=1e9"})
        EXPECT_NO_THROW(limits_from("", {fits})) << fits;
    for (const char* const not_fitting : {"pat=0.0009", "pat=86401", "pid=0.99",
                                          "pcr-accuracy-ns=0.9", "pat=", "pat=1s", "pat=1=2", "=1"})
        EXPECT_THROW(limits_from("", {not_fitting}), UsageError) << not_fitting;
}

TEST(Limits, ComeFromAFileAndTheCommandLineHasTheLastWord) {
    const Folder folder;
    const std::string path = folder.path() + std::string("/limits");
    folder.put("limits", "# ours\npat = 0.7\n\ntdt=20 # seconds\n");
    const ZvSurveyLimits limits = limits_from(path, {"pat=0.6", "pts=1", "pts=2"});
    EXPECT_EQ(limits.pat_s, 0.6);
    EXPECT_EQ(limits.tdt_s, 20);
    EXPECT_EQ(limits.pts_s, 2);
    for (const char* const text :
         {"pat = 0.7\npat = 0.8\n", "pat = nan\n", "pat\n", "[pat]\npat = 1\n", "pat = 1 2\n",
          "pat = [1\n", "a.b = 1\n", "pat =\n"}) {
        folder.put("limits", text);
        EXPECT_THROW(limits_from(path, {}), UsageError) << text;
    }
    folder.put("limits", "#" + std::string(1 << 16, '-'));  // a comment larger than any such file
    EXPECT_THROW(limits_from(path, {}), UsageError);
}

TEST(Choice, HasPrioritiesIdsAndTheirParts) {
    const IndicatorChoice choice("1,2.3,3.4.a");
    for (const char* const id : {"1.1", "1.3.a", "2.3.a", "2.3.b", "3.4.a"})
        EXPECT_TRUE(choice.has(id)) << id;
    for (const char* const id : {"2.1", "3.4.b", "3.10", "3.4"})
        EXPECT_FALSE(choice.has(id)) << id;
    EXPECT_TRUE(IndicatorChoice("3.1").has("3.1.a"));
    EXPECT_FALSE(IndicatorChoice("3.1").has("3.10"));
    EXPECT_FALSE(IndicatorChoice().has("1.1"));
    for (const char* const list : {"", "0", "4", "1,", "1.3.c", "1 ", "3.", "11"})
        EXPECT_THROW(IndicatorChoice{list}, UsageError) << list;
}

}  // namespace
