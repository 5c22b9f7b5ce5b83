// Splitting, name mapping, checked JSON reads and version generations.
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "responses/encoder_settings.h"
#include "responses/function_names.h"
#include "responses/json_read.h"
#include "responses/module_version.h"
#include "responses/string_split.h"

namespace responses_test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;

struct SplitCase {
    std::string text;
    char separator;
    std::vector<std::string> parts;
};

void PrintTo(const SplitCase& c, std::ostream* os) {
    *os << c.text;
}

class StringSplit : public ::testing::TestWithParam<SplitCase> {};

TEST_P(StringSplit, ReplacesPartsAndCountsThem) {
    std::vector<std::string> parts = {"left", "over"};
    const int count = responses::string_split(GetParam().text, parts, GetParam().separator);
    EXPECT_EQ(parts, GetParam().parts);
    EXPECT_EQ(count, static_cast<int>(GetParam().parts.size()));
}

INSTANTIATE_TEST_SUITE_P(Texts, StringSplit,
                         ::testing::Values(SplitCase{"a;b;c", ';', {"a", "b", "c"}},
                                           SplitCase{"abc", ';', {"abc"}}, SplitCase{"", ';', {""}},
                                           SplitCase{"a;", ';', {"a", ""}},
                                           SplitCase{";a", ';', {"", "a"}},
                                           SplitCase{"a  b", ' ', {"a", "", "b"}},
                                           SplitCase{"4000000,60)", ',', {"4000000", "60)"}}));

struct FailureNameCase {
    const char* func;
    const char* exported;
};

void PrintTo(const FailureNameCase& c, std::ostream* os) {
    *os << c.func;
}

class FailureFunctionName : public ::testing::TestWithParam<FailureNameCase> {};

TEST_P(FailureFunctionName, MapsTheCamerasNameToTheExportedOne) {
    EXPECT_STREQ(responses::failure_function_name(GetParam().func), GetParam().exported);
}

INSTANTIATE_TEST_SUITE_P(
    EveryRow, FailureFunctionName,
    ::testing::Values(
        FailureNameCase{"SetROI", "SetROI"}, FailureNameCase{"Update1220", "Update1220Firmware"},
        FailureNameCase{"Update1230_6127", "Update1230Firmware"},
        FailureNameCase{"Update1230_7261", "Update1230Firmware"},
        FailureNameCase{"Update1230_4932", "Update1230Firmware"},
        FailureNameCase{"SetBrightness", "SetBrightness"},
        FailureNameCase{"SetContrast", "SetContrast"},
        FailureNameCase{"SetSaturation", "SetSaturation"}, FailureNameCase{"SetAWB", "SetAWB"},
        FailureNameCase{"SetAutoAWB", "SetAutoAWB"},
        FailureNameCase{"SetSharpness", "SetSharpness"},
        FailureNameCase{"SetAntiFlicker", "SetAntiFlicker"},
        FailureNameCase{"SetFormat", "SetPreviewFormat"}, FailureNameCase{"SetImrxMode", "SetMode"},
        FailureNameCase{"GetImrxMode", "GetMode"},
        FailureNameCase{"GetFwVer1220_1230", "GetIMRXVersion"},
        FailureNameCase{"GetFwVer1220", "GetIMRXVersion"},
        FailureNameCase{"SetCameraPlacement", "SetVerticalFlip"},
        FailureNameCase{"SetHDR", "SetHDRValue"}, FailureNameCase{"SetWDR", "SetWDRValue"},
        FailureNameCase{"SetTillShift", "SetTiltShift"},
        FailureNameCase{"SetAuthEnable", "EnableAuth"}, FailureNameCase{"GyroEnable", "EnableGyro"},
        FailureNameCase{"DisableGyro", "EnableGyro"},
        FailureNameCase{"SetSyslogEnable", "SetSyslogEnable"},
        FailureNameCase{"SetServicePorts", "SetCameraPorts"},
        FailureNameCase{"TakeSrcScreenShotByIp", "TakeScreenShot"},
        FailureNameCase{"SetTiltShift", ""}, FailureNameCase{"setroi", ""},
        FailureNameCase{"SetROI ", ""}, FailureNameCase{"UploadFile", ""},
        FailureNameCase{"", ""}));

TEST(ReadInt, AcceptsEveryIn32BitValue) {
    EXPECT_EQ(responses::read_int(json(std::numeric_limits<int>::max())),
              std::numeric_limits<int>::max());
    EXPECT_EQ(responses::read_int(json(std::numeric_limits<int>::min())),
              std::numeric_limits<int>::min());
    EXPECT_EQ(responses::read_int(json(40.9)), 40);
    EXPECT_EQ(responses::read_int(json(-0.9)), 0);
    EXPECT_EQ(responses::read_int(json(true)), 1);
}

