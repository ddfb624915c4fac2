#include "tests/engine/engine_test.h"

TEST_F(EngineTest, StartReadsTheStateAndEmptiesIt) {
    shut_down();
    store.records = {{platform::ticks_of(500), {.device_number = 3, .devices_id = 7}}};
    store.operations = {{kOtherCamera, RecordingServer::guid(9), 0, platform::ticks_of(50), 1}};
    server.keep_logs = true;
    restart();
    EXPECT_EQ(sent(), "info NorVane - reading saved state and loading.\n");
    EXPECT_TRUE(store.records.empty());
    EXPECT_TRUE(store.operations.empty());

    support(kCamera);
    report(kCamera, kConnected, 900);
    // Operations were not empty, so nothing is announced; the saved one's device is not connected.
    EXPECT_EQ(sent(),
              "info NorVane - creating operation id 00000000-0000-0000-0000-000000000000 for device 7 3\n"
              "info NorVane - requesting device storage info for 7 3 from 1970-01-01T00:08:20Z to "
              "1970-01-01T00:15:00Z\n"
              "storage-info #0 7/3 500..900\n");
}

TEST_F(EngineTest, LoadFaultKeepsWhatCameBeforeItAndTheFile) {
    shut_down();
    store.records = {{platform::ticks_of(500), {.device_number = 3, .devices_id = 7}}};
    store.load_fault = "invalid or missing device number";
    server.keep_logs = true;
    restart();
    EXPECT_EQ(sent(),
              "info NorVane - reading saved state and loading.\n"
              "error NorVane - Error 'invalid or missing device number' reading Nor Vane persisted state.\n");
    EXPECT_EQ(store.records.size(), 1U);
    server.keep_logs = false;
    support(kCamera);
    report(kCamera, kConnected, 900);
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #0 7/3 500..900\n");
}

TEST_F(EngineTest, ShutdownCountsConnectedDevicesAsLostFromThen) {
    lose_and_regain(kCamera, 1'000, 2'000);
    report(kOtherCamera, kDisconnected, 2'500);  // not supported
    support(kOtherCamera);
    report(kOtherCamera, kConnected, 3'000, 6);
    report(kOtherCamera, kConnected, 3'001, 6);
    report({9, 1}, kDisconnected, 3'002);
    support({9, 1});
    report({9, 1}, kDisconnected, 3'003, 8);
    EXPECT_EQ(saved_records(), "9/1/8@2993 7/3/0@5000000 7/12/0@5000000 7/12/0@5000000 ");
    ASSERT_EQ(store.operations.size(), 1U);
    EXPECT_EQ(store.operations[0].attempts, 1);
}

TEST_F(EngineTest, SaveFaultIsLoggedAndLeavesTheDestructorQuietly) {
    store.save_fault = "no room";
    server.keep_logs = true;
    shut_down();
    EXPECT_EQ(sent(),
              "info NorVane - saving state and unloading.\n"
              "error NorVane - Error 'no room' writing Nor Vane persisted state.\n");
}

TEST_F(EngineTest, OperationsSurviveARestartInOrder) {
    lose_and_regain(kCamera, 1'000, 2'000);
    lose_and_regain(kOtherCamera, 1'100, 2'100);
    fail(0, 1'500);  // attempts: request, failure, request
    store.now = platform::ticks_of(4'000);
    restart();  // both cameras count as lost from now
    lose_and_regain(kOtherCamera, 5'000, 6'000);
    EXPECT_EQ(sent(), "storage-info #1 7/12 1090..2100\n");
    finish(1);
    EXPECT_EQ(sent(), "release #1\nstorage-info #2 7/12 4000..6000\n");
    lose_and_regain(kCamera, 7'000, 8'000);
    finish(2);
    EXPECT_EQ(sent(), "release #2\nstorage-info #0 7/3 1500..2000\n");
    fail(0, 1'700);  // the fifth attempt is past the limit
    EXPECT_EQ(sent(), "release #0\nstorage-info #3 7/3 4000..8000\n");
}
