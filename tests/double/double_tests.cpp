// The double is the ground every handler test stands on; these tests pin down
// what the handler tests rely on.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IVeskOSC_Tendra.h"
#include "support/client_double.h"

namespace {

using namespace std::chrono_literals;

struct Received {
    std::string text;
    std::string ip;
    int status = 0;
    std::thread::id thread;
};

// Callbacks are plain function pointers, so what they see goes to globals.
std::mutex received_mutex;
std::vector<Received> responses;
std::vector<std::vector<std::string>> discoveries;
std::atomic<int> response_delay_ms{0};
std::atomic<bool> callback_running{false};

void record_response(const char* text, const char* ip, int status) {
    callback_running = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(response_delay_ms.load()));
    {
        std::lock_guard<std::mutex> lock(received_mutex);
        responses.push_back({text, ip, status, std::this_thread::get_id()});
    }
    callback_running = false;
}

void record_discovery(const char** entries, int count) {
    std::lock_guard<std::mutex> lock(received_mutex);
    discoveries.emplace_back(entries, entries + count);
}

std::vector<Received> received_responses() {
    std::lock_guard<std::mutex> lock(received_mutex);
    return responses;
}

using CreateFunction = int (*)(OSC_IID, IVeskOSC_Tendra**);
using ReleaseFunction = int (*)(IVeskOSC_Tendra**);

class DoubleTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::lock_guard<std::mutex> lock(received_mutex);
        responses.clear();
        discoveries.clear();
        response_delay_ms = 0;
    }

    void TearDown() override { release(); }

    IVeskOSC_Tendra* create(OSC_IID iid = IID_OSCAPI) {
        auto factory = reinterpret_cast<CreateFunction>(fake.symbol("CreateVeskOscObject"));
        EXPECT_NE(factory, nullptr);
        client = nullptr;
        factory(iid, &client);
        return client;
    }

    void release() {
        if (client == nullptr) return;
        auto release_function =
            reinterpret_cast<ReleaseFunction>(fake.symbol("ReleaseVeskOscObject"));
        release_function(&client);
        EXPECT_EQ(client, nullptr);
    }

    IVeskOSC_Tendra* registered_client() {
        IVeskOSC_Tendra* created = create();
        created->SetOscCallback(&record_response);
        created->SetMdnsCallback(&record_discovery);
        return created;
    }

    ClientDouble fake;
    IVeskOSC_Tendra* client = nullptr;
};

TEST_F(DoubleTest, FactoryAcceptsOnlyTheClientInterfaceId) {
    OSC_IID wrong = IID_OSCAPI;
    wrong.bytes[15] ^= 0x01;
    EXPECT_EQ(create(wrong), nullptr);
    EXPECT_EQ(fake.objects_created(), 0);
    EXPECT_EQ(fake.factory_refusals(), 1);

    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(fake.objects_created(), 1);
    EXPECT_EQ(fake.objects_alive(), 1);
    release();
    EXPECT_EQ(fake.objects_released(), 1);
    EXPECT_EQ(fake.objects_alive(), 0);
}

TEST_F(DoubleTest, FailingFactoryLeavesTheOutputNullUntilCleared) {
    fake.fail_factory(true);
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(create(), nullptr);
    fake.fail_factory(false);
    EXPECT_NE(create(), nullptr);
    EXPECT_EQ(fake.factory_refusals(), 2);
    EXPECT_EQ(fake.objects_created(), 1);
}

