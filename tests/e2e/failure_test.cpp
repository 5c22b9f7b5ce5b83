// A camera that stops answering mid-conversation: the host is told, the
// camera's queued commands are dropped, and the other cameras of the same
// handler carry on.
#include <thread>

#include "e2e_fixture.h"
#include "setter_sequence.h"

namespace e2e {
namespace {

class DeadCamera : public EndToEndTest {};

TEST_F(DeadCamera, IsReportedDroppedAndDoesNotHoldUpOthers) {
    auto& dead = start_camera(61);
    auto& alive = start_camera(62);
    const std::string dead_ip = dead.host();
    const std::string alive_ip = alive.host();
    ASSERT_TRUE(refresh_settings(dead).at("got_param").get<bool>());
    // The refresh ends with the stream start; the camera dies after it.
    ASSERT_TRUE(wait_result(dead_ip, "StartStreaming").ok);

    oscsim::Faults refuse;
    refuse.refuse = true;
    dead.set_faults(refuse);
    for (const auto& s : setter_sequence()) {
        s.set(dead_ip.c_str(), dead.port(), s.value);
        s.set(alive_ip.c_str(), alive.port(), s.value);
    }

    const CommandResult failure = wait_result(dead_ip, "SetBrightness");
    EXPECT_FALSE(failure.ok);
    EXPECT_EQ(failure.message, "Request exception");
    const std::string skip_line = dead_ip + "skip all commands.";
    EXPECT_TRUE(wait_for([&] {
        for (const auto& line : events().logs()) {
            if (line.size() >= skip_line.size() &&
                line.compare(line.size() - skip_line.size(), skip_line.size(), skip_line) == 0)
                return true;
        }
        return false;
    })) << "the dead camera's queue was not dropped";

    // The other camera got every command, in order, and confirmed each.
    std::vector<std::string> expected;
    for (const auto& s : setter_sequence()) {
        SCOPED_TRACE(s.command);
        const CommandResult result = wait_result(alive_ip, s.command);
        EXPECT_TRUE(result.ok) << result.message;
        expected.push_back(s.option);
    }
    EXPECT_EQ(options_set(alive), expected);

    // Dropped commands never come back: only the first failure was reported.
    dead.set_faults({});
    std::this_thread::sleep_for(300ms);
    size_t dead_failures = 0;
    for (const auto& r : events().results()) dead_failures += r.ip == dead_ip && !r.ok ? 1 : 0;
    EXPECT_EQ(dead_failures, 1u);
    EXPECT_TRUE(options_set(dead).empty());

    // The camera no longer counts as having delivered its parameters.
    GetCameraParams(dead_ip.c_str());
    const auto docs = parameters_of(dead_ip);
    ASSERT_FALSE(docs.empty());
    EXPECT_FALSE(docs.back().at("got_param").get<bool>());

    // Back in service, the camera takes new commands again.
    SetBrightness(dead_ip.c_str(), dead.port(), 90);
    EXPECT_TRUE(wait_for([&] {
        const auto results = results_of(dead_ip, "SetBrightness");
        return results.size() == 2 && results.back().ok;
    })) << "the revived camera got no new command through";
    EXPECT_EQ(dead.snapshot().at("options").at("_brightness"), 90);
}

}  // namespace
}  // namespace e2e
