// osc-camera-sim as a user starts it: what its flags change, seen over HTTP.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

extern char** environ;

namespace {

using nlohmann::json;
using namespace std::chrono_literals;

// The program on a free port; the port is read from its first line.
class SimProgram {
public:
    explicit SimProgram(std::vector<std::string> flags) {
        std::vector<std::string> args{SIM_PROGRAM, "--port", "0"};
        args.insert(args.end(), flags.begin(), flags.end());
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        int out[2];
        if (pipe(out) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        if (posix_spawn(&pid_, SIM_PROGRAM, &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        output_ = fdopen(out[0], "r");
        char line[256];
        while (pid_ > 0 && output_ && std::fgets(line, sizeof line, output_)) {
            if (std::sscanf(line, "camera 127.0.0.1:%d", &port_) == 1) break;
        }
    }
    ~SimProgram() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        if (output_) std::fclose(output_);
    }
    SimProgram(const SimProgram&) = delete;
    SimProgram& operator=(const SimProgram&) = delete;

    int port() const { return port_; }

private:
    pid_t pid_ = 0;
    FILE* output_ = nullptr;
    int port_ = 0;
};

json post_command(const SimProgram& sim, const json& command, std::chrono::seconds limit = 5s) {
    httplib::Client http("127.0.0.1", sim.port());
    http.set_read_timeout(limit);
    const auto result = http.Post("/osc/commands/execute", command.dump(), "application/json");
    if (!result) return "no answer";
    return json::parse(result->body, nullptr, false).is_discarded() ? json(result->body)
                                                                    : json::parse(result->body);
}

// The model, a module's version and the pace of the update lines are the
// flags'. Every line waits --update-step-ms; an update without its image
// ends with one line saying so.
TEST(SimProgram, FlagsSetTheModelVersionsAndUpdatePace) {
    const json update = {{"name", "camera._update"}, {"parameters", {{"target", "1220"}}}};
    {
        SimProgram sim(
            {"--model", "M3VX27164", "--ast1220", "AST109_20250101", "--update-step-ms", "1"});
        ASSERT_GT(sim.port(), 0);
        const auto info = httplib::Client("127.0.0.1", sim.port()).Get("/osc/info");
        ASSERT_TRUE(info);
        EXPECT_EQ(json::parse(info->body).value("model", ""), "M3VX27164");
        const json versions = post_command(
            sim,
            {{"name", "camera.getOptions"}, {"parameters", {{"optionNames", {"_imrxVersion"}}}}});
        EXPECT_EQ(versions["results"]["options"]["_imrxVersion"]["AST1220"], "AST109_20250101");
        EXPECT_EQ(post_command(sim, update), "[FW update next] update.img not found\n");
    }
    SimProgram slow({"--update-step-ms", "60000"});
    ASSERT_GT(slow.port(), 0);
    EXPECT_EQ(post_command(slow, update, 2s), "no answer");
}

// Every option of the documented table that changes no pacing or identity is
// one the program takes: a misspelt name stops it before it listens.
TEST(SimProgram, TakesEveryDocumentedFaultOption) {
    std::istringstream words(
        "--cameras 1 --ast1235 X --reboot-ms 1 --keep-alive-s 0 --user u --password p "
        "--latency-ms 1 --drop --refuse --malformed --wrong-type --never-answer --server-error "
        "--stall --fail-update hw --omit-state mode --log");
    EXPECT_GT(SimProgram({std::istream_iterator<std::string>(words), {}}).port(), 0);
}

}  // namespace