TEST_F(DoubleTest, RecordsEveryOperationAsOneLine) {
    IVeskOSC_Tendra* c = create();
    ASSERT_NE(c, nullptr);
    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1920;
    layout.dstHeight = 1080;
    layout.roiNum = 2;
    layout.roiParam[1].dstW = 777;

    const std::vector<std::pair<std::function<void()>, std::string>> cases = {
        {[&] { c->Initialize(); }, "Initialize()"},
        {[&] { c->ScanDevices(); }, "ScanDevices()"},
        {[&] { c->SetOscCallback(&record_response); }, "SetOscCallback(set)"},
        {[&] { c->SetOscCallback(nullptr); }, "SetOscCallback(null)"},
        {[&] { c->SetMdnsCallback(&record_discovery); }, "SetMdnsCallback(set)"},
        {[&] { c->SetMdnsCallback(nullptr); }, "SetMdnsCallback(null)"},
        {[&] { c->GetOptionsAll("10.0.0.5", 8080); }, "GetOptionsAll(10.0.0.5, 8080)"},
        {[&] { c->SetBrightness("10.0.0.5", 40, 8080); }, "SetBrightness(10.0.0.5, 40, 8080)"},
        {[&] { c->SetContrast("a", -3, 1); }, "SetContrast(a, -3, 1)"},
        {[&] { c->SetSaturation("a", 2, 1); }, "SetSaturation(a, 2, 1)"},
        {[&] { c->SetAWB("a", 5000, 1); }, "SetAWB(a, 5000, 1)"},
        {[&] { c->SetAutoAWB("a", 1, 1); }, "SetAutoAWB(a, 1, 1)"},
        {[&] { c->SetSharpness("a", 4, 1); }, "SetSharpness(a, 4, 1)"},
        {[&] { c->SetAntiFlicker("a", 50, 1); }, "SetAntiFlicker(a, 50, 1)"},
        {[&] { c->SetStreamParam("a", 1280, 720, 0, 30, 1); },
         "SetStreamParam(a, 1280, 720, 0, 30, 1)"},
        {[&] { c->SetMainStreamFormat("a", 3840, 1920, 0, 30, 30, 8000, 60, 80); },
         "SetMainStreamFormat(a, 3840, 1920, 0, 30, 30, 8000, 60, 80)"},
        {[&] { c->SetBitrate("a", 9000, 1); }, "SetBitrate(a, 9000, 1)"},
        {[&] { c->SetDhcp("a", 1); }, "SetDhcp(a, 1)"},
        {[&] { c->SetStaticIp("a", "10.0.0.9", "10.0.0.1", "255.255.255.0", 1); },
         "SetStaticIp(a, 10.0.0.9, 10.0.0.1, 255.255.255.0, 1)"},
        {[&] { c->GetAuthEnable("a", 1); }, "GetAuthEnable(a, 1)"},
        {[&] { c->SetAuthEnable("a", true, 1); }, "SetAuthEnable(a, true, 1)"},
        {[&] { c->GetROI("a", 1); }, "GetROI(a, 1)"},
        {[&] { c->SetROI("10.0.0.5", 8080, layout); },
         "SetROI(10.0.0.5, 8080, 3840x1920 -> 1920x1080, 2)"},
        {[&] { c->SetROI_Json("a", "{\"x\": 1}", 1); }, "SetROI_Json(a, {\"x\": 1}, 1)"},
        {[&] { c->Update1220("a", "f.bin", 1); }, "Update1220(a, f.bin, 1)"},
        {[&] { c->Update1230_6127("a", "x", "y", "z", 1); }, "Update1230_6127(a, x, y, z, 1)"},
        {[&] { c->Update1230_4932("a", "x", "y", "z", 1); }, "Update1230_4932(a, x, y, z, 1)"},
        {[&] { c->Update1230_7261("a", "x", "y", "z", 1); }, "Update1230_7261(a, x, y, z, 1)"},
        {[&] { c->UpdateFWAll("a", "f1220", "x", "y", "z", 1); },
         "UpdateFWAll(a, f1220, x, y, z, 1)"},
        {[&] { c->GetFwVer1220ByIp("a", 1); }, "GetFwVer1220ByIp(a, 1)"},
        {[&] { c->GetFwVer1220_1230("a", 1); }, "GetFwVer1220_1230(a, 1)"},
        {[&] { c->GetImrxMode("a", 1); }, "GetImrxMode(a, 1)"},
        {[&] { c->SetImrxMode("a", 3, 1); }, "SetImrxMode(a, 3, 1)"},
        {[&] { c->GetCameraPlacement("a", 1); }, "GetCameraPlacement(a, 1)"},
        {[&] { c->SetCameraPlacement("a", false, 1); }, "SetCameraPlacement(a, false, 1)"},
        {[&] { c->Reboot("a", 1); }, "Reboot(a, 1)"},
        {[&] { c->StartStreaming("a", 1); }, "StartStreaming(a, 1)"},
        {[&] { c->StopStreaming("a", 1); }, "StopStreaming(a, 1)"},
        {[&] { c->GetInfo("a", 1); }, "GetInfo(a, 1)"},
        {[&] { c->GetUpdateProgress("a", 1); }, "GetUpdateProgress(a, 1)"},
        {[&] { c->GetHdr("a", 1); }, "GetHdr(a, 1)"},
        {[&] { c->SetHDRValue("a", 2, 1); }, "SetHDRValue(a, 2, 1)"},
        {[&] { c->GetWdr("a", 1); }, "GetWdr(a, 1)"},
        {[&] { c->SetWDRValue("a", 3, 1); }, "SetWDRValue(a, 3, 1)"},
        {[&] { c->SetTiltShift("a", 7, 1); }, "SetTiltShift(a, 7, 1)"},
        {[&] { c->AstParamRwSave("a", 1); }, "AstParamRwSave(a, 1)"},
        {[&] { c->SetSyslogEnable("a", "10.0.0.2", 514, static_cast<short>(1), 1); },
         "SetSyslogEnable(a, 10.0.0.2, 514, 1, 1)"},
        {[&] { c->EnableGyro("a", 1); }, "EnableGyro(a, 1)"},
        {[&] { c->DisableGyro("a", 1); }, "DisableGyro(a, 1)"},
        {[&] { c->GetQPpreview("a", 1); }, "GetQPpreview(a, 1)"},
        {[&] { c->GetProcessList("a", 1); }, "GetProcessList(a, 1)"},
        {[&] { c->GetAst1230UsbList("a", 1); }, "GetAst1230UsbList(a, 1)"},
        {[&] { c->GetCpuUsage("a", 1); }, "GetCpuUsage(a, 1)"},
        {[&] { c->GetMemoryUsage("a", 1); }, "GetMemoryUsage(a, 1)"},
        {[&] { c->GetGyroAndAccel("a", 1); }, "GetGyroAndAccel(a, 1)"},
        {[&] { c->GetNetSetting("a", 1); }, "GetNetSetting(a, 1)"},
        {[&] { c->GetSyslogEnable("a", 1); }, "GetSyslogEnable(a, 1)"},
        {[&] { c->GetCameraName("a", 1); }, "GetCameraName(a, 1)"},
        {[&] { c->GetCameraState("a", 1); }, "GetCameraState(a, 1)"},
        {[&] { c->GetCaptureStatus("a", 1); }, "GetCaptureStatus(a, 1)"},
        {[&] { c->GetServicePorts("a", 1); }, "GetServicePorts(a, 1)"},
        {[&] { c->SetCameraPorts("a", 80, 443, 554, 1); }, "SetCameraPorts(a, 80, 443, 554, 1)"},
        {[&] { c->SendCmdLine("a", "ps -ef", 1); }, "SendCmdLine(a, ps -ef, 1)"},
        {[&] { c->TakeScreenShot("a", 1); }, "TakeScreenShot(a, 1)"},
    };
    for (const auto& [call, expected] : cases) {
        fake.clear();
        call();
        EXPECT_EQ(fake.calls(), std::vector<std::string>{expected});
    }
    EXPECT_EQ(fake.initialize_calls(), 1);
    EXPECT_FALSE(fake.last_layout().has_value());  // cleared with the log
    c->SetROI("10.0.0.5", 8080, layout);
    auto kept = fake.last_layout();
    ASSERT_TRUE(kept.has_value());
    EXPECT_EQ(std::memcmp(&*kept, &layout, sizeof layout), 0);
}

