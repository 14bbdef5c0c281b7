// SPDX-License-Identifier: MIT
// The HTML report as a file: where it goes, and what it never replaces. What is in it a browser tests
// (tests/page/).
#include "support/tool_run.h"

namespace {

using namespace zvtest;

class PageFile : public ToolTest {
  protected:
    const std::string source_ = "'" + media("single.ts") + "'";
};

TEST_F(PageFile, IsWrittenInPlaceOfTheReport) {
    const Outcome outcome = shell("zvprobe --html page.html " + source_);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    const std::string page = folder_.get("page.html");
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>"));
    EXPECT_TRUE(page.ends_with("</html>\n"));
    EXPECT_EQ(page.find("@STYLE"), page.npos) << "every part of it has been put in";
    EXPECT_EQ(shell("zvprobe --html - " + source_).out, page);
    EXPECT_EQ(shell("zvprobe --html page.html " + source_).status, 0) << "a page may be replaced";
}

TEST_F(PageFile, GoesWithJsonThatIsAsWithoutIt) {
    const std::string json = shell("zvprobe --json " + source_).out;
    EXPECT_EQ(shell("zvprobe --json --html page.html " + source_).out, json);
    EXPECT_NE(folder_.get("page.html").find("\"history\":{"), std::string::npos);
    EXPECT_EQ(shell("zvprobe --json --html - " + source_).status, 2) << "both on standard output";
}

TEST_F(PageFile, ReplacesNothingButPages) {
    folder_.put("capture.ts", read_file(media("single.ts")));
    folder_.put("empty", "");
    const Outcome refused = shell("zvprobe --html capture.ts " + source_);
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("capture.ts: cannot be written: it is there already, and no page"),
              refused.err.npos);
    EXPECT_EQ(folder_.get("capture.ts"), read_file(media("single.ts")));
    EXPECT_EQ(shell("zvprobe --html empty " + source_).status, 0);
    EXPECT_EQ(shell("zvprobe --html no/such/folder " + source_).status, 3);
}

TEST_F(PageFile, IsWrittenAlsoWhenASourceFails) {
    const Outcome outcome = shell("zvprobe --strict --html page.html missing " + source_);
    EXPECT_EQ(outcome.status, 3);
    const std::string page = folder_.get("page.html");
    EXPECT_NE(page.find("\"source\":\"missing\""), page.npos);
    EXPECT_NE(page.find("single.ts"), page.npos);
}

}  // namespace
