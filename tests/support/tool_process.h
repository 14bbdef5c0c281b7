// SPDX-License-Identifier: MIT
// The tool as a process of its own, for what a shell cannot time: signals when it has read or
// written so much, and descriptors of any kind in the place of the standard ones.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "await.h"
#include "folder.h"

namespace zvtest {

// Both ends are closed on exec.
struct Pipe {
    Pipe() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        read_end = ends[0];
        write_end = ends[1];
    }
    ~Pipe() {
        close_end(read_end);
        close_end(write_end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    static void close_end(int& fd) {
        if (fd >= 0) close(std::exchange(fd, -1));
    }
    void write_all(const std::string& bytes) const {
        for (size_t done = 0; done < bytes.size();) {
            const ssize_t n = write(write_end, bytes.data() + done, bytes.size() - done);
            if (n < 0) return;
            done += static_cast<size_t>(n);
        }
    }
    std::string read_all() const {
        std::string all;
        char piece[65536];
        for (ssize_t n; (n = read(read_end, piece, sizeof piece)) > 0;)
            all.append(piece, static_cast<size_t>(n));
        return all;
    }
    // -> bytes that are in it
    int fill() const {
        int bytes = 0;
        ioctl(read_end, FIONREAD, &bytes);
        return bytes;
    }

    int read_end = -1;
    int write_end = -1;
};

class ToolProcess {
  public:
    // descriptors: how many it may have at most; 0: as many as the test
    // in, out: what the tool gets as descriptors 0 and 1; negative: /dev/null. Errors are in the
    // file "stderr" of the directory, where the tool runs.
    ToolProcess(const std::string& directory, const std::vector<std::string>& arguments,
                int in = -1, int out = -1, rlim_t descriptors = 0)
        : errors_(std::filesystem::path(directory) / "stderr") {
        std::vector<char*> argv = {const_cast<char*>("zvprobe")};
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        pid_ = fork();
        if (pid_ != 0) return;
        // What tests ignore, or who started them with nohup or in the background of a script, would be
        // inherited.
        for (const int signal : {SIGPIPE, SIGHUP, SIGINT, SIGQUIT})
            std::signal(signal, SIG_DFL);
        const int null = open("/dev/null", O_RDWR);
        dup2(in < 0 ? null : in, STDIN_FILENO);
        dup2(out < 0 ? null : out, STDOUT_FILENO);
        if (chdir(directory.c_str()) == 0) {
            dup2(creat("stderr", 0600), STDERR_FILENO);
            const rlimit limit = {descriptors / 2, descriptors};
            if (descriptors > 0) setrlimit(RLIMIT_NOFILE, &limit);
            execv(ZV_PROBE_BINARY, argv.data());
        }
        _exit(127);
    }
    ~ToolProcess() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    void send(int signal) const { kill(pid_, signal); }

    // -> true once standard error has this word
    bool has_said(const std::string& word) const {
        return read_file(errors_).find(word) != std::string::npos;
    }

    pid_t pid() const { return pid_; }

    // -> bytes that it has read ("rchar") or written ("wchar") so far
    uint64_t counted(const std::string& what) const {
        const std::string text = read_file("/proc/" + std::to_string(pid_) + "/io");
        const size_t at = text.find(what + ": ");
        return at == text.npos ? 0 : std::stoull(text.substr(at + what.size() + 2));
    }

    // -> its exit status, 128 and the signal that ended it, or -1 when it does not end
    int wait() {
        int status = 0;
        if (!await([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) return -1;
        pid_ = 0;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

  private:
    std::filesystem::path errors_;
    pid_t pid_ = 0;
};

}  // namespace zvtest