TEST_F(DoubleTest, LogOutlivesTheObjectUntilReset) {
    create()->GetInfo("10.0.0.5", 8080);
    release();
    EXPECT_EQ(fake.calls(), std::vector<std::string>{"GetInfo(10.0.0.5, 8080)"});
    EXPECT_EQ(fake.objects_released(), 1);
    fake.reset();
    EXPECT_TRUE(fake.calls().empty());
    EXPECT_EQ(fake.objects_created(), 0);
    EXPECT_EQ(fake.objects_released(), 0);
}

TEST_F(DoubleTest, WaitForCallsSeesLinesFromOtherThreadsAndTimesOut) {
    IVeskOSC_Tendra* c = create();
    EXPECT_FALSE(fake.wait_for_calls(1, 20ms));
    std::thread caller([c] {
        std::this_thread::sleep_for(20ms);
        c->Reboot("10.0.0.5", 8080);
    });
    EXPECT_TRUE(fake.wait_for_call("Reboot(10.0.0.5"));
    EXPECT_TRUE(fake.wait_for_calls(1));
    caller.join();
}

TEST_F(DoubleTest, DeliversOnItsOwnThreadWithCopiedStrings) {
    registered_client();
    char text[] = "{\"state\":\"done\"}";
    char ip[] = "10.0.0.5";
    fake.respond(text, ip, 3);
    std::memset(text, 'x', sizeof text - 1);
    std::memset(ip, 'y', sizeof ip - 1);
    ASSERT_TRUE(fake.wait_idle());
    const auto got = received_responses();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].text, "{\"state\":\"done\"}");
    EXPECT_EQ(got[0].ip, "10.0.0.5");
    EXPECT_EQ(got[0].status, 3);
    EXPECT_NE(got[0].thread, std::this_thread::get_id());
    EXPECT_EQ(fake.deliveries_done(), 1);
}

