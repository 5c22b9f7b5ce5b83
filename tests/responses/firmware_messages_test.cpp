// Firmware-update texts and upload confirmations arrive as plain text.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fake_sink.h"

namespace responses_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FirmwareMessages, UpdateMessageWinsOverLaterMarkers) {
    FakeSink sink;
    const std::string text = "[Fw Update Msg] step 3 of 5 [FW update end]";
    sink.parse(text);
    EXPECT_THAT(sink.progress_reports, ElementsAre(ReportedProgress{text, 0}));
    EXPECT_EQ(sink.camera.update_progress, 0) << "the end rule must not run";
    EXPECT_THAT(sink.events, ElementsAre("progress"));
}

TEST(FirmwareMessages, UpdateMessageAtTheVeryEndIsStillReported) {
    FakeSink sink;
    sink.parse("[Fw Update Msg]");
    EXPECT_THAT(sink.progress_reports, ElementsAre(ReportedProgress{"[Fw Update Msg]", 0}));
}

struct StepFailureCase {
    const char* line;
    const char* message;
};

void PrintTo(const StepFailureCase& c, std::ostream* os) {
    *os << c.line;
}

class StepFailureMessage : public ::testing::TestWithParam<StepFailureCase> {};

TEST_P(StepFailureMessage, IsReportedAsFailedUpdateFirmwareAll) {
    FakeSink sink;
    sink.parse(std::string("[FW update next] ") + GetParam().line);
    EXPECT_THAT(sink.results,
                ElementsAre(ReportedResult{"UpdateFirmwareAll", false, GetParam().message}));
    EXPECT_THAT(sink.progress_reports, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryRow, StepFailureMessage,
    ::testing::Values(StepFailureCase{"update.img not found", "File not found error."},
                      StepFailureCase{"Old Version of HW", "HW version too old."},
                      StepFailureCase{"Wrong camera ast1235 module detected, expected Q07261.",
                                      "ast1235 module mismatched, expected Q07261."},
                      StepFailureCase{
                          "Wrong camera ast1235 module detected, expected Q04932 or Q04937.",
                          "ast1235 module mismatched, expected Q04932 or Q04937."},
                      StepFailureCase{"Upload Failed", "File upload failed."}));

TEST(FirmwareMessages, SeveralStepFailuresAreReportedInTableOrder) {
    FakeSink sink;
    sink.parse("[FW update next] Upload Failed; Old Version of HW; script not found");
    EXPECT_THAT(sink.results,
                ElementsAre(ReportedResult{"UpdateFirmwareAll", false, "File not found error."},
                            ReportedResult{"UpdateFirmwareAll", false, "HW version too old."},
                            ReportedResult{"UpdateFirmwareAll", false, "File upload failed."}));
}

TEST(FirmwareMessages, StepWithoutKnownFailureReportsNothing) {
    FakeSink sink;
    sink.parse("[FW update next] step 2 passed");
    EXPECT_THAT(sink.events, IsEmpty());
}

TEST(FirmwareMessages, StepFailureSearchIsCaseSensitive) {
    FakeSink sink;
    sink.parse("[FW update next] upload failed, NOT FOUND");
    EXPECT_THAT(sink.results, IsEmpty());
}

class TooShortUpdatingLine : public ::testing::TestWithParam<const char*> {};

TEST_P(TooShortUpdatingLine, IsDroppedWithoutLog) {
    FakeSink sink;
    sink.parse(GetParam());
    EXPECT_THAT(sink.events, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(MarkerWithAtMostItsSeparator, TooShortUpdatingLine,
                         ::testing::Values("[FW updating]", "[FW updating] ", "x[FW Updating] "));

TEST(FirmwareMessages, UpdatingLineWithoutUpdateStatusIsOnlyLogged) {
    FakeSink sink;
    sink.parse(R"([FW updating] {"progress": 30})");
    EXPECT_THAT(sink.logs, ElementsAre(R"({"progress": 30})"));
    EXPECT_THAT(sink.progress_reports, IsEmpty());
    EXPECT_EQ(sink.camera.update_progress, 0);
}

std::string updating_line(const std::string& marker, const std::string& status) {
    return marker + R"( {"name":"camera.getOptions","results":{"options":{"_updateStatus":)" +
           status + "}}}";
}

struct UpdateStatusCase {
    const char* status;
    ReportedProgress expected;
};

void PrintTo(const UpdateStatusCase& c, std::ostream* os) {
    *os << c.status;
}

class UpdateStatusLine : public ::testing::TestWithParam<UpdateStatusCase> {};

TEST_P(UpdateStatusLine, StoresProgressAndReportsTargetWithDescription) {
    FakeSink sink;
    sink.parse(updating_line("[FW updating]", GetParam().status));
    EXPECT_EQ(sink.camera.update_progress, GetParam().expected.percent);
    EXPECT_THAT(sink.progress_reports, ElementsAre(GetParam().expected));
    EXPECT_THAT(sink.events, ElementsAre("log", "progress"));
}

INSTANTIATE_TEST_SUITE_P(
    TargetForms, UpdateStatusLine,
    ::testing::Values(
        UpdateStatusCase{R"({"progress":40,"target":2,"description":"writing"})",
                         {"2 : writing", 40}},
        UpdateStatusCase{R"({"progress":55,"target":"AST1220","description":"verify"})",
                         {"AST1220 : verify", 55}},
        UpdateStatusCase{R"({"progress":60,"description":"erase"})", {" : erase", 60}},
        UpdateStatusCase{R"({"progress":61,"target":true,"description":"erase"})",
                         {" : erase", 61}},
        UpdateStatusCase{R"({"progress":62,"target":[1],"description":"erase"})",
                         {" : erase", 62}}));

TEST(FirmwareMessages, CapitalisedUpdatingMarkerIsReadToo) {
    FakeSink sink;
    sink.parse(updating_line("[FW Updating]", R"({"progress":7,"target":1,"description":"d"})"));
    EXPECT_THAT(sink.progress_reports, ElementsAre(ReportedProgress{"1 : d", 7}));
}

class UpdatingLineOfOtherShape : public ::testing::TestWithParam<const char*> {};

TEST_P(UpdatingLineOfOtherShape, IsLoggedAndDropped) {
    FakeSink sink;
    sink.parse(std::string("[FW updating] ") + GetParam());
    EXPECT_THAT(sink.events, ElementsAre("log"));
    EXPECT_EQ(sink.camera.update_progress, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, UpdatingLineOfOtherShape,
    ::testing::Values(R"({"name":"camera.setOptions","results":{"options":{"_updateStatus":{}}}})",
                      R"({"name":"camera.getOptions","results":[{"_updateStatus":{}}]})",
                      R"({"name":"camera.getOptions","results":{"options":"_updateStatus"}})",
                      R"({"name":"camera.getOptions","results":{"_updateStatus":{}}})",
                      R"(["_updateStatus"])"));

TEST(FirmwareMessages, MalformedUpdateStatusJsonThrows) {
    FakeSink sink;
    EXPECT_THROW(sink.parse("[FW updating] {_updateStatus"), nlohmann::json::parse_error);
    EXPECT_THAT(sink.logs, ElementsAre("{_updateStatus"));
}

TEST(FirmwareMessages, UpdateEndSetsFullProgressAndReportsTheWholeText) {
    FakeSink sink;
    sink.camera.update_progress = 40;
    const std::string text = "script: [FW update end] ok";
    sink.parse(text);
    EXPECT_EQ(sink.camera.update_progress, 100);
    EXPECT_THAT(sink.progress_reports, ElementsAre(ReportedProgress{text, 100}));
}

const std::string kConfirmationHead =
    R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": )";
const std::string kConfirmationTail = R"(}},"state": "done"})";

struct UploadCase {
    const char* file;
    bool firmware_image;
};

void PrintTo(const UploadCase& c, std::ostream* os) {
    *os << c.file;
}

class UploadConfirmation : public ::testing::TestWithParam<UploadCase> {};

TEST_P(UploadConfirmation, ExactTextReportsWhetherItWasTheImage) {
    FakeSink sink;
    sink.parse(kConfirmationHead + GetParam().file + kConfirmationTail);
    EXPECT_THAT(sink.uploads, ElementsAre(GetParam().firmware_image));
}

TEST_P(UploadConfirmation, OneSpaceDifferentReportsNothing) {
    FakeSink sink;
    sink.parse(kConfirmationHead + GetParam().file + " " + kConfirmationTail);
    EXPECT_THAT(sink.events, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryFile, UploadConfirmation,
                         ::testing::Values(UploadCase{"update.img", true},
                                           UploadCase{"ast_update_1230_7261.sh", false},
                                           UploadCase{"ast_update_1230_6127.sh", false},
                                           UploadCase{"ast_update_1230_4932.sh", false},
                                           UploadCase{"ast_update.sh", false}));

TEST(FirmwareMessages, UnknownUploadIsNotParsedAsJson) {
    FakeSink sink;
    EXPECT_NO_THROW(sink.parse(kConfirmationHead + "other.bin" + kConfirmationTail));
    EXPECT_THAT(sink.events, IsEmpty());
}

TEST(FirmwareMessages, PlainTextThatIsNoFirmwareMessageFailsAsJson) {
    FakeSink sink;
    EXPECT_THROW(sink.parse("[FW update] done"), nlohmann::json::parse_error);
}

}  // namespace
}  // namespace responses_test
