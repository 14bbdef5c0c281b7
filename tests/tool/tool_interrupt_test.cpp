// SPDX-License-Identifier: MIT
// A signal, or a source that shrinks, in the middle of a copying command: what is copied so far gets
// no final name. No shell can time that, so the command runs here, and the reader of its output
// makes the fault.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iostream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "cli/signals.h"
#include "commands/commands.h"
#include "flv.h"
#include "support/folder.h"

namespace {

using namespace zvprobe;

// A pipe with a reader that makes a signal come once the command has begun to write.
class InterruptingPipe {
  public:
    explicit InterruptingPipe(const std::string& path) : path_(path) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        reader_ = std::thread([this] { read_all(); });
    }
    ~InterruptingPipe() { reader_.join(); }

    const std::string& path() const { return path_; }

  private:
    void read_all() const {
        const int fd = open(path_.c_str(), O_RDONLY);
        char bytes[4096];
        EXPECT_EQ(read(fd, bytes, 1), 1);
        note_interrupt(SIGINT);
        while (read(fd, bytes, sizeof bytes) > 0) {
        }
        close(fd);
    }

    std::string path_;
    std::thread reader_;
};

// Takes what a standard stream gets, and does something when it gets the first of it.
class Listener : public std::streambuf {
  public:
    explicit Listener(std::ostream& stream, std::function<void()> at_first = {})
        : stream_(stream), at_first_(std::move(at_first)), before_(stream.rdbuf(this)) {}
    ~Listener() override { stream_.rdbuf(before_); }

    const std::string& text() const { return text_; }

  private:
    int_type overflow(int_type c) override {
        if (const auto first = std::exchange(at_first_, nullptr)) first();
        text_ += traits_type::to_char_type(c);
        return c;
    }

    std::ostream& stream_;
    std::function<void()> at_first_;
    std::streambuf* before_;
    std::string text_;
};

// The first line of a report, or the first event, comes when most of the file is still to be read.
template <typename Command>
void expect_old_files_only(const Command& command, const std::function<void(std::string)>& fault,
                           const std::string& word) {
    const zvtest::Folder source, out;
    std::string bytes;
    while (bytes.size() < 12'000'000)
        bytes += zvtest::read_file(ZV_TEST_MEDIA "/single.ts");
    const std::string in = source.put("in.ts", bytes);
    out.put("0x101-aac.aac", "old");
    out.put("keep.ts", "old");
    const auto before = out.files();
    forget_interrupts();
    bool at_work = false;
    const auto at_first = [&] {
        if (!std::exchange(at_work, true)) fault(in);
    };
    const Listener errors(std::cerr, at_first);
    const Listener report(std::cout, at_first);
    EXPECT_EQ(command(in, out), kExitCannotOpen);
    EXPECT_NE(errors.text().find(word), std::string::npos) << errors.text();
    EXPECT_EQ(out.files(), before);
}

int run_extract(const std::string& in, const zvtest::Folder& out) {
    Session session;
    session.verbosity = 1;
    return run_command(ExtractOptions{in, out.path()}, session);
}

int run_rtp(const std::string& in, const zvtest::Folder& out) {
    return run_command(RtpOptions{in, out / "keep.ts"}, Session());
}

TEST(CutShort, ByAShrinkingSourceExtractAndRtpNameNothing) {
    const auto shrink = [](const std::string& in) { std::filesystem::resize_file(in, 2'000'000); };
    expect_old_files_only(run_extract, shrink, "became shorter");
    expect_old_files_only(run_rtp, shrink, "became shorter");
}

TEST(CutShort, ByASignalExtractAndRtpNameNothing) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto interrupt = [signal](const std::string&) { note_interrupt(signal); };
        expect_old_files_only(run_extract, interrupt, "interrupted, nothing is written");
        expect_old_files_only(run_rtp, interrupt, "interrupted, nothing is written");
    }
}

TEST(Interrupt, EndsFlvMetaWithoutAFile) {
    forget_interrupts();
    const zvtest::Folder folder;
    // The tags of the sample twice: more than the tool keeps before it writes.
    const std::string sample = zvtest::read_file(ZV_TEST_MEDIA "/h264-aac.flv");
    const size_t first_tag = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
    const std::string in = folder.put("long.flv", sample + sample.substr(first_tag));
    const InterruptingPipe out(folder / "pipe");
    EXPECT_EQ(run_command(FlvMetaOptions{{in, out.path()}}, Session()), kExitCannotOpen);
}

// In the moment between a look for signals and a wait a signal must not get lost.
TEST(Signals, InterruptWaitsThatBeginAfterThem) {
    forget_interrupts();
    catch_signals();
    raise(SIGTERM);
    EXPECT_EQ(interrupting_signal(), SIGTERM);
    int silent[2];
    ASSERT_EQ(pipe(silent), 0);
    for (int i = 0; i < 3; ++i) {
        pollfd wait = {silent[0], POLLIN, 0};
        errno = 0;
        EXPECT_EQ(poll(&wait, 1, 10'000), -1);
        EXPECT_EQ(errno, EINTR);
    }
    for (const int end : silent)
        close(end);
    forget_interrupts();
}

}  // namespace
