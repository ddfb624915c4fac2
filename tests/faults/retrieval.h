#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
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
#include "tests/support/parsed_recording.h"
#include "tests/support/temp_directory.h"
#include "tests/support/time_zone.h"

/// Retrievals run thousands of times. They use memory for their files if the system allows it: a disk takes a
/// hundred times as long.
inline const bool kInMemory = ::access("/dev/shm", W_OK) == 0 && ::setenv("TMPDIR", "/dev/shm", 1) == 0;

/// True while this thread runs code of the module. Faults apply only there, not to the test or its host.
inline thread_local bool in_module = false;

class ModuleScope {
  public:
    explicit ModuleScope(bool inside) : before_(std::exchange(in_module, inside)) {}
    ModuleScope(const ModuleScope&) = delete;
    ModuleScope& operator=(const ModuleScope&) = delete;
    ~ModuleScope() { in_module = before_; }

  private:
    bool before_;
};

/// The host's callback. Its code is outside the module.
inline std::int32_t callback_outside(const void* request, void* reply) {
    const ModuleScope outside(false);
    return FakeHost::callback()(request, reply);
}

/// A whole retrieval of two small clips with real files, from the module's start to its end: a device
/// disconnects and returns, the module requests clips for the gap, converts them and finishes. The state file
/// contains the disconnect of another device.
class Retrieval {
  public:
    explicit Retrieval(const norvane::Options& options = {})
        : Retrieval({platform::system_files(), instant_sleeper(), clock()}, options) {
        clock().set_seconds(1'000'400);
    }
    /// With other files, another sleeper or another clock.
    explicit Retrieval(const platform::System& system, const norvane::Options& options = {})
        : system_(system), options_(options) {
        write_files();
        set_host_callback(callback_outside);
    }
    /// The state file and the clips.
    static void write_files() {
        write_file(kState, kOldState);
        for (const std::string clip : {"first", "second"}) {
            write_file(clip + ".mp4",
                       make_clip({.samples = {nal(clip), nal("two"), nal("three")},
                                  .sync = {{1}},
                                  .sets = AvcSets{.sequence = {kSequenceSet}, .picture = {kPictureSet}}}));
        }
    }
    Retrieval(const Retrieval&) = delete;
    Retrieval& operator=(const Retrieval&) = delete;
    ~Retrieval() {
        worker.reset();
        set_host_callback(nullptr);
    }

    void run() {
        if (start()) send_all();
        end();
    }
    /// False if the start threw an exception; no worker exists then.
    bool start() {
        const ModuleScope inside(true);
        try {
            worker = std::make_unique<SyncLayer>(system_, options_);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }
    void send_all() {
        reserve();
        convert_first();
        convert_second();
        send(retrieval_done(guid()));
    }
    /// The messages up to the request for recordings.
    void reserve() {
        send(about_channel(false, 1'000'010));
        send(about_channel(true, 1'000'300));
        send(host_kit::storage_info_document(kCamera, guid(), {2, 9, 1, 2}));
        send(host_kit::reservation_document(guid(), directory / "tmp/a", directory / "out/"));
    }
    void convert_first() { convert("first.mp4", kFirstStart); }
    void convert_second() { convert("second.mp4", kFirstStart + 60); }
    void end() {
        const ModuleScope inside(true);
        worker.reset();
    }

    /// True if the worker answers.
    [[nodiscard]] bool responds() {
        {
            const ModuleScope inside(true);
            worker->run();  // sends what a failed pass could not
        }
        const std::size_t before = host.messages().size();
        send(retrieval_done(kUnknownGuid));
        const auto messages = host.messages();
        return messages.size() > before &&
               messages[before].text.find("unknown operation") != std::string::npos;
    }
    /// A second after the last message, so that the journal is written after each.
    void send(const std::string& text) {
        clock().set(clock().now() + platform::kTicksPerSecond);
        const StreamRecord message = host.lend_message(text);
        bool accepted = false;
        try {
            const ModuleScope inside(true);
            accepted = worker->append(message);
        } catch (const std::bad_alloc&) {
            accepted = false;  // the entry point reports it and the host keeps the buffer
        }
        if (!accepted) return host.take_back(message.text);
        {
            const ModuleScope inside(true);
            worker->run();
        }
        after_message();
    }

    /// The log lines with the level of errors.
    [[nodiscard]] std::vector<std::string> errors() {
        std::vector<std::string> lines;
        for (const auto& message : host.messages()) {
            if (message.text.find("level=\"75\"") != std::string::npos) lines.push_back(message.text);
        }
        return lines;
    }
    /// The text of all messages, without the parts that differ from run to run.
    [[nodiscard]] std::string stable_text() {
        std::string all = host.lines();
        for (const std::string& own : {guid(), directory.path()}) {
            for (auto at = all.find(own); at != std::string::npos; at = all.find(own))
                all.erase(at, own.size());
        }
        return all;
    }
    /// The recordings that were opened according to the log, by the name of their clip.
    [[nodiscard]] std::map<std::string, ParsedRecording> recordings() {
        std::map<std::string, ParsedRecording> opened;
        for (const auto& [name, path] : kRecordings) {
            if (host.lines().find("Opened (and PSI) " + directory.path() + "/" + path) != std::string::npos)
                opened.emplace(name, ParsedRecording(read_file(path), read_file(path + "i")));
        }
        return opened;
    }

    /// Expects the old state file or a complete new one.
    static void expect_whole(const std::string& state) {
        EXPECT_TRUE(state == kOldState || state.ends_with("</Pavo>\n") || state.ends_with("<Pavo/>\n"))
            << state;
    }

    WorkingDirectory directory;
    FakeHost host;
    std::unique_ptr<SyncLayer> worker;
    std::function<void()> after_message = [] {};

    /// The content of a clip's frames.
    [[nodiscard]] std::vector<std::string> frames_of(const std::string& clip) const {
        const std::string sets =
            options_.parameter_sets ? in_frame(kSequenceSet) + in_frame(kPictureSet) : "";
        return {sets + in_frame(clip), in_frame("two"), in_frame("three")};
    }

    static constexpr const char* kState = "norvanepi_state.xml";
    static constexpr const char* kOldState =
        "<Pavo><Devices ID='9'><Device Number='1' DisconnectTime='500'/></Devices></Pavo>";
    inline static const std::map<std::string, std::string> kRecordings = {
        {"first", "out/2018/06/22/16/0509-00070380e.ps"}, {"second", "out/2018/06/22/16/0609-00070380e.ps"}};

  private:
    static constexpr const char* kSequenceSet = "gsps";
    static constexpr const char* kPictureSet = "hpps";
    static constexpr int kFirstStart = 1'529'683'509;  // 2018-06-22 16:05:09 UTC

    void convert(const std::string& name, int start) {
        send(host_kit::clip_document(kCamera, guid(),
                                     {.file = directory / name, .start = start, .stop = start}));
    }
    /// The GUID in the storage-info request; zeros if there was no request.
    std::string guid() {
        const std::string lines = host.lines();
        const auto at = lines.find("GUID=\"");
        return at == std::string::npos ? "00000000-0000-0000-0000-000000000000" : lines.substr(at + 6, 36);
    }

    static platform::Sleeper& instant_sleeper() {
        static InstantSleeper sleeper;
        return sleeper;
    }
    static FakeClock& clock() {
        static FakeClock clock;
        return clock;
    }

    platform::System system_;
    norvane::Options options_;
    TimeZone zone_{"UTC0"};
};
