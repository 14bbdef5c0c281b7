// SPDX-License-Identifier: MIT
// A signal between two writes of a copying command: what is copied so far gets no final name. No
// shell can time that, so the command runs here, and whoever reads its output sends the signal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "commands.h"
#include "exit_status.h"
#include "flv.h"
#include "interrupt.h"
#include "support/tool_run.h"

namespace {

using namespace zvprobe;

// A pipe with a reader that sends the signal once the command has begun to write.
class InterruptingPipe {
  public:
    InterruptingPipe() : path_(testing::TempDir() + "pipe" + std::to_string(getpid())) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        reader_ = std::thread([this] { read_all(); });
    }
    ~InterruptingPipe() {
        reader_.join();
        std::filesystem::remove(path_);
    }

    const std::string& path() const { return path_; }

  private:
    void read_all() const {
        const int fd = open(path_.c_str(), O_RDONLY);
        char bytes[4096];
        EXPECT_EQ(read(fd, bytes, 1), 1);
        raise(SIGINT);  // to this thread: the command's write is not cut short
        while (read(fd, bytes, sizeof bytes) > 0) {
        }
        close(fd);
    }

    std::string path_;
    std::thread reader_;
};

const std::string kMedia = ZV_TEST_MEDIA "/";

// More than the tool keeps before it writes: the tags of the sample twice.
std::string make_long_flv() {
    const std::string sample = zvtest::read_file(kMedia + "h264-aac.flv");
    const std::string name = testing::TempDir() + "long" + std::to_string(getpid()) + ".flv";
    std::ofstream(name, std::ios::binary)
        << sample << sample.substr(ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE);
    return name;
}

TEST(Interrupt, EndsFlvMetaWithoutAFile) {
    catch_interrupts();
    const std::string in = make_long_flv();
    {
        const InterruptingPipe out;
        EXPECT_EQ(run_command(FlvMetaOptions{{in, out.path()}}, Session()), kExitCannotOpen);
    }
    std::filesystem::remove(in);
}

}  // namespace
