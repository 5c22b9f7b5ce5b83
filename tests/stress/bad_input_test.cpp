// Bad input from every side, one row each: malformed camera answers, broken
// discovery entries and hostile host arguments. Each is logged at most once,
// changes nothing the host can see, and the camera's worker goes on sending.
#include <functional>

#include "support/handler_fixture.h"

namespace {

struct BadInput {
    const char* name;
    std::function<void(DoubleState&)> send;
    size_t lines;  // starting with line_prefix
    const char* line_prefix = "log response from 10.0.0.5 not handled: ";
};

auto answer(std::string text, int status = 0) {
    return [text, status](DoubleState& client) { client.respond(text, kIp, status); };
}
auto discovery(std::vector<std::string> entries) {
    return [entries](DoubleState& client) { client.discover(entries); };
}
std::string options(const std::string& members) {
    return R"({"name":"camera.getOptions","results":{"options":{)" + members + "}}}";
}
std::string sixteen_regions() {
    std::string regions =
        R"({"srcX":1,"srcY":1,"srcW":1,"srcH":1,"dstX":1,"dstY":1,"dstW":1,"dstH":1,"projection":1})";
    for (int i = 1; i < 16; ++i) regions += "," + regions.substr(0, regions.find('}') + 1);
    return regions;
}
const std::string kRegions = sixteen_regions();
const std::string kDeep = std::string(1000, '[') + std::string(1000, ']');

const std::vector<BadInput> kBadInputs = {
    {"Empty", answer(""), 1},
    {"Truncated", answer(options(R"("_brightness":)").substr(0, 60)), 1},
    {"TrailingGarbage", answer(R"({"model":"M3"} trailing)"), 1},
    {"TopLevelArray", answer("[1,2,3]"), 0},
    {"TopLevelString", answer(R"("camera")"), 0},
    {"MistypedOption", answer(options(R"("_brightness":"5")")), 1},
    {"MistypedIdentity", answer(R"({"model":["M3"],"serialNumber":7})"), 0},
    {"NumberBeyondDouble", answer(options(R"("_brightness":1e400)")), 1},
    {"BeyondThirtyTwoBits", answer(options(R"("_brightness":4294967296)")), 1},
    {"BeyondFloat",
     answer(options(R"("_fileFormatPreview":[{"width":1,"height":1,"type":"h264","framerate":1,)"
                    R"("fov":{"max_fovH":1,"max_fovV":1,"h_start_deg":1e39}}])")),
     1},
    {"NegativeWhereUnsigned", answer(options(R"("_roi":{"srcWidth":-1})")), 1},
    {"MoreRegionsThanTheLayoutHolds",
     answer(options(R"("_roi":{"srcWidth":1,"srcHeight":1,"dstWidth":1,"dstHeight":1,"roiNum":99,)"
                    R"("roiParam":[)" +
                    kRegions + "]}")),
     0},
    {"DeepNestingInAnOption", answer(options(R"("_brightness":)" + kDeep)), 1},
    {"DeepNestingAtTopLevel", answer(kDeep), 0},
    {"OversizedGarbage", answer(std::string(10u << 20, 'x')), 1},
    {"InvalidUtf8", answer("{\"model\":\"\xff\xfe\"}"), 1},
    {"StateNotAnObject", answer(R"({"name":"state","state":[1]})"), 0},
    {"CmdlineWithoutFunc", answer(R"({"name":"camera._cmdLine","results":{}})"), 1},
    {"FailureNotJson", answer("timeout", 1), 1},
    {"FailureWithoutReason", answer(R"({"func":"SetAWB"})", 1), 1},
    {"DiscoveryEmptyFields", discovery({",,", ",", ""}), 2,
     "log _on_receive_mdns_result skipped : port is not a number"},
    {"DiscoveryPortBeyondInt", discovery({"Cam,10.5.1.2,99999999999"}), 1,
     "log _on_receive_mdns_result skipped 10.5.1.2: port is not a number"},
    {"DiscoveryHugeEntry", discovery({std::string(1u << 20, ',')}), 1,
     "log _on_receive_mdns_result skipped : port is not a number"},
    // The entry rules take the field before the port as it is, even empty.
    {"DiscoveryEmptyIp", discovery({"Cam,,8083"}), 1, "devices :8083;"},
    // Host side: a null IP cannot name a camera.
    {"NullIpFromTheHost", [](DoubleState&) { SetBrightness(nullptr, 8080, 1); }, 1,
     "log SetBrightness failed: "},
    {"NullTextsFromTheHost", [](DoubleState&) { UpdateFirmwareAll(kIp, kPort, 0, 0, 0, 0); }, 0},
    {"NullLayoutTextFromTheHost", [](DoubleState&) { SetROI_Json(kIp, kPort, nullptr); }, 0},
};

class BadInputs : public HandlerTest, public testing::WithParamInterface<BadInput> {};

TEST_P(BadInputs, AreLoggedAtMostOnceChangeNothingAndTheWorkerGoesOn) {
    Access::ensure(kIp, kPort);
    answer_everything();
    const json before = document();
    events().clear();
    GetParam().send(client());
    ASSERT_TRUE(client().wait_idle());
    size_t problems = 0;
    for (const std::string& line : events().lines()) {
        problems += line.rfind(GetParam().line_prefix, 0) == 0;
        EXPECT_TRUE(line.rfind("log ", 0) == 0 || line.rfind("devices ", 0) == 0) << line;
    }
    EXPECT_EQ(problems, GetParam().lines);
    EXPECT_EQ(document(), before);
    wait_for_marker();
}

INSTANTIATE_TEST_SUITE_P(Classes, BadInputs, testing::ValuesIn(kBadInputs),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
