// SPDX-License-Identifier: MIT
// A connection of the endpoint whose other side does not read or write.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "watch/http/http_stream.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class HttpStreamTest : public testing::Test {
  protected:
    HttpStreamTest() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0); }
    ~HttpStreamTest() override {
        close(ends_[0]);
        close(ends_[1]);
    }
    // -> how long it took until the rest of an answer, or of a request, was given up
    Clock::duration until_given_up(bool writes) {
        const auto begin = Clock::now();  // before that of the stream
        zvprobe::HttpStream stream(ends_[0], [this] { return pressed_; });
        std::string bytes(1'000'000, 'x');
        while ((writes ? stream.write(bytes.data(), bytes.size())
                       : stream.read(bytes.data(), bytes.size())) > 0) {
        }
        return Clock::now() - begin;
    }

    int ends_[2];
    bool pressed_ = true;
};

TEST_F(HttpStreamTest, GivesUpAReaderThatDoesNotReadSoonWhenOthersWait) {
    const auto time = until_given_up(true);
    EXPECT_GE(time, 2s);
    EXPECT_LT(time, 4s);
}

TEST_F(HttpStreamTest, GivesUpARequestThatDoesNotComeAtOnceWhenOthersWait) {
    EXPECT_EQ(write(ends_[1], "GET", 3), 3);
    const auto time = until_given_up(false);
    EXPECT_GE(time, 250ms);
    EXPECT_LT(time, 2s);
    pressed_ = false;
    EXPECT_GE(until_given_up(false), 5s);
}

}  // namespace
