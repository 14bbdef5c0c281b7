// SPDX-License-Identifier: MIT
// `extract`: the elementary streams of a transport stream into files. The work is the library's;
// here are the directory and the list of what was written.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <map>

#include "commands.h"
#include "exit_status.h"
#include "library_tool.h"
#include "text_parts.h"
#include "ts_tools.h"

namespace zvprobe {
namespace {

namespace fs = std::filesystem;

// Name to inode: a file that was written anew has another one.
using Listing = std::map<std::string, ino_t>;

Listing list(const std::string& directory) {
    Listing listing;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode))
            listing[entry.path()] = status.st_ino;
    }
    return listing;
}

void print_new_files(const Listing& before, const Listing& now, const TextOptions& options) {
    Columns files;
    files.add({"name", "size"});
    for (const auto& [path, inode] : now) {
        const auto found = before.find(path);
        if (found != before.end() && found->second == inode) continue;
        std::error_code error;
        const std::string size = std::to_string(fs::file_size(path, error)) + " bytes";
        files.add({printable(path), size});
        if (!options.laid_out) std::cout << printable(path) << ": " << size << '\n';
    }
    if (options.laid_out) files.print(std::cout, options.style, "files");
}

}  // namespace

int run_command(const ExtractOptions& options, const Session& session) {
    const bool made = mkdir(options.directory.c_str(), 0777) == 0;
    const Listing before = list(options.directory);
    const auto extract = [&options](int log_level, const char* url) {
        return mpegts_api_tsExtract(log_level, url, options.directory.c_str());
    };
    const TextOptions text_options = text_options_for(STDOUT_FILENO, false);
    const int status = run_library_tool({options.source, options.directory, extract}, session,
                                        std::cout, text_options);
    if (status == kExitOk)
        print_new_files(before, list(options.directory), text_options);
    else if (made)
        rmdir(options.directory.c_str());
    return status;
}

}  // namespace zvprobe
