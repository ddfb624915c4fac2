#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plugin/send_to_host.h"
#include "plugin/sync_layer.h"
#include "tests/support/clips.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_time.h"
#include "tests/support/host_messages.h"
#include "tests/support/recording_view.h"
#include "tests/support/temp_directory.h"
#include "tests/support/time_zone.h"

/// A retrieval is run thousands of times: in memory where the system has a place for that, since a disk takes
/// a hundred times as long.
inline const bool kInMemory = ::access("/dev/shm", W_OK) == 0 && ::setenv("TMPDIR", "/dev/shm", 1) == 0;

/// Whether this thread is inside the module: what a test or its host does is no business of the faults.
inline thread_local bool in_module = false;

class Inside {
  public:
    explicit Inside(bool inside) : before_(std::exchange(in_module, inside)) {}
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() { in_module = before_; }

  private:
    bool before_;
};

/// The host's callback, outside the module again.
inline std::int32_t callback_outside(const void* request, void* reply) {
    const Inside outside(false);
    return FakeHost::callback()(request, reply);
}

/// A whole retrieval of two small clips, from the module's start to its end, on a real disk: a device is lost
/// and found, its gap is asked for, reserved, fetched, converted and done. The state file holds another
/// device's loss.
class Retrieval {
  public:
    Retrieval() : Retrieval({platform::system_files(), no_wait_sleeper(), standing_clock()}) {}
    /// On other files, waits or another clock.
    explicit Retrieval(const platform::System& system) : system_(system) {
        write_file(kState, kOldState);
        for (const std::string clip : {"first", "second"}) {
            write_file(clip + ".mp4",
                       make_clip({.samples = {nal(clip), nal("two"), nal("three")}, .sync = {{1}}}));
        }
        set_host_callback(callback_outside);
    }
    Retrieval(const Retrieval&) = delete;
    Retrieval& operator=(const Retrieval&) = delete;
    ~Retrieval() {
        worker.reset();
        set_host_callback(nullptr);
    }

    void run() {
        if (start()) talk();
        end();
    }
    /// False when the start threw, which leaves no worker.
    bool start() {
        const Inside inside(true);
        try {
            worker = std::make_unique<SyncLayer>(system_);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }
    void talk() {
        reserve();
        convert_first();
        convert_second();
        send(retrieval_done(guid()));
    }
    /// The part of it up to the request for recordings, and the first clip that comes then.
    void reserve() {
        send(about_channel(false, 1'000'010));
        send(about_channel(true, 1'000'300));
        send(about_device("<Storage GUID='" + guid() +
                          "'><Input><Context Number='0' Recordings='2' TotalSize='9' "
                          "OldestStart='1' NewestEnd='2'/></Input></Storage>"));
        send("<Pavo><Storage><Reservation GUID='" + guid() + "' TmpDir='" + directory.path() +
             "/tmp/a' OutDir='" + directory.path() + "/out/'/></Storage></Pavo>");
    }
    void convert_first() { send(clip("first.mp4", kFirstStart)); }
    void convert_second() { send(clip("second.mp4", kFirstStart + 60)); }
    void end() {
        const Inside inside(true);
        worker.reset();
    }

    /// Whether the worker answers.
    [[nodiscard]] bool is_alive() {
        const std::size_t before = host.messages().size();
        send(retrieval_done(kUnknownGuid));
        return host.messages().size() == before + 1 &&
               host.messages().back().text.find("unknown operation") != std::string::npos;
    }
    void send(const std::string& text) {
        const StreamRecord message = host.lend_message(text);
        bool taken = false;
        try {
            const Inside inside(true);
            taken = worker->append(message);
        } catch (const std::bad_alloc&) {
            taken = false;  // the entry point says so, and the buffer stays the host's
        }
        if (!taken) return host.take_back(message.text);
        const Inside inside(true);
        worker->run();
    }

    /// What was logged as an error, one line each.
    [[nodiscard]] std::vector<std::string> errors() {
        std::vector<std::string> lines;
        for (const auto& message : host.messages()) {
            if (message.text.find("level=\"75\"") != std::string::npos) lines.push_back(message.text);
        }
        return lines;
    }
    /// How many messages there were, and the text of all without what differs from run to run.
    [[nodiscard]] std::string story() {
        std::string all = host.lines();
        for (const std::string& own : {guid(), directory.path()}) {
            for (auto at = all.find(own); at != std::string::npos; at = all.find(own))
                all.erase(at, own.size());
        }
        return all;
    }
    /// The recordings that the log says were opened, by the clip's name.
    [[nodiscard]] std::map<std::string, RecordingView> recordings() {
        std::map<std::string, RecordingView> views;
        for (const auto& [name, path] : kRecordings) {
            if (host.lines().find("Opened (and PSI) " + directory.path() + "/" + path) != std::string::npos)
                views.emplace(name, RecordingView(read_file(path), read_file(path + "i")));
        }
        return views;
    }

    /// The old state file or a new one, whole.
    static void expect_whole(const std::string& state) {
        EXPECT_TRUE(state == kOldState || state.ends_with("</Pavo>\n") || state.ends_with("<Pavo/>\n"))
            << state;
    }

    WorkingDirectory directory;
    FakeHost host;
    std::unique_ptr<SyncLayer> worker;

    static constexpr const char* kState = "norvanepi_state.xml";
    static constexpr const char* kOldState =
        "<Pavo><Devices ID='9'><Device Number='1' DisconnectTime='500'/></Devices></Pavo>";
    inline static const std::map<std::string, std::string> kRecordings = {
        {"first", "out/2018/06/22/16/0509-00070380e.ps"}, {"second", "out/2018/06/22/16/0609-00070380e.ps"}};

  private:
    static constexpr int kFirstStart = 1'529'683'509;  // 2018-06-22 16:05:09 UTC

    /// Does not wait. Unlike the InstantSleeper of fake_time.h it allocates nothing.
    class NoWaitSleeper final : public platform::Sleeper {
      public:
        void sleep(std::chrono::milliseconds /*duration*/) override {}
        bool wait_for(std::condition_variable& /*condition*/, std::unique_lock<std::mutex>& /*lock*/,
                      std::chrono::milliseconds /*duration*/, const std::function<bool()>& ready) override {
            return ready();
        }
    };

    std::string clip(const std::string& name, int start) {
        return about_device("<Input><Context><Storage GUID='" + guid() + "' RetrievalStatus='3' FileName='" +
                            (directory / name) + "' Start='" + std::to_string(start) +
                            "'/></Context></Input>");
    }
    /// As the storage-info request had it; one of no operation where none came.
    std::string guid() {
        const std::string lines = host.lines();
        const auto at = lines.find("GUID=\"");
        return at == std::string::npos ? "00000000-0000-0000-0000-000000000000" : lines.substr(at + 6, 36);
    }

    static platform::Sleeper& no_wait_sleeper() {
        static NoWaitSleeper sleeper;
        return sleeper;
    }
    static const platform::Clock& standing_clock() {
        static FakeClock clock;
        clock.set_seconds(1'000'400);
        return clock;
    }

    platform::System system_;
    TimeZone zone_{"UTC0"};
};
