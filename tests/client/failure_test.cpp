// Transport failures and misbehaving cameras: every request still ends in
// exactly one answer, a failure document with the right reason.
#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

json request_exception(const char* name, const char* func) {
    return {{"name", name}, {"func", func}, {"reason", "Request exception"}};
}

TEST_F(ClientTest, RefusedConnectionIsARequestException) {
    sim->stop();
    const auto start = Clock::now();
    client->SetBrightness(ip(), 5, port());
    client->GetInfo(ip(), port());
    client->GetCameraState(ip(), port());
    const auto answers = Recorder::get().wait_answers(3);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(answers[0].doc(), request_exception("camera.setOptions", "SetBrightness"));
    EXPECT_EQ(answers[1].doc(), request_exception("camera.info", "GetInfo"));
    EXPECT_EQ(answers[2].doc(), request_exception("state", "GetCameraState"));
    for (const Answer& a : answers) {
        EXPECT_NE(a.status, 0);
        EXPECT_EQ(a.ip, ip());
    }
}

TEST_F(ClientTest, RefuseSwitchAndRecovery) {
    oscsim::Faults f;
    f.refuse = true;
    sim->set_faults(f);
    EXPECT_FALSE(sim->listening());
    client->GetHdr(ip(), port());
    EXPECT_EQ(one_answer().doc(), request_exception("camera.getOptions", "GetHdr"));
    sim->set_faults({});
    EXPECT_TRUE(sim->listening());
    client->GetHdr(ip(), port());
    const auto answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].status, 0);
}

TEST_F(ClientTest, DroppedConnectionIsARequestException) {
    oscsim::Faults f;
    f.drop = true;
    sim->set_faults(f);
    client->SetImrxMode(ip(), 2, port());
    EXPECT_EQ(one_answer().doc(), request_exception("camera.setOptions", "SetImrxMode"));
}

TEST_F(ClientTest, SilentCameraTimesOutWithinTheLimit) {
    oscsim::Faults f;
    f.never_answer = true;
    sim->set_faults(f);
    const auto start = Clock::now();
    client->GetFwVer1220_1230(ip(), port());
    const Answer a = one_answer();
    const auto took = Clock::now() - start;
    EXPECT_EQ(a.doc(), request_exception("camera._cmdLine", "GetFwVer1220_1230"));
    EXPECT_GE(took, std::chrono::milliseconds(1000));  // the 1.5 s test limit, give or take
    EXPECT_LT(took, std::chrono::seconds(5));
    sim->set_faults({});
}

TEST_F(ClientTest, ServerErrorIsARequestExceptionEvenWithADocument) {
    oscsim::Faults f;
    f.server_error = true;
    sim->set_faults(f);
    client->SetTiltShift(ip(), 3, port());
    EXPECT_EQ(one_answer().doc(), request_exception("camera.setOptions", "SetTillShift"));
    EXPECT_EQ(sim->snapshot()["options"]["_tiltShift"], 0);
}

TEST_F(ClientTest, MalformedAnswerIsReportedAsInvalid) {
    oscsim::Faults f;
    f.malformed = true;
    sim->set_faults(f);
    client->GetOptionsAll(ip(), port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(a.doc(), (json{{"name", "camera.getOptions"},
                             {"func", "GetOptionsAll"},
                             {"reason", "Invalid answer"}}));
}

TEST_F(ClientTest, WronglyTypedAnswerIsPassedOnAsSent) {
    oscsim::Faults f;
    f.wrong_type = true;
    sim->set_faults(f);
    client->GetWdr(ip(), port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(a.doc()["results"]["options"]["_wdr"], "0");
}

TEST_F(ClientTest, LatencyDelaysButDoesNotFail) {
    oscsim::Faults f;
    f.latency_ms = 200;
    sim->set_faults(f);
    const auto start = Clock::now();
    client->GetCameraName(ip(), port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200));
}

TEST_F(ClientTest, UnknownCommandLineFunctionReportsTheCameraMessage) {
    client->SendCmdLine(ip(), "echo hello", port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(a.doc()["results"]["response"][0], "hello");
}

}  // namespace
}  // namespace osctest
