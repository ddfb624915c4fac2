#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "engine/nor_vane.h"
#include "tests/support/fake_time.h"
#include "tests/support/recording_server.h"

/// A store in memory that can be told to fail.
class FakeStore final : public norvane::IPersistentStore {
  public:
    void SaveState(std::vector<norvane::DisconnectRecord>& new_records,
                   const std::vector<norvane::Operation>& new_operations) override {
        if (save_fault != nullptr) throw std::invalid_argument(save_fault);
        records = new_records;
        operations = new_operations;
    }
    void LoadState(std::vector<norvane::DisconnectRecord>& to_records,
                   std::vector<norvane::Operation>& to_operations) override {
        to_records.insert(to_records.end(), records.begin(), records.end());
        if (load_fault != nullptr) throw std::invalid_argument(load_fault);
        to_operations.insert(to_operations.end(), operations.begin(), operations.end());
    }
    norvane::Ticks CurrentTime() override { return now; }

    std::vector<norvane::DisconnectRecord> records;
    std::vector<norvane::Operation> operations;
    const char* load_fault = nullptr;
    const char* save_fault = nullptr;
    norvane::Ticks now = platform::ticks_of(5'000'000);
};

inline constexpr std::int32_t kConnected = norvane::kConnected;
inline constexpr std::int32_t kDisconnected = norvane::kDisconnected;
inline constexpr norvane::DeviceKey kCamera{7, 3};
inline constexpr norvane::DeviceKey kOtherCamera{7, 12};

/// The engine with a host that writes everything down. Logs are left out until a test asks for them.
class EngineTest : public ::testing::Test {
  protected:
    EngineTest() {
        clock.set_seconds(2'000'000);
        server.keep_logs = false;
        restart();
    }

    /// A new engine over the state that the one before left.
    void restart() {
        engine_.reset();
        (void)server.take();
        engine_ = std::make_unique<norvane::CNorVane>(server, store, clock);
    }
    void shut_down() { engine_.reset(); }
    /// Shuts down and gives the records that were saved as "devices/device/channel@seconds".
    std::string saved_records() {
        shut_down();
        std::ostringstream text;
        for (const auto& [time, key] : store.records)
            text << key.devices_id << "/" << key.device_number << "/" << key.channel << "@"
                 << platform::seconds_of(time) << " ";
        return text.str();
    }
    /// A new engine over these operations in the state file.
    void restart_with(const std::vector<norvane::Operation>& operations) {
        shut_down();
        store.operations = operations;
        restart();
    }

    [[nodiscard]] norvane::CNorVane& engine() { return *engine_; }
    [[nodiscard]] std::string sent() { return server.take(); }

    void support(norvane::DeviceKey device) {
        engine().OnDeviceSupported(static_cast<std::int32_t>(device.devices_id),
                                   static_cast<std::int32_t>(device.number));
    }
    void remove(norvane::DeviceKey device) {
        engine().OnDeviceRemoved(static_cast<std::int32_t>(device.devices_id),
                                 static_cast<std::int32_t>(device.number));
    }
    void report(norvane::DeviceKey device, std::int32_t state, std::int32_t seconds,
                std::uint32_t channel = 0) {
        const norvane::ChannelKey key{
            .channel = channel, .device_number = device.number, .devices_id = device.devices_id};
        engine().OnChannelState(&key, state, nullptr, platform::ticks_of(seconds));
    }
    void lose_and_regain(norvane::DeviceKey device, std::int32_t lost, std::int32_t regained) {
        support(device);
        report(device, kDisconnected, lost);
        report(device, kConnected, regained);
    }
    void fail(int operation, std::int32_t failed_clip_start, std::int32_t error = 17) {
        engine().OnRetrievalFailed(RecordingServer::guid(operation), error,
                                   platform::ticks_of(failed_clip_start));
    }
    void finish(int operation) { engine().OnRetrievalDone(RecordingServer::guid(operation)); }

    FakeClock clock;
    RecordingServer server;
    FakeStore store;

  private:
    std::unique_ptr<norvane::CNorVane> engine_;
};
