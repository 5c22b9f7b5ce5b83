#include "child_process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench {

ChildProcess::ChildProcess(const std::vector<std::string>& args) {
    int fds[2];
    if (args.empty() || pipe(fds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    if (posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out_ = fdopen(fds[0], "r");
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        wait();
    }
    if (out_ != nullptr) std::fclose(out_);
}

bool ChildProcess::read_line(std::string& line) {
    line.clear();
    if (out_ == nullptr) return false;
    int c = 0;
    while ((c = std::fgetc(out_)) != EOF && c != '\n') line.push_back(static_cast<char>(c));
    return c != EOF || !line.empty();
}

void ChildProcess::wait() {
    if (pid_ <= 0) return;
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
}

std::string own_executable() {
    char self[4096] = {};
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    return n > 0 ? std::string(self, static_cast<std::size_t>(n)) : std::string();
}

}  // namespace bench
