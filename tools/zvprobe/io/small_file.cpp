// SPDX-License-Identifier: MIT
// Implementation of small_file.h.
#include "io/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/numbers.h"

namespace zvprobe {
namespace {

class OpenFile {
  public:
    OpenFile(const std::string& path, int flags)
        : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | flags)) {
        if (fd_ < 0) throw UsageError(std::strerror(errno));
    }
    ~OpenFile() { close(fd_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    void require_regular() const {
        struct stat about {};
        if (fstat(fd_, &about) != 0) throw UsageError(std::strerror(errno));
        if (S_ISDIR(about.st_mode)) throw UsageError("is a directory");
        if (!S_ISREG(about.st_mode)) throw UsageError("is no regular file");
    }

    std::string text(size_t most) const {
        std::string all(most + 1, '\0');
        size_t filled = 0;
        while (filled < all.size()) {
            const ssize_t got = read(fd_, all.data() + filled, all.size() - filled);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) throw UsageError(std::strerror(errno));
            if (got == 0) break;
            filled += static_cast<size_t>(got);
        }
        if (filled > most) throw UsageError("is too large for a file of settings");
        all.resize(filled);
        return all;
    }

  private:
    const int fd_;
};

}  // namespace

std::string text_of_file(const std::string& path, size_t most) {
    return OpenFile(path, 0).text(most);
}

std::string text_of_regular_file(const std::string& path, size_t most) {
    const OpenFile file(path, O_NONBLOCK);
    file.require_regular();
    return file.text(most);
}

}  // namespace zvprobe
