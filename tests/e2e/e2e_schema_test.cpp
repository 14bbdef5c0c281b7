// SPDX-License-Identifier: MIT
// Everything the tool prints as JSON follows docs/zvprobe.schema.json, and the schema lets nothing
// else through: no member more, none fewer, none of another type.
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <sstream>

#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

class Schema : public ToolTest {
  protected:
    Schema() {
        text_.Parse(read_file(ZV_SCHEMA).c_str());
        EXPECT_FALSE(text_.HasParseError());
    }

    bool accepts(const std::string& output) const {
        static const rapidjson::SchemaDocument schema(text_);
        rapidjson::Document document;
        document.Parse(output.c_str());
        rapidjson::SchemaValidator validator(schema);
        return !document.HasParseError() && document.Accept(validator);
    }

    rapidjson::Document text_;
};

// Each member of each object in turn: gone, of another type, or with a stranger beside it.
template <typename Check>
void for_each_offender(json& whole, json& part, const std::string& path, const Check& check) {
    if (part.is_array() && !part.empty() && path.find("/values") == path.npos)
        for_each_offender(whole, part[0], path + "/0", check);
    if (!part.is_object() || path.find("/values") != path.npos) return;
    part["stranger"] = 1;
    check(whole, path + " with a stranger");
    part.erase("stranger");
    const json kept = part;
    for (const auto& [name, value] : kept.items()) {
        part.erase(name);
        if (name != "statistics" && name != "history") check(whole, path + " without " + name);
        part[name] = json::array({true});
        if (name != "values") check(whole, path + "/" + name + " of another type");
        part[name] = value;
        for_each_offender(whole, part[name], path + "/" + name, check);
    }
}

// The samples as $all, and copies with bytes missing and stray ones added, so that every list has
// something in it.
std::string make_sources() {
    return "all='" + media("") +
           "'*; for f in $all; do { head -c 60000 $f; printf 'stray bytes'; "
           "tail -c +59900 $f | tr a-c d-f | head -c 40000; } > cut.${f##*.}; done; "
           "head -c 752 '" +
           media("three-programs.ts") + "' > cut.few; : > empty; ";
}

TEST_F(Schema, DescribesEveryReport) {
    const Outcome outcome = shell(make_sources() +
                                  "zvprobe --json --history --stats $all cut.* empty missing .; "
                                  "zvprobe --json missing");
    const size_t end = outcome.out.find("\n}\n") + 3;
    EXPECT_TRUE(accepts(outcome.out.substr(0, end))) << outcome.out;
    EXPECT_TRUE(accepts(outcome.out.substr(end))) << outcome.out;
    const json sources = json::parse(outcome.out.substr(0, end))["sources"];
    EXPECT_EQ(sources.size(), 10u + 6 + 3);
    std::istringstream lines(
        shell("zvprobe monitor --json-lines --history '" + media("single.ts") + "'").out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(accepts(line)) << line;
    lines = std::istringstream(
        shell(make_sources() + "zvprobe --json-lines $all cut.* empty missing .").out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(accepts(line)) << line;
}

TEST_F(Schema, RefusesWhatTheToolNeverPrints) {
    json all =
        json::parse(shell(make_sources() + "zvprobe --json --history --stats $all cut.*").out);
    json line = json::parse(shell("zvprobe monitor --json-lines '" + media("single.ts") + "'").out);
    size_t offenders = 0;
    const auto check = [&](const json& whole, const std::string& what) {
        EXPECT_FALSE(accepts(whole.dump())) << what;
        ++offenders;
    };
    for_each_offender(line, line, "", check);
    line = json::parse(shell("zvprobe --json-lines '" + media("h264-aac.flv") + "'").out);
    ASSERT_TRUE(accepts(line.dump()));
    for_each_offender(line, line, "", check);
    for (const json& source : json(all["sources"])) {
        all["sources"] = json::array({source});
        ASSERT_TRUE(accepts(all.dump())) << source;
        for_each_offender(all, all, "", check);
    }
    EXPECT_GT(offenders, 2000u);
    all["sources"][0]["format"] = "flv";
    EXPECT_FALSE(accepts(all.dump())) << "a format with the members of another";
}

}  // namespace
