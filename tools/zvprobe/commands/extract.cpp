// SPDX-License-Identifier: MIT
// `extract`: the elementary streams of a transport stream into files. The work is the library's;
// here are the directory, the names that the files get when the source was read to its end, and the
// list of what was written.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "commands/library_tool.h"
#include "io/out_file.h"
#include "io/source.h"
#include "render/text_parts.h"
#include "ts_tools.h"

namespace zvprobe {
namespace {

namespace fs = std::filesystem;

// Files that wait for their names, in a folder of their own inside the directory. Those that do not
// get one are gone with it.
class UnnamedFiles {
  public:
    explicit UnnamedFiles(const fs::path& directory) : directory_(directory) {
        std::string pattern = directory / ".zvprobe.XXXXXX";
        errno = ENOENT;  // of a directory without a name, which the pattern would not show
        if (directory.empty() || mkdtemp(pattern.data()) == nullptr)
            throw OutputError(std::strerror(errno));
        folder_ = pattern;
    }
    ~UnnamedFiles() {
        std::error_code error;
        fs::remove_all(folder_, error);
    }
    UnnamedFiles(const UnnamedFiles&) = delete;
    UnnamedFiles& operator=(const UnnamedFiles&) = delete;

    const char* folder() const { return folder_.c_str(); }

    // -> the paths of the files, now that they have their names. Throws OutputError.
    std::set<fs::path> give_names() const {
        std::set<fs::path> named;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            const fs::path path = directory_ / entry.path().filename();
            give_name(entry.path(), path);
            named.insert(path);
        }
        return named;
    }

  private:
    // What a link leads to is written, not the link, and so are pipes and devices.
    static void give_name(const fs::path& from, const fs::path& to) {
        struct stat status {};
        if (lstat(to.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return copy(from, to);
        if (rename(from.c_str(), to.c_str()) != 0) throw OutputError(std::strerror(errno));
    }

    static void copy(const fs::path& from, const fs::path& to) {
        const auto source = open_source(from);
        OutFile out(to);
        for (auto window = source->next(0); !window.empty(); window = source->next(0))
            out.write(window);
        check_reading(*source);
        out.commit();
    }

    fs::path directory_;
    fs::path folder_;
};

void print_files(const std::set<fs::path>& paths, const TextOptions& options) {
    Columns files;
    files.add({"name", "size"});
    for (const fs::path& path : paths) {
        std::error_code error;
        const std::string size = std::to_string(fs::file_size(path, error)) + " bytes";
        files.add({printable(path.native()), size});
        if (!options.laid_out) std::cout << printable(path.native()) << ": " << size << '\n';
    }
    if (options.laid_out) files.print(std::cout, options.style, "files");
}

int extract(const ExtractOptions& options, const Session& session) {
    std::optional<UnnamedFiles> files;  // made when the source is known to open
    const auto run = [&](int log_level, const char* url) {
        return mpegts_api_tsExtract(log_level, url, files.emplace(options.directory).folder());
    };
    const TextOptions text_options = text_options_for(STDOUT_FILENO, false);
    const int status = run_library_tool({options.source, options.directory, run}, session,
                                        std::cout, text_options);
    if (status == kExitOk) print_files(files->give_names(), text_options);
    return status;
}

}  // namespace

int run_command(const ExtractOptions& options, const Session& session) {
    const bool made = mkdir(options.directory.c_str(), 0777) == 0;
    const int status =
        run_copy({options.source, options.directory}, [&] { return extract(options, session); });
    if (status != kExitOk && made) rmdir(options.directory.c_str());
    return status;
}

}  // namespace zvprobe
