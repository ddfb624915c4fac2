#include "tests/engine/engine_test.h"

TEST_F(EngineTest, GapBeginsTenSecondsBeforeTheLossAndEndsAtTheReturn) {
    server.keep_logs = true;
    lose_and_regain(kCamera, 1'000'000, 1'000'300);
    EXPECT_EQ(sent(),
              "info NorVane - operation starting.\n"
              "started at 2000000\n"
              "info NorVane - creating operation id 00000000-0000-0000-0000-000000000000 for device 7 3\n"
              "info NorVane - requesting device storage info for 7 3 from 1970-01-12T13:46:30Z to "
              "1970-01-12T13:51:40Z\n"
              "storage-info #0 7/3 999990..1000300\n");
}

TEST_F(EngineTest, UnsupportedDevicesAreIgnoredFromLossToReturn) {
    report(kCamera, kDisconnected, 1'000);
    support(kCamera);
    report(kCamera, kConnected, 2'000);
    EXPECT_EQ(sent(), "");
}

TEST_F(EngineTest, GapIsOneChannelsFromItsFirstLoss) {
    support(kCamera);
    report(kCamera, kDisconnected, 1'000, 4);
    report(kCamera, kDisconnected, 1'500, 4);
    report(kCamera, kConnected, 2'000, 5);
    EXPECT_EQ(sent(), "");
    report(kCamera, kConnected, 3'000, 4);
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #0 7/3 990..3000\n");
}

TEST_F(EngineTest, StatesThatAreNeitherLossNorReturnDoNothing) {
    support(kCamera);
    report(kCamera, 3, 900);
    report(kCamera, kDisconnected, 1'000);
    report(kCamera, 0, 1'500);
    EXPECT_EQ(sent(), "");
    EXPECT_EQ(saved_records(), "7/3/0@990 ");
}

TEST_F(EngineTest, EachReportOfAConnectedChannelCountsUntilItIsUndone) {
    support(kCamera);
    report(kCamera, kConnected, 1'000);
    report(kCamera, kConnected, 1'001);
    report(kCamera, kDisconnected, 1'002);
    // One loss open, one report of two left.
    EXPECT_EQ(saved_records(), "7/3/0@992 7/3/0@5000000 ");
}

TEST_F(EngineTest, OnlyTheFirstOperationIsAnnouncedAndOnlyItsLossStartsTheNext) {
    lose_and_regain(kCamera, 1'000, 2'000);
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #0 7/3 990..2000\n");
    server.keep_logs = true;
    const std::string second = RecordingServer::guid_text(1) + " for device 7 12\n";
    lose_and_regain(kOtherCamera, 1'100, 2'100);
    EXPECT_EQ(sent(), "info NorVane - creating operation id " + second);
    report(kOtherCamera, kDisconnected, 3'000);
    EXPECT_EQ(sent(), "info NorVane - disconnect during operation " + second);
    report(kOtherCamera, kConnected, 3'100);
    (void)sent();
    report(kCamera, kDisconnected, 3'200);
    EXPECT_EQ(sent(),
              "info NorVane - disconnect during current operation " + RecordingServer::guid_text(0) +
                  " for device 7 3\n"
                  "info NorVane - requesting device storage info for 7 12 from 1970-01-01T00:18:10Z to "
                  "1970-01-01T00:35:00Z\n"
                  "storage-info #1 7/12 1090..2100\n");
}

TEST_F(EngineTest, ReturnAfterAnInterruptionStartsTheOlderOperationFirst) {
    lose_and_regain(kCamera, 1'000, 2'000);
    (void)sent();
    report(kCamera, kDisconnected, 3'000);  // nothing can start: idle again
    EXPECT_EQ(sent(), "");
    report(kCamera, kConnected, 4'000);
    EXPECT_EQ(sent(), "storage-info #0 7/3 990..2000\n");
    finish(0);
    EXPECT_EQ(sent(), "release #0\nstorage-info #1 7/3 2990..4000\n");
}

TEST_F(EngineTest, ConnectedReportWithoutALossStartsNothingEvenWhileIdle) {
    restart_with({{.device = kCamera, .guid = RecordingServer::guid(9), .start_time = 0, .end_time = 1}});
    support(kCamera);
    report(kCamera, kConnected, 1'000);
    EXPECT_EQ(sent(), "");
}

TEST_F(EngineTest, RemovedDeviceIsForgottenStepByStep) {
    support(kCamera);
    report(kCamera, kDisconnected, 1'000, 0);
    support(kOtherCamera);
    report(kOtherCamera, kConnected, 1'000);
    report(kOtherCamera, kDisconnected, 1'100, 4);
    remove(kCamera);                           // not connected: its record of channel 0 goes
    remove(kOtherCamera);                      // its record is of channel 4 and stays
    report(kCamera, kDisconnected, 1'500, 0);  // nobody's any more
    support(kCamera);
    support(kOtherCamera);
    report(kCamera, kConnected, 2'000, 0);
    EXPECT_EQ(sent(), "");
    report(kOtherCamera, kConnected, 2'000, 4);
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #0 7/12 1090..2000\n");
}

TEST_F(EngineTest, RemovalOfAConnectedDeviceKeepsItsRecordsAndOperations) {
    support(kCamera);
    report(kCamera, kDisconnected, 900);
    report(kCamera, kConnected, 1'000, 1);
    (void)sent();
    remove(kCamera);  // takes the connection, not the record of channel 0
    EXPECT_EQ(saved_records(), "7/3/0@890 ");
}
