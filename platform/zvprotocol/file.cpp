// SPDX-License-Identifier: MIT
// Owns the "file" handler: plain paths, "file:" URLs, and "-" for standard input and output.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "zvprotocol/fd_stream.h"
#include "zvprotocol/handlers.h"
#include "zvprotocol/options.h"

namespace zvptc {
namespace {

constexpr mode_t kFileMode = 0666;  // the process's umask takes its part

struct FileState {
    FdStream stream;
    bool writing;
    bool borrowed;  // standard input or output: not ours to close
};

int open_mode(uint32_t flags) noexcept {
    if ((flags & ZVPTC_OPEN_WRITE) == 0) return O_RDONLY;
    return O_WRONLY | ((flags & ZVPTC_OPEN_CREATE) != 0 ? O_CREAT : 0) |
           ((flags & ZVPTC_OPEN_TRUNCATE) != 0 ? O_TRUNC : 0);
}

int open_file(ZvptcUrlContext* context) noexcept {
    const int begun = begin_open(context, ZVPTC_INDEX_FILE);
    if (begun < 0) return begun;
    const bool writing = (context->open_flags & ZVPTC_OPEN_WRITE) != 0;
    const bool standard = strcmp(context->url, "-") == 0;
    const int standard_fd = writing ? STDOUT_FILENO : STDIN_FILENO;
    const int mode = open_mode(context->open_flags) | O_CLOEXEC;
    UniqueFd fd(standard ? standard_fd : ::open(context->path, mode, kFileMode));
    struct stat status {};
    int error = fd.get() < 0 || fstat(fd.get(), &status) < 0 ? errno : 0;
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error != 0) {
        if (standard) fd.release();
        return failure(error);
    }
    create_state(
        *context, &kFileHandler,
        FileState{FdStream(std::move(fd), context_timeout(*context, -1), !S_ISREG(status.st_mode)),
                  writing, standard});
    return 0;
}

int read_file(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = state_of<FileState>(context, &kFileHandler);
    if (!state || state->writing) return not_open(context);
    return state->stream.read(buffer, size);
}

int write_file(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const state = state_of<FileState>(context, &kFileHandler);
    if (!state || !state->writing) return not_open(context);
    return state->stream.write(buffer, size);
}

int close_file(ZvptcUrlContext* context) noexcept {
    auto* const state = state_of<FileState>(context, &kFileHandler);
    if (!state) return close_unopened(context);
    if (state->borrowed) state->stream.release();
    const int result = state->stream.close();
    destroy_state(*context, *state);
    return result < 0 ? failure(-result) : 0;
}

}  // namespace

const ZvptcHandler kFileHandler = {"file",     open_file,  read_file,
                                   write_file, close_file, ZVPTC_INDEX_FILE};

}  // namespace zvptc
