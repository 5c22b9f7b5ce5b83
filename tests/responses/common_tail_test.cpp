// What runs after every answer: the pending version report, else the
// parameter document for a complete options reply.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_sink.h"

namespace responses_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kCompleteReply =
    R"({"name":"camera.getOptions","results":{"options":{
        "_imrxVersion":{"AST1220":"AST109.4","AST1235":"Q07261-3"}}}})";

TEST(CommonTail, PendingVersionQueryIsAnsweredInsteadOfTheParameterDocument) {
    FakeSink sink;
    sink.camera.version_query_pending = true;
    sink.parse(kCompleteReply);
    EXPECT_THAT(sink.results, ElementsAre(ReportedResult{
                                  "GetIMRXVersion", true,
                                  R"({"ast1220_ver":"AST109.4","ast1230_ver":"Q07261-3"})"}));
    EXPECT_FALSE(sink.camera.version_query_pending);
    EXPECT_FALSE(sink.camera.got_param);
    EXPECT_EQ(sink.parameter_notifications, 0);
}

TEST(CommonTail, NextCompleteReplySendsTheParameterDocumentAgain) {
    FakeSink sink;
    sink.camera.version_query_pending = true;
    sink.parse(kCompleteReply);
    sink.parse(kCompleteReply);
    EXPECT_EQ(sink.results.size(), 1u);
    EXPECT_EQ(sink.parameter_notifications, 1);
}

TEST(CommonTail, VersionQueryWaitsForParameters) {
    FakeSink sink;
    sink.camera.version_query_pending = true;
    sink.parse(R"({"name":"reboot","state":"done"})");
    EXPECT_THAT(sink.results, IsEmpty());
    EXPECT_TRUE(sink.camera.version_query_pending);
}

TEST(CommonTail, RunsAfterFirmwareTextsToo) {
    FakeSink sink;
    sink.camera.version_query_pending = true;
    sink.camera.got_param = true;
    sink.camera.ast1220_ver = "A";
    sink.parse("[FW update end]");
    EXPECT_THAT(sink.events, ElementsAre("progress", "result GetIMRXVersion"));
    EXPECT_EQ(sink.results.at(0).text, R"({"ast1220_ver":"A","ast1230_ver":""})");
}

TEST(CommonTail, VersionTextsAreEscapedAsJson) {
    FakeSink sink;
    sink.camera.version_query_pending = true;
    sink.camera.got_param = true;
    sink.camera.ast1220_ver = "v\"1\\";
    sink.parse(R"({"name":"other"})");
    EXPECT_EQ(sink.results.at(0).text, R"({"ast1220_ver":"v\"1\\","ast1230_ver":""})");
}

TEST(CommonTail, ParametersKnownEarlierDoNotNotifyOnOtherAnswers) {
    FakeSink sink;
    sink.camera.got_param = true;
    sink.parse(R"({"name":"camera.setOptions","func":"SetWDR"})");
    sink.parse("[Fw Update Msg] x");
    EXPECT_EQ(sink.parameter_notifications, 0);
}

TEST(CommonTail, DeviceInformationReplyWithVersionsDoesNotCountAsComplete) {
    FakeSink sink;
    sink.camera.got_param = true;
    sink.parse(R"({"serialNumber":"S","name":"camera.getOptions","results":{"options":{
                   "_imrxVersion":{"AST1235":"Q"}}}})");
    EXPECT_EQ(sink.camera.ast1230_ver, "");
    EXPECT_EQ(sink.parameter_notifications, 0);
}

}  // namespace
}  // namespace responses_test
