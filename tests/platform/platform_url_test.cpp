// SPDX-License-Identifier: MIT
// URLs are split into their parts, and the right handler is chosen for each.
#include <gtest/gtest.h>

#include "support/protocol_source.h"

namespace {

using namespace zvtest;

struct Split {
    const char* url;
    const char* scheme;
    int index;
    const char* userinfo;
    const char* host;
    int port;
    const char* path;
    const char* query;
};

TEST(ProtocolUrl, FallsIntoItsParts) {
    const Split cases[] = {
        {"a/b.ts", "file", 0, "", "", 0, "a/b.ts", ""},
        {"/x?y#z", "file", 0, "", "", 0, "/x?y#z", ""},
        {"-", "file", 0, "", "", 0, "-", ""},
        {"c:foo", "file", 0, "", "", 0, "c:foo", ""},
        {"file:a%20b", "file", 0, "", "", 0, "a%20b", ""},
        {"FILE:///a%20b%2Fc%zz%4", "file", 0, "", "", 0, "/a b/c%zz%4", ""},
        {"file://localhost/a", "file", 0, "", "", 0, "/a", ""},
        {"udp://@239.1.1.1:1234", "udp", 2, "", "239.1.1.1", 1234, "", ""},
        {"rtp://10.0.0.1@[ff02::1%lo]:65535?ttl=3", "rtp", 4, "10.0.0.1", "ff02::1%lo", 65535, "",
         "ttl=3"},
        {"tcp://:7/p?q=/a#f", "tcp", 3, "", "", 7, "/p", "q=/a"},
        {"HTTPS://u:p@h.example/x?y", "https", 1, "u:p", "h.example", 443, "/x", "y"},
        {"http://[::1]:8080", "http", 1, "", "::1", 8080, "", ""},
        {"foo://h:1/x", "foo", -1, "", "h", 1, "/x", ""},
    };
    for (const Split& want : cases) {
        ZvptcUrlInfo got;
        memset(&got, 0x55, sizeof got);
        ASSERT_EQ(zvptc_api_urlSplit_urlinfo(&got, want.url), 0) << want.url;
        EXPECT_STREQ(got.scheme, want.scheme) << want.url;
        EXPECT_EQ(got.ptc_index, want.index) << want.url;
        EXPECT_EQ(zvptc_api_getPtcindex(want.url, 0, 0), want.index) << want.url;
        EXPECT_STREQ(got.userinfo, want.userinfo) << want.url;
        EXPECT_STREQ(got.hostname, want.host) << want.url;
        EXPECT_EQ(got.port, want.port) << want.url;
        EXPECT_STREQ(got.path, want.path) << want.url;
        EXPECT_STREQ(got.query, want.query) << want.url;
    }
}

TEST(ProtocolUrl, IsRefusedWithABadHostOrPort) {
    for (const char* url :
         {"", "file:", "udp://h:0", "udp://h:65536", "udp://h:+1", "udp://h:1x", "udp://::1:5",
          "udp://[::1", "udp://[::1]5", "udp://[g::1]:5", "tcp://a b:1", "file:///a%00b"}) {
        ZvptcUrlInfo info{};
        EXPECT_EQ(zvptc_api_urlSplit_urlinfo(&info, url), -EINVAL) << url;
        EXPECT_STREQ(info.hostname, "") << url;
        EXPECT_LT(open_result(url), 0) << url;
    }
}

TEST(ProtocolUrl, IsRefusedWhenTooLongForItsMembers) {
    const auto split = [](const std::string& url) {
        ZvptcUrlContext context{};
        url.copy(context.url, sizeof context.url);  // to the brim, without a NUL
        const int result = zvptc_api_urlSplit_urlctt(&context);
        EXPECT_EQ(context.opened_by, nullptr);
        EXPECT_LT(strnlen(context.hostname, 256), 256U);
        return result;
    };
    EXPECT_EQ(split(std::string(1023, 'x')), 0);
    EXPECT_EQ(split(std::string(1024, 'x')), -ENAMETOOLONG) << "may be the head of a longer one";
    EXPECT_EQ(split("udp://" + std::string(255, 'h') + ":1"), 0);
    EXPECT_EQ(split("udp://" + std::string(256, 'h') + ":1"), -ENAMETOOLONG);
    EXPECT_EQ(split("udp://" + std::string(128, 'u') + "@h:1"), -ENAMETOOLONG);
    ZvptcUrlInfo info;
    EXPECT_EQ(zvptc_api_urlSplit_urlinfo(&info, (std::string(40, 'S') + "://h").c_str()), 0);
    EXPECT_EQ(info.scheme, std::string(31, 's'));
}

TEST(ProtocolRegistry, FindsHandlersBeforeAnyInit) {
    const std::pair<const char*, int> names[] = {{"file", 0}, {"http", 1}, {"HTTPS", 1},
                                                 {"udp", 2},  {"tcp", 3},  {"rtp", 4}};
    for (const auto& [name, index] : names) {
        const ZvptcHandler* const handler = zvptc_api_matchByName(name);
        ASSERT_NE(handler, nullptr) << name;
        EXPECT_EQ(zvptc_api_matchByPtcindex(index)->open, handler->open) << name;
        EXPECT_EQ(handler->close(nullptr), 0);
        EXPECT_EQ(handler->open(nullptr), -EINVAL);
        EXPECT_EQ(handler->read(nullptr, nullptr, 1), -EINVAL);
        ZvptcUrlContext never_opened{};
        EXPECT_EQ(handler->close(&never_opened), 0);
        EXPECT_EQ(handler->read(&never_opened, nullptr, 1), -EBADF);
    }
    for (const char* unknown : {"", "fil", "files"})
        EXPECT_EQ(zvptc_api_matchByName(unknown), nullptr);
    for (const int index : {-1, 5})
        EXPECT_EQ(zvptc_api_matchByPtcindex(index), nullptr);
    EXPECT_EQ(zvptc_api_matchByUrlAndIndex("a.ts", 0), 1);
    EXPECT_EQ(zvptc_api_matchByUrlAndIndex("foo://h", -1), 0);
    EXPECT_EQ(zvptc_api_getPtcindex(nullptr, 0, 0), -1);
}

}  // namespace
