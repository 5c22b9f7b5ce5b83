// Camera entries and the slots their workers run in.
#include "support/handler_fixture.h"

namespace {

using CameraEntries = HandlerTest;

TEST_F(CameraEntries, SlotsAreHandedOutLowestFreeFirst) {
    Access::ensure("10.0.0.1");
    Access::ensure("10.0.0.2");
    EXPECT_EQ(Access::slot_of("10.0.0.1"), 0);
    EXPECT_EQ(Access::slot_of("10.0.0.2"), 1);
    EXPECT_TRUE(Access::running(0));
    EXPECT_TRUE(Access::running(1));

    ASSERT_TRUE(RemoveCachedDevice("10.0.0.1"));
    EXPECT_FALSE(Access::running(0));
    Access::ensure("10.0.0.3");
    EXPECT_EQ(Access::slot_of("10.0.0.3"), 0);
}

TEST_F(CameraEntries, EverySearchUpdatesTheLastChosenSlot) {
    Access::ensure("10.0.0.1");
    Access::ensure("10.0.0.2");
    EXPECT_EQ(current_operating_idx.load(), 1);
    Access::ensure("10.0.0.1");  // existing camera: still a search
    EXPECT_EQ(current_operating_idx.load(), 2);
}

TEST_F(CameraEntries, PortIsRecordedOnlyWhenTheEntryIsMade) {
    Access::ensure("10.0.0.1", 80);
    Access::ensure("10.0.0.1", 81);
    EXPECT_EQ(Access::record("10.0.0.1")->http_port, 80);
}

TEST_F(CameraEntries, IpTextsAreNeverNormalised) {
    Access::ensure("10.0.0.5");
    Access::ensure("10.0.0.5 ");
    Access::ensure("010.0.0.5");
    EXPECT_EQ(Access::camera_count(), 3u);
}

TEST_F(CameraEntries, FreshRecordHoldsTheDefaults) {
    Access::ensure("10.0.0.1");
    const CAM_PARAM r = *Access::record("10.0.0.1");
    EXPECT_EQ(r.wdr_value, -1);
    EXPECT_EQ(r.hdr_value, -1);
    EXPECT_EQ(r.encode_type, "h264");
    EXPECT_EQ(r.framerate, 30);
    EXPECT_EQ(r.bitrate, 15);
    EXPECT_EQ(r.gop, 60);
    EXPECT_EQ(r.https_port, 443);
    EXPECT_EQ(r.rtsp_port, 554);
    EXPECT_EQ(r.roi_layout.roiNum, 0);
    EXPECT_FALSE(r.got_param || r.oem_version_pending || r.version_query_pending ||
                 r.mode_query_pending);
}

TEST_F(CameraEntries, NinetyNineCamerasIsTheLimit) {
    for (int i = 1; i <= 99; ++i) Access::ensure("10.0.1." + std::to_string(i));
    EXPECT_EQ(Access::camera_count(), 99u);
    EXPECT_EQ(Access::slot_of("10.0.1.99"), 98);
    EXPECT_TRUE(events().logs().empty());

    const std::string limit_line = "_ensure_camera_entry_exits thread id may exceeded 99";
    Access::ensure("10.0.2.1");
    EXPECT_FALSE(Access::record("10.0.2.1").has_value());
    EXPECT_EQ(events().count_log(limit_line), 1u);

    // Every further call logs again, also for a known camera, whose command
    // is still queued; a new camera's command is dropped.
    add_held_camera("10.0.1.5");
    EXPECT_EQ(events().count_log(limit_line), 2u);
    SetBrightness("10.0.1.5", 8080, 7);
    EXPECT_EQ(events().count_log(limit_line), 3u);
    EXPECT_EQ(Access::queued_names("10.0.1.5"), std::vector<std::string>{"SetBrightness"});
    SetBrightness("10.0.2.2", 8080, 7);
    EXPECT_EQ(events().count_log(limit_line), 4u);
    EXPECT_EQ(Access::camera_count(), 99u);
}

TEST_F(CameraEntries, AnEntryMadeByAReportGetsItsWorkerOnTheNextCommand) {
    GetCameraParams("10.0.0.8");  // inserts a record without a slot
    ASSERT_TRUE(Access::record("10.0.0.8").has_value());
    EXPECT_EQ(Access::slot_of("10.0.0.8"), -1);

    answer_everything();
    SetBrightness("10.0.0.8", 8081, 12);
    EXPECT_EQ(Access::slot_of("10.0.0.8"), 0);
    EXPECT_TRUE(client().wait_for_call("SetBrightness(10.0.0.8, 12, 8081)"));
}

}  // namespace
