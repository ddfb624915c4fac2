// What the module does to its process and its files: threads, descriptors, memory, processor time,
// permissions.

#include <chrono>
#include <fstream>
#include <thread>

#include <fmt/format.h>

#include "platform/flushed_files.h"
#include "platform/process.h"
#include "tools/recorder/host/process_figures.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/plain_module.h"

namespace recorder::validate {
namespace {

namespace fs = std::filesystem;
using Callback = PlainModule::Callback;

constexpr std::int64_t kTolerance = 2048;  // kilobytes; the allocator keeps some freed memory

/// Plays the step until the process no longer grows for other reasons than a leak, then more often.
template <typename Step>
void require_no_leak(int warm_up, int steps, Step step) {
    for (int i = 0; i < warm_up; ++i) step();
    const ProcessFigures before = process_figures();
    for (int i = 0; i < steps; ++i) step();
    require_no_growth(before, process_figures(), kTolerance);
}

/// The permissions that the system gives to a new file with these wanted permissions. Throws Skipped if the
/// system has no umask.
unsigned less_umask(unsigned wanted) {
    const auto settings = platform::process_settings();
    const auto mask = settings.find("umask");
    if (mask == settings.end()) throw Skipped("this system has no permissions of this kind");
    return wanted & ~static_cast<unsigned>(std::stoul(mask->second, nullptr, 8));
}

void require_permissions(const fs::path& file, unsigned wanted) {
    const auto found = static_cast<unsigned>(fs::status(file).permissions());
    require(found == less_umask(wanted),
            fmt::format("{} has mode {:o}, not {:o}", file.string(), found, less_umask(wanted)));
}

constexpr Case kProcessCases[] = {
    {"process.idle", "an idle module needs next to no processor time and wakes up rarely",
     [](CaseFixture& fixture) {
         constexpr std::chrono::milliseconds kTime{400};
         constexpr std::chrono::milliseconds kMaxUsed{35};  // two steps of the coarsest clock, on Windows
         constexpr std::uint64_t kMaxWaits = 60;
         PlainModule module(fixture);
         module.start();
         module.write();
         module.wait_for_texts();
         const auto processor = platform::processor_time();
         const std::uint64_t waits = platform::waits();
         std::this_thread::sleep_for(kTime);
         const std::chrono::duration<double, std::milli> used = platform::processor_time() - processor;
         require(used < kMaxUsed, fmt::format("an idle module used {:.0f} ms of processor time in {} ms",
                                              used.count(), kTime.count()));
         require(platform::waits() - waits < kMaxWaits,
                 fmt::format("an idle module woke up {} times in {} ms", platform::waits() - waits,
                             kTime.count()));
         module.stop();
     }},
    {"process.messages", "memory, descriptors and threads do not grow with the number of messages",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         require_no_leak(10, 40, [&] {
             for (int i = 0; i < 50; ++i) module.write();
             module.wait_for_texts();
         });
         module.stop();
     }},
    {"process.conversions", "nor with the number of conversions",
     [](CaseFixture& fixture) {
         const Request request = fixture.answer_until_clips_requested();
         require_no_leak(10, 40, [&] {
             fixture.simulator().deliver(fixture.camera(), request, fixture.camera().storage.front(), 1);
         });
     }},
    {"process.restarts", "nor with the number of restarts",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         require_no_leak(10, 30, [&] {
             module.start();
             module.write();
             module.stop();
         });
     }},
    {"process.loads", "nor with how often the library is loaded",
     [](CaseFixture& fixture) {
         require_no_leak(5, 15, [&] {
             PlainModule module(fixture);
             module.start();
             module.stop();
         });
     }},
    {"files.permissions", "modes of recording, index and state file: 0644, 0666, 0666, less the umask",
     [](CaseFixture& fixture) {
         const Request request = fixture.answer_until_clips_requested();
         const std::string recording = fixture.directory().recording_path(fixture.camera().device, kLost);
         fixture.simulator().deliver(fixture.camera(), request, fixture.camera().storage.front(), 1);
         require_permissions(recording, 0644);
         require_permissions(recording + "i", 0666);
         fixture.end();
         require_permissions(fixture.directory().state_file(), 0666);
     }},
    {"files.state-permissions", "a state file keeps its mode, and its links",
     [](CaseFixture& fixture) {
         (void)less_umask(0);
         const fs::path file = fixture.directory().state_file();
         const fs::path elsewhere = fixture.directory().temporary_directory() / "state.xml";
         std::ofstream(elsewhere) << "<Pavo/>";
         fs::permissions(elsewhere, static_cast<fs::perms>(0640));
         fs::create_symlink(elsewhere, file);
         PlainModule module(fixture);
         module.start();
         module.stop();
         require(fs::is_symlink(fs::symlink_status(file)),
                 "the module replaced a link at the path of its state file");
         const auto found = static_cast<unsigned>(fs::status(elsewhere).permissions());
         require(found == 0640,
                 fmt::format("the module changed the mode of the state file from 640 to {:o}", found));
         require(fs::file_size(elsewhere) > 7, "the module did not write the file that the link leads to");
     }},
    {"files.state-replaced",
     "the state file is replaced as a whole, so that a crash leaves the old or the new one",
     [](CaseFixture& fixture) {
         (void)less_umask(0);
         const fs::path file = fixture.directory().state_file();
         const fs::path old = fixture.directory().temporary_directory() / "old.xml";
         for (const bool at_close : {false, true}) {
             PlainModule module(fixture);
             module.load(Callback::kFirst);
             if (at_close) module.open();
             std::ofstream(file) << "<Pavo></Pavo>";
             fs::remove(old);
             fs::create_hard_link(file, old);
             if (!at_close) module.open();
             module.start_main_loop();
             module.stop();
             require(text_of_file(old) == "<Pavo></Pavo>",
                     fmt::format("the module wrote into the existing state file in {}",
                                 at_close ? "Close" : "Open"));
         }
     }},
    {"files.state-flushed", "the state file is flushed to the disk",
     [](CaseFixture& fixture) {
         for (int i = 0; i < 2; ++i) {
             PlainModule module(fixture);
             module.start();
             module.stop();
             const auto flushed = platform::flushed(fixture.directory().state_file().string());
             if (flushed == platform::Flushed::kUnknown)
                 throw Skipped("this system does not show which files are flushed");
             require(flushed == platform::Flushed::kYes,
                     "the module did not flush the state file to the disk");
         }
     }},
};

}  // namespace

Cases process_cases() {
    return kProcessCases;
}

}  // namespace recorder::validate