TEST_F(DoubleTest, DeliversInFifoOrder) {
    registered_client();
    for (int i = 0; i < 200; ++i) fake.respond(std::to_string(i), "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    const auto got = received_responses();
    ASSERT_EQ(got.size(), 200u);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(got[static_cast<size_t>(i)].text, std::to_string(i));
}

TEST_F(DoubleTest, WaitIdleReturnsOnlyAfterTheCallbacksReturned) {
    registered_client();
    response_delay_ms = 30;
    for (int i = 0; i < 3; ++i) fake.respond("slow", "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_EQ(received_responses().size(), 3u);
    EXPECT_FALSE(callback_running);

    response_delay_ms = 500;
    fake.respond("slower", "10.0.0.5");
    EXPECT_FALSE(fake.wait_idle(20ms));
    EXPECT_TRUE(fake.wait_idle());
}

TEST_F(DoubleTest, DeliversDiscoveryResults) {
    registered_client();
    fake.discover({"cam,10.0.0.7,80", "10.0.0.8,8080"});
    fake.discover({});
    ASSERT_TRUE(fake.wait_idle());
    std::lock_guard<std::mutex> lock(received_mutex);
    ASSERT_EQ(discoveries.size(), 2u);
    EXPECT_EQ(discoveries[0], (std::vector<std::string>{"cam,10.0.0.7,80", "10.0.0.8,8080"}));
    EXPECT_TRUE(discoveries[1].empty());
}

TEST_F(DoubleTest, DropsDeliveriesWithoutCallbackOrObject) {
    fake.respond("nobody", "10.0.0.5");
    EXPECT_EQ(fake.deliveries_dropped(), 1);

    IVeskOSC_Tendra* c = create();
    fake.respond("unregistered", "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_EQ(fake.deliveries_dropped(), 2);

    c->SetOscCallback(&record_response);
    c->SetOscCallback(nullptr);
    fake.respond("unregistered again", "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_EQ(fake.deliveries_dropped(), 3);
    EXPECT_EQ(fake.deliveries_done(), 0);
    EXPECT_TRUE(received_responses().empty());
}

TEST_F(DoubleTest, ReleaseWaitsForTheRunningCallbackAndDropsTheRest) {
    registered_client();
    response_delay_ms = 200;
    fake.respond("first", "10.0.0.5");
    fake.respond("second", "10.0.0.5");
    while (!callback_running) std::this_thread::yield();
    release();
    EXPECT_FALSE(callback_running);
    EXPECT_EQ(received_responses().size(), 1u);
    EXPECT_EQ(fake.deliveries_dropped(), 1);
    EXPECT_TRUE(fake.wait_idle(0ms));
}

TEST_F(DoubleTest, ResponderScriptsAnswersOnTheDeliveryThread) {
    IVeskOSC_Tendra* c = registered_client();
    std::mutex seen_mutex;
    std::vector<std::string> seen;
    std::atomic<bool> on_caller_thread{false};
    const auto test_thread = std::this_thread::get_id();
    fake.on_call([&](const std::string& line, const std::string& ip, ClientDouble& camera) {
        if (std::this_thread::get_id() == test_thread) on_caller_thread = true;
        {
            std::lock_guard<std::mutex> lock(seen_mutex);
            seen.push_back(line + " @" + ip);
        }
        if (line.rfind("GetOptionsAll(", 0) == 0) camera.respond("{\"options\":{}}", ip);
    });
    c->GetOptionsAll("10.0.0.5", 8080);
    c->ScanDevices();
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_FALSE(on_caller_thread);
    {
        std::lock_guard<std::mutex> lock(seen_mutex);
        EXPECT_EQ(seen, (std::vector<std::string>{"GetOptionsAll(10.0.0.5, 8080) @10.0.0.5",
                                                  "ScanDevices() @"}));
    }
    const auto got = received_responses();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].text, "{\"options\":{}}");
    EXPECT_EQ(got[0].ip, "10.0.0.5");

    fake.on_call(nullptr);
    c->GetOptionsAll("10.0.0.5", 8080);
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_EQ(received_responses().size(), 1u);
}

TEST_F(DoubleTest, ReplacingTheResponderWaitsForTheRunningOne) {
    IVeskOSC_Tendra* c = create();
    std::atomic<bool> started{false};
    std::atomic<bool> finished{false};
    fake.on_call([&](const std::string&, const std::string&, ClientDouble&) {
        started = true;
        std::this_thread::sleep_for(100ms);
        finished = true;
    });
    c->Reboot("10.0.0.5", 8080);
    while (!started) std::this_thread::yield();
    fake.on_call(nullptr);
    EXPECT_TRUE(finished);
}

TEST_F(DoubleTest, RespondGoesToTheNewestObject) {
    IVeskOSC_Tendra* older = create();
    older->SetOscCallback(&record_response);
    IVeskOSC_Tendra* newer = nullptr;
    auto factory = reinterpret_cast<CreateFunction>(fake.symbol("CreateVeskOscObject"));
    factory(IID_OSCAPI, &newer);
    ASSERT_NE(newer, nullptr);
    fake.respond("to newest, which has no callback", "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_TRUE(received_responses().empty());
    EXPECT_EQ(fake.deliveries_dropped(), 1);
    auto release_function = reinterpret_cast<ReleaseFunction>(fake.symbol("ReleaseVeskOscObject"));
    release_function(&newer);
    fake.respond("to the older again", "10.0.0.5");
    ASSERT_TRUE(fake.wait_idle());
    EXPECT_EQ(received_responses().size(), 1u);
}

}  // namespace
