#include <limits>

#include "tests/engine/engine_test.h"

namespace {

constexpr const char* kAllDone = "status 3 at 2000000\n";

}  // namespace

TEST_F(EngineTest, WholeRetrievalInOrder) {
    lose_and_regain(kCamera, 1'527'847'210, 1'527'847'500);
    (void)sent();
    server.keep_logs = true;
    const auto guid = RecordingServer::guid(0);
    engine().OnStorageInfo(guid, 2);
    EXPECT_EQ(sent(), "info NorVane - requesting disk space reservation of 2 GB for operation " +
                          RecordingServer::guid_text(0) + " device 7 3\nreserve #0 2 GB\n");
    engine().OnReservation(guid, "/tmp/clips", "/video/");
    EXPECT_EQ(sent(),
              "info NorVane - requesting recordings from 7 3 gap start time2018-06-01T10:00:00Z gap end time "
              "2018-06-01T10:05:00Z\n"
              "recordings #0 7/3 1527847200..1527847500 /tmp/clips -> /video/\n");
    engine().OnClipRetrieved(guid, "/tmp/clips/1.mp4", 3, platform::ticks_of(1'527'847'200),
                             platform::ticks_of(1'527'847'260), 5, "door");
    EXPECT_EQ(sent(), "convert #0 7/3 /tmp/clips/1.mp4 'door' 1527847200..1527847260 type 3\n");
    engine().OnRetrievalDone(guid);
    EXPECT_EQ(sent(), "info NorVane - retrieve operation " + RecordingServer::guid_text(0) +
                          " for device 7 3 completed successfully.\n"
                          "release #0\n" +
                          kAllDone + "info NorVane - all operations completed successfully.\n");
}

TEST_F(EngineTest, FailedRetrievalIsFetchedAgainOnceFromTheFailingClip) {
    lose_and_regain(kCamera, 1'000'000, 1'000'300);
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #0 7/3 999990..1000300\n");
    fail(0, 1'000'100);
    EXPECT_EQ(sent(), "release #0\nstorage-info #0 7/3 1000100..1000300\n");
    server.keep_logs = true;
    fail(0, 1'000'200, -5);
    const std::string operation = RecordingServer::guid_text(0);
    EXPECT_EQ(sent(), "error NorVane - retrieve operation " + operation +
                          " for device 7 3 completed with error -5\n"
                          "error NorVane - operation " +
                          operation +
                          " for device 7 3 exceeded the retry limit.\n"
                          "release #0\n" +
                          kAllDone + "info NorVane - all operations completed successfully.\n");
}

TEST_F(EngineTest, FailedClipStartIsTakenAsItComes) {
    lose_and_regain(kCamera, 1'000, 2'000);
    (void)sent();
    server.keep_logs = true;
    fail(0, -1);
    EXPECT_TRUE(sent().ends_with(
        "release #0\n"
        "info NorVane - requesting device storage info for 7 3 from -1 to 1970-01-01T00:33:20Z\n"
        "storage-info #0 7/3 -1..2000\n"));
}

TEST_F(EngineTest, AbsurdAttemptsFromAFileDoNotOverflow) {
    restart_with({{kCamera, RecordingServer::guid(9), 0, 1, std::numeric_limits<std::int32_t>::max()}});
    lose_and_regain(kCamera, 1'000, 2'000);
    shut_down();
    EXPECT_EQ(store.operations[0].attempts, std::numeric_limits<std::int32_t>::min());
}

TEST_F(EngineTest, DisconnectedDevicesWaitForTheirTurn) {
    lose_and_regain(kCamera, 1'000, 2'000);
    lose_and_regain(kOtherCamera, 1'100, 2'100);
    report(kCamera, kDisconnected, 2'200);  // the second one is being fetched now
    (void)sent();
    report(kCamera, kConnected, 2'300);  // a third operation, but the engine is busy
    EXPECT_EQ(sent(), "");
    finish(1);
    EXPECT_EQ(sent(), "release #1\nstorage-info #0 7/3 990..2000\n");
    finish(0);
    EXPECT_EQ(sent(), "release #0\nstorage-info #2 7/3 2190..2300\n");
}

TEST_F(EngineTest, FailureOfALaterOperationSendsTheRequestToTheFirst) {
    lose_and_regain(kCamera, 1'000, 2'000);
    lose_and_regain(kOtherCamera, 1'100, 2'100);
    (void)sent();
    fail(1, 1'500);
    EXPECT_EQ(sent(), "release #1\nstorage-info #0 7/3 990..2000\n");
    finish(0);
    EXPECT_EQ(sent(), "release #0\nstorage-info #1 7/12 1500..2100\n");
}

TEST_F(EngineTest, UnknownOperationsAreLoggedAndChangeNothing) {
    lose_and_regain(kCamera, 1'000, 2'000);
    (void)sent();
    server.keep_logs = true;
    const auto guid = RecordingServer::guid(77);
    const std::string text = RecordingServer::guid_text(77);
    engine().OnStorageInfo(guid, 1);
    engine().OnReservation(guid, "t", "o");
    engine().OnClipRetrieved(guid, "c", 1, 0, 0, 0, "input 1");
    engine().OnRetrievalDone(guid);
    engine().OnRetrievalFailed(guid, 1, 0);
    EXPECT_EQ(sent(), "error NorVane - operation " + text +
                          " not found.\n"
                          "error NorVane - operation " +
                          text +
                          " in disk space response was not found.\n"
                          "info NorVane - done signal for unknown operation.\n"
                          "info NorVane - operation failed received for unknown operation.\n");
    // Known ones are acted on whatever came before.
    server.keep_logs = false;
    engine().OnReservation(RecordingServer::guid(0), "t", "o");
    engine().OnStorageInfo(RecordingServer::guid(0), 7);
    finish(0);
    EXPECT_EQ(sent(),
              std::string("recordings #0 7/3 990..2000 t -> o\nreserve #0 7 GB\nrelease #0\n") + kAllDone);
    lose_and_regain(kCamera, 3'000, 4'000);  // idle once everything is done
    EXPECT_EQ(sent(), "started at 2000000\nstorage-info #1 7/3 2990..4000\n");
}
