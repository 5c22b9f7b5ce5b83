// Malformed answers and discovery entries through the live intake: each is
// logged once under the camera's name, changes nothing, and the camera's
// worker goes on sending.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "model/parameter_report.h"
#include "model/roi_report.h"
#include "support/handler_fixture.h"

namespace {

constexpr const char* kIp = "10.0.0.5";

std::string nested(int levels) {
    return std::string(static_cast<std::size_t>(levels), '[') +
           std::string(static_cast<std::size_t>(levels), ']');
}

// What the intake does with an answer of that class.
enum class Outcome {
    Rejected,  // "response from <ip> not handled: <why>" logged once
    Ignored,   // a shape no reader looks for: nothing logged beyond the answer
};

struct BadAnswer {
    const char* name;
    std::string text;
    Outcome outcome;
};

// Test names and failure messages show the case by its name.
void PrintTo(const BadAnswer& c, std::ostream* os) {
    *os << c.name;
}

std::string options(const std::string& members) {
    return R"({"name":"camera.getOptions","state":"done","results":{"options":{)" + members + "}}}";
}

std::vector<BadAnswer> bad_answers() {
    const std::string deep = nested(1000);
    return {
        {"Empty", "", Outcome::Rejected},
        {"Truncated", options(R"("_brightness":)").substr(0, 60), Outcome::Rejected},
        {"TrailingGarbage", R"({"model":"M3VX27164"} trailing)", Outcome::Rejected},
        {"TopLevelArray", "[1,2,3]", Outcome::Ignored},
        {"TopLevelNumber", "42", Outcome::Ignored},
        {"TopLevelString", R"("camera")", Outcome::Ignored},
        {"MistypedOption", options(R"("_brightness":"5")"), Outcome::Rejected},
        {"MistypedDeviceInfo", R"({"model":["M3VX27164"],"serialNumber":7})", Outcome::Ignored},
        {"NumberBeyondDouble", options(R"("_brightness":1e400)"), Outcome::Rejected},
        {"NegativeWhereUnsigned",
         options(
             R"("_roi":{"srcWidth":-1,"srcHeight":1,"dstWidth":1,"dstHeight":1,"roiNum":0,"roiParam":[]})"),
         Outcome::Rejected},
        {"BeyondThirtyTwoBits", options(R"("_brightness":4294967296)"), Outcome::Rejected},
        {"DeepNestingInAnOption", options(R"("_brightness":)" + deep), Outcome::Rejected},
        {"DeepNestingAtTopLevel", deep, Outcome::Ignored},
        {"OversizedGarbage", std::string(10u << 20, 'x'), Outcome::Rejected},
        // The client hands the text over as a C string: it ends at the NUL.
        {"NulInsideString", std::string("{\"model\":\"M3\0VX\"}", 17), Outcome::Rejected},
        {"InvalidUtf8", "{\"model\":\"\xff\xfe\xc3\"}", Outcome::Rejected},
    };
}

class BadAnswers : public HandlerTest, public testing::WithParamInterface<BadAnswer> {
protected:
    static nlohmann::json reports(const CAM_PARAM& record) {
        return {model::parameter_object(record, true), model::roi_object(record)};
    }
};

TEST_P(BadAnswers, LoggedAsTheirClassSaysChangeNothingAndTheWorkerGoesOn) {
    Access::ensure(kIp);
    const nlohmann::json before = reports(*Access::record(kIp));
    events().clear();

    Access::deliver(GetParam().text, kIp, 0);

    std::vector<std::string> problems;
    for (const std::string& line : events().logs()) {
        if (line.rfind(std::string("response from ") + kIp + " not handled: ", 0) == 0) {
            problems.push_back(line);
        }
    }
    EXPECT_EQ(problems.size(), GetParam().outcome == Outcome::Rejected ? 1u : 0u);
    EXPECT_EQ(reports(*Access::record(kIp)), before);
    EXPECT_TRUE(events().results().empty());
    EXPECT_TRUE(events().parameters().empty());

    SetContrast(kIp, 8080, 4);
    EXPECT_TRUE(client().wait_for_call(std::string("SetContrast(") + kIp + ", 4"));
}

INSTANTIATE_TEST_SUITE_P(Classes, BadAnswers, testing::ValuesIn(bad_answers()),
                         [](const testing::TestParamInfo<BadAnswer>& info) {
                             return std::string(info.param.name);
                         });

struct BadDiscovery {
    const char* name;
    std::vector<std::string> entries;
    size_t cameras_added;
    size_t skipped;  // "_on_receive_mdns_result skipped ..." lines
};

// Test names and failure messages show the case by its name.
void PrintTo(const BadDiscovery& c, std::ostream* os) {
    *os << c.name;
}

std::vector<std::string> many_entries(int count, int addresses) {
    std::vector<std::string> entries;
    entries.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        entries.push_back("Cam " + std::to_string(i) + ",10.5.0." +
                          std::to_string(1 + i % addresses) + ",8080");
    }
    return entries;
}

std::vector<BadDiscovery> bad_discoveries() {
    return {
        {"EmptyFields", {",,", ",", ""}, 0, 2},
        {"EmptyPort", {"Cam,10.5.1.1,"}, 0, 1},
        // The entry rules take the field before the port as it is, even empty.
        {"EmptyIp", {"Cam,,8080", ",8080"}, 1, 0},
        {"PortBeyondInt", {"Cam,10.5.1.2,99999999999"}, 0, 1},
        {"PortNotANumber", {"Cam,10.5.1.3,http"}, 0, 1},
        {"NoCommas", {"Cam 10.5.1.4 8080"}, 0, 0},
        {"HundredThousandEntries", many_entries(100000, 50), 50, 0},
    };
}

class BadDiscoveries : public HandlerTest, public testing::WithParamInterface<BadDiscovery> {};

TEST_P(BadDiscoveries, SkippedEntriesAreLoggedAndTheRestStillCount) {
    client().discover(GetParam().entries);
    ASSERT_TRUE(client().wait_idle(std::chrono::seconds(120)));

    size_t skipped = 0;
    for (const std::string& line : events().logs()) {
        if (line.rfind("_on_receive_mdns_result skipped ", 0) == 0) ++skipped;
    }
    EXPECT_EQ(skipped, GetParam().skipped);
    EXPECT_EQ(Access::camera_count(), GetParam().cameras_added);
    EXPECT_EQ(events().device_lists().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Classes, BadDiscoveries, testing::ValuesIn(bad_discoveries()),
                         [](const testing::TestParamInfo<BadDiscovery>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
