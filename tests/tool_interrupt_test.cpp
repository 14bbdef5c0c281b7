// SPDX-License-Identifier: MIT
// A signal between two writes of a copying command: what is copied so far gets no final name. No
// shell can time that, so the command runs here, and whoever reads its output sends the signal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>

#include "commands.h"
#include "exit_status.h"
#include "flv.h"
#include "interrupt.h"
#include "support/folder.h"

namespace {

using namespace zvprobe;

// A pipe with a reader that sends the signal once the command has begun to write.
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
        raise(SIGINT);  // to this thread: the command's write is not cut short
        while (read(fd, bytes, sizeof bytes) > 0) {
        }
        close(fd);
    }

    std::string path_;
    std::thread reader_;
};

TEST(Interrupt, EndsFlvMetaWithoutAFile) {
    catch_interrupts();
    const zvtest::Folder folder;
    // The tags of the sample twice: more than the tool keeps before it writes.
    const std::string sample = zvtest::read_file(ZV_TEST_MEDIA "/h264-aac.flv");
    const size_t first_tag = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
    const std::string in = folder.put("long.flv", sample + sample.substr(first_tag));
    const InterruptingPipe out(folder / "pipe");
    EXPECT_EQ(run_command(FlvMetaOptions{{in, out.path()}}, Session()), kExitCannotOpen);
}

}  // namespace
