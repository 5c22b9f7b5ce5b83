#include "oscctl_sim_fixture.h"

#include <sys/wait.h>

#include <cstdlib>
#include <iterator>

namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

OscctlRun run_oscctl(const std::vector<std::string>& args, const std::string& environment) {
    const std::string stem = "/tmp/oscctl-test-" + std::to_string(::getpid());
    std::ostringstream command;
    command << environment << " '" << OSCCTL_PROGRAM << "'";
    for (const auto& arg : args) command << " '" << arg << "'";
    command << " >" << stem << ".out 2>" << stem << ".err </dev/null";
    const auto started = std::chrono::steady_clock::now();
    const int raw = std::system(command.str().c_str());
    OscctlRun run;
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = slurp(stem + ".out");
    run.err = slurp(stem + ".err");
    std::remove((stem + ".out").c_str());
    std::remove((stem + ".err").c_str());
    return run;
}
