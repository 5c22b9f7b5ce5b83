// osc-camera-sim as a user starts it: what its flags change, seen over HTTP.
#include <chrono>
#include <string>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "support/sim_program.h"

namespace {

using nlohmann::json;
using namespace std::chrono_literals;

json post_command(const SimProgram& sim, const json& command, std::chrono::seconds limit = 5s) {
    httplib::Client http("127.0.0.1", sim.port());
    http.set_read_timeout(limit);
    const auto result = http.Post("/osc/commands/execute", command.dump(), "application/json");
    if (!result) return "no answer";
    return json::parse(result->body, nullptr, false).is_discarded() ? json(result->body)
                                                                    : json::parse(result->body);
}

// The model, a module's version, the pace of the update lines and the fault
// control route are the flags'. Every line waits --update-step-ms; an update
// without its image ends with one line saying so.
TEST(SimProgram, FlagsSetTheModelVersionsAndUpdatePace) {
    const json update = {{"name", "camera._update"}, {"parameters", {{"target", "1220"}}}};
    {
        SimProgram sim({"--model", "M3VX27164", "--ast1220", "AST109_20250101", "--update-step-ms",
                        "1", "--fault-control"});
        ASSERT_GT(sim.port(), 0);
        const auto info = httplib::Client("127.0.0.1", sim.port()).Get("/osc/info");
        ASSERT_TRUE(info);
        EXPECT_EQ(json::parse(info->body).value("model", ""), "M3VX27164");
        const json versions = post_command(
            sim,
            {{"name", "camera.getOptions"}, {"parameters", {{"optionNames", {"_imrxVersion"}}}}});
        EXPECT_EQ(versions["results"]["options"]["_imrxVersion"]["AST1220"], "AST109_20250101");
        EXPECT_EQ(post_command(sim, update), "[FW update next] update.img not found\n");
        ASSERT_TRUE(sim.set_faults("127.0.0.1", R"({"server_error":true})"));
        EXPECT_EQ(httplib::Client("127.0.0.1", sim.port()).Get("/osc/info")->status, 500);
    }
    SimProgram slow({"--update-step-ms", "60000"});
    ASSERT_GT(slow.port(), 0);
    EXPECT_EQ(post_command(slow, update, 2s), "no answer");
}

}  // namespace