TEST(ReadInt, RejectsWhatDoesNotFit) {
    for (const char* text : {"2147483648", "-2147483649", "18446744073709551615", "2147483648.0",
                             "-2147483649.5", "1e300", "-1e300"}) {
        EXPECT_THROW(responses::read_int(json::parse(text)), std::out_of_range) << text;
    }
    for (const json& value : {json("1"), json(nullptr), json::array(), json::object()}) {
        EXPECT_THROW(responses::read_int(value), json::type_error) << value;
    }
}

TEST(ReadSmallUnsigned, RangeIsChecked) {
    EXPECT_EQ(responses::read_u16(json(65535)), 65535);
    EXPECT_EQ(responses::read_u16(json(0)), 0);
    EXPECT_EQ(responses::read_u8(json(255.5)), 255);
    EXPECT_THROW(responses::read_u16(json(65536)), std::out_of_range);
    EXPECT_THROW(responses::read_u16(json(-1)), std::out_of_range);
    EXPECT_THROW(responses::read_u16(json(-1.0)), std::out_of_range);
    EXPECT_THROW(responses::read_u8(json(256)), std::out_of_range);
    EXPECT_THROW(responses::read_u8(json(256.0)), std::out_of_range);
    EXPECT_THROW(responses::read_u8(json("1")), json::type_error);
}

TEST(ReadFloat, AcceptsNumbersInFloatRange) {
    EXPECT_FLOAT_EQ(responses::read_float(json(2)), 2.0f);
    EXPECT_FLOAT_EQ(responses::read_float(json(-12.25)), -12.25f);
    EXPECT_THROW(responses::read_float(json(1e39)), std::out_of_range);
    EXPECT_THROW(responses::read_float(json(std::numeric_limits<double>::infinity())),
                 std::out_of_range);
    EXPECT_THROW(responses::read_float(json(std::numeric_limits<double>::quiet_NaN())),
                 std::out_of_range);
    EXPECT_THROW(responses::read_float(json("1.5")), json::type_error);
}

TEST(FindMember, ToleratesNonObjects) {
    EXPECT_EQ(responses::find_member(json::array({1}), "a"), nullptr);
    EXPECT_EQ(responses::find_member(json(3), "a"), nullptr);
    EXPECT_EQ(responses::find_string(json{{"a", 1}}, "a"), nullptr);
    const json doc = {{"a", "x"}};
    ASSERT_NE(responses::find_string(doc, "a"), nullptr);
    EXPECT_EQ(*responses::find_string(doc, "a"), "x");
}

struct GenerationCase {
    const char* version;
    int generation;
};

void PrintTo(const GenerationCase& c, std::ostream* os) {
    *os << c.version;
}

class Generation : public ::testing::TestWithParam<GenerationCase> {};

TEST_P(Generation, ComesFromTheVersionText) {
    EXPECT_EQ(responses::generation_number(GetParam().version), GetParam().generation);
}

INSTANTIATE_TEST_SUITE_P(Versions, Generation,
                         ::testing::Values(GenerationCase{"AST107.2", 7},
                                           GenerationCase{"AST108", 8},
                                           GenerationCase{"xx IMRX_", 12},
                                           GenerationCase{"IMRX_", 12}));

TEST(Generation, UnreadableVersionsThrow) {
    for (const char* version : {"", "AST1", "AST10", "ASTxyz", "AST1-", "imrx_abcd"}) {
        EXPECT_ANY_THROW(responses::generation_number(version)) << version;
    }
    EXPECT_ANY_THROW(responses::version_digits("IMRX_1.0")) << "only the generation knows IMRX_";
}

TEST(RateControl, QpTextWithoutRateControlLeavesItUnknown) {
    EXPECT_FALSE(responses::rate_control_from_qp("qp(20,40);gop").has_value());
    EXPECT_FALSE(responses::rate_control_from_qp("").has_value());
}

TEST(RateControl, QpTextWithRateControl) {
    const auto rate = responses::rate_control_from_qp("rc(4000000,60)");
    ASSERT_TRUE(rate.has_value());
    EXPECT_EQ(rate->bitrate, 4000);
    EXPECT_EQ(rate->gop, 60);
}

TEST(RateControl, BadFieldsThrow) {
    for (const char* qp : {"rc(4000000", "rc(abc,60", "rc(4000000,", "rc(99999999999,60"}) {
        EXPECT_ANY_THROW(responses::rate_control_from_qp(qp)) << qp;
    }
}

}  // namespace
}  // namespace responses_test
