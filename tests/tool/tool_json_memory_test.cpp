// SPDX-License-Identifier: MIT
// JSON values where memory runs out: whatever fails, what was made is given back.
#include <gtest/gtest.h>

#include "base/json.h"
#include "support/counted_new.h"

namespace {

using zvprobe::Json;
using zvtest::CountedNew;

std::string nested_text() {
    std::string text = "{";
    for (const char* const list : {"tables", "pids"}) {
        text += (text.size() > 1 ? ",\"" : "\"") + std::string(list) + "\":[";
        for (int i = 0; i < 20; ++i)
            text +=
                (i == 0 ? "{" : ",{") + std::string("\"pid\":1,\"a name that is long\":[{},2]}");
        text += "]";
    }
    return text + "}";
}

void make_and_change(const std::string& text) {
    Json json = Json::parse(text);
    Json more;
    for (const char* const name : {"tables", "pids"})
        more[name] = std::move(json[name]);
    json["more"] = std::move(more);
    (void)zvprobe::json_text(json, -1);
}

// The failure stays for the way out.
TEST(JsonMemory, FailsWithoutEndingTheProcess) {
    const std::string text = nested_text();
    int failures = 0;
    for (long allocations = 0;; ++allocations) {
        const long before = CountedNew::blocks;
        CountedNew::failed = false;
        bool thrown = false;
        CountedNew::until_failure = allocations;
        try {
            make_and_change(text);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        CountedNew::until_failure = -1;
        ASSERT_EQ(CountedNew::blocks, before) << allocations;
        if (!CountedNew::failed) break;
        failures += thrown ? 1 : 0;
    }
    EXPECT_GT(failures, 100);
}

// A survey tells of as many tables.
TEST(JsonMemory, GivesTheLongestListBackWithoutMemory) {
    for (int i = 0; i < 2; ++i) {
        Json json = {{"tables", Json::array()}, {"pids", Json::array()}};
        for (int k = 0; k < 16'384; ++k)
            json["tables"].push_back({{"pid", k}, {"versions", {k, k}}});
        for (int k = 0; k < 8192; ++k)
            json["pids"].push_back({{"pid", k}});
        CountedNew::failed = false;
        CountedNew::until_failure = 0;
        json = nullptr;
        CountedNew::until_failure = -1;
        EXPECT_TRUE(CountedNew::failed);
    }
}

}  // namespace
