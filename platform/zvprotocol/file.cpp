// SPDX-License-Identifier: MIT
// Owns the "file" handler: plain paths, "file:" URLs, and "-" for standard input and output.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "fd_stream.h"
#include "handlers.h"
#include "options.h"

namespace zvptc {
namespace {

struct FileState {
    FdStream stream;
    bool writing;
    bool borrowed;  // standard input or output: not ours to close
};

int openMode(uint32_t flags) noexcept {
    if ((flags & ZVPTC_OPEN_WRITE) == 0) return O_RDONLY;
    return O_WRONLY | ((flags & ZVPTC_OPEN_CREATE) != 0 ? O_CREAT : 0) |
           ((flags & ZVPTC_OPEN_TRUNCATE) != 0 ? O_TRUNC : 0);
}

int openFile(ZvptcUrlContext* context) noexcept {
    const int begun = beginOpen(context, ZVPTC_INDEX_FILE);
    if (begun < 0) return begun;
    const bool writing = (context->open_flags & ZVPTC_OPEN_WRITE) != 0;
    const bool standard = strcmp(context->url, "-") == 0;
    const int standard_fd = writing ? STDOUT_FILENO : STDIN_FILENO;
    UniqueFd fd(standard ? standard_fd
                         : ::open(context->path, openMode(context->open_flags) | O_CLOEXEC, 0666));
    struct stat status {};
    int error = fd.get() < 0 || fstat(fd.get(), &status) < 0 ? errno : 0;
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error != 0) {
        if (standard) fd.release();
        return failure(error);
    }
    createState(
        *context, &kFileHandler,
        FileState{FdStream(std::move(fd), contextTimeout(*context, -1), !S_ISREG(status.st_mode)),
                  writing, standard});
    return 0;
}

int readFile(ZvptcUrlContext* context, uint8_t* buffer, int size) noexcept {
    auto* const state = stateOf<FileState>(context, &kFileHandler);
    if (!state || state->writing) return notOpen(context);
    return state->stream.read(buffer, size);
}

int writeFile(ZvptcUrlContext* context, const uint8_t* buffer, int size) noexcept {
    auto* const state = stateOf<FileState>(context, &kFileHandler);
    if (!state || !state->writing) return notOpen(context);
    return state->stream.write(buffer, size);
}

int closeFile(ZvptcUrlContext* context) noexcept {
    auto* const state = stateOf<FileState>(context, &kFileHandler);
    if (!state) return closeUnopened(context);
    if (state->borrowed) state->stream.release();
    const int result = state->stream.close();
    destroyState(*context, *state);
    return result < 0 ? failure(-result) : 0;
}

}  // namespace

const ZvptcHandler kFileHandler = {"file",    openFile,  readFile,
                                   writeFile, closeFile, ZVPTC_INDEX_FILE};

}  // namespace zvptc
