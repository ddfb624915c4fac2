// The state file: saving, loading, and invalid files.

#include <fstream>

#include <fmt/format.h>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

constexpr const char* kGuid = "3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5";

void write_state(CaseFixture& fixture, const std::string& text) {
    std::ofstream(fixture.directory().state_file(), std::ios::binary) << text;
}

/// Sets the model to the state of a file with one operation of the camera and the GUID above.
void restore_operation(CaseFixture& fixture, int attempts) {
    SavedModel saved;
    saved.state_file_exists = true;
    saved.operations_made = 1;
    saved.operations = {{{fixture.camera().device, guid_of(1), ticks(kLost), ticks(kFound), attempts}}};
    fixture.simulator().restore({.model = saved, .guids = {{1, kGuid}}, .recordings = {}, .counts = {}});
}

std::string operation_line(const CaseFixture& fixture, const std::string& attempts) {
    const Device& device = fixture.camera().device;
    return fmt::format(R"(<Operation Devices="{}" Device="{}" GUID="{}" StartTime="{}" EndTime="{}"{}/>)",
                       device.devices_id, device.number, kGuid, kLost, kFound, attempts);
}

/// With a journal, a bad record costs only itself.
void bad_file(CaseFixture& fixture, const std::string& text, const std::string& reason) {
    fixture.require_default();
    write_state(fixture, text);
    fixture.simulator().open_with_bad_state(reason);
    fixture.simulator().close();
    std::filesystem::remove(fixture.directory().state_file());
}

/// The module loads what precedes the error, and nothing after it.
void read_up_to_fault(CaseFixture& fixture, const std::string& bad, const std::string& reason) {
    const Device& device = fixture.camera().device;
    SavedModel saved;
    saved.state_file_exists = true;
    saved.losses = {{ticks(kLost), {.device_number = device.number, .devices_id = device.devices_id}}};
    fixture.simulator().restore({.model = saved, .guids = {}, .recordings = {}, .counts = {}});
    bad_file(fixture,
             fmt::format(R"(<Pavo><Devices ID="{}"><Device Number="{}" DisconnectTime="{}"/>{}</Pavo>)",
                         device.devices_id, device.number, kLost, bad),
             reason);
}

constexpr Case kStateCases[] = {
    {"state.saved-in-order", "losses and operations in the file, byte for byte",
     [](CaseFixture& fixture) {
         // Losses sorted by identifier and number, each identifier once, then the operations. The model
         // has the exact text.
         fixture.open();
         for (const Device& device : {Device{9, 1}, Device{2, 5}, Device{9, 4}, Device{2, 3}}) {
             Camera camera = fixture.camera();
             camera.device = device;
             fixture.simulator().announce(camera);
             fixture.simulator().report(camera, false, kLost + device.number);
         }
         fixture.lose_and_regain();
     }},
    {"state.nothing", "an empty state is saved and loaded",
     [](CaseFixture& fixture) {
         fixture.simulator().open();
         fixture.simulator().close();
         fixture.simulator().open();
     }},
    {"state.restart", "after a restart the file is emptied and the saved operations are finished",
     [](CaseFixture& fixture) {
         // A loss, a current operation and a connected camera are restored.
         const Camera other = make_camera(1, "Yard");
         (void)fixture.answer_until_clips_requested();
         announce_connected(fixture.simulator(), other, kLost - 60);
         fixture.simulator().report(other, false, kFound + 10);
         fixture.simulator().close();

         const Seconds restart = seconds(fixture.model().saved().losses.front().time);
         fixture.simulator().open();
         fixture.simulator().announce(fixture.camera());
         fixture.simulator().announce(other);
         fixture.simulator().report(other, true, kFound + 600);
         fixture.simulator().report(fixture.camera(), true, restart + 60);
         answer_all(fixture.simulator(), {fixture.camera(), other});
     }},
    {"state.attempts", "attempts continue to count after a restart",
     [](CaseFixture& fixture) {
         // Attempts continue to count: a restored operation with one attempt is dropped at its next
         // failure.
         write_state(fixture, "<Pavo><Operations>" + operation_line(fixture, R"( Attempts="1")") +
                                  "</Operations></Pavo>");
         restore_operation(fixture, 1);
         fixture.open();
         fixture.simulator().fail(fixture.camera(), {Request::Kind::kRecordings, 1, fixture.camera().device},
                                  3, kLost);
     }},
    {"state.bad-operations", "an invalid operation is skipped, the others are loaded",
     [](CaseFixture& fixture) {
         fixture.require_default();  // otherwise a line counts the skipped ones
         write_state(
             fixture,
             "<Pavo><Operations>" + operation_line(fixture, "") +
                 R"(<Operation Devices="1" Device="1" GUID="x" StartTime="1" EndTime="2" Attempts="0"/>)" +
                 operation_line(fixture, R"( Attempts="few")") + operation_line(fixture, R"( Attempts="0")") +
                 "</Operations></Pavo>");
         restore_operation(fixture, 0);
         fixture.open();
     }},
    {"state.unreadable", "an empty or malformed file is logged and left unchanged",
     [](CaseFixture& fixture) {
         constexpr const char* kReason = "error opening or parsing norvanepi.xml";
         for (const char* text : {"", "no document", "<Pavo>", "<Pavo></Other>"}) {
             bad_file(fixture, text, kReason);
             fixture.simulator().restore({});
         }
     }},
    {"state.bad-identifier", "load error for an invalid device identifier",
     [](CaseFixture& fixture) {
         for (const char* bad : {R"(</Devices><Devices ID="0"/>)", "</Devices><Devices/>"}) {
             read_up_to_fault(fixture, bad, "invalid or missing plug-in id");
         }
     }},
    {"state.bad-number", "load error for an invalid device number",
     [](CaseFixture& fixture) {
         for (const char* bad :
              {R"(<Device Number="0" DisconnectTime="1"/></Devices>)",
               R"(<Device DisconnectTime="1"/><Device Number="8" DisconnectTime="8"/></Devices>)",
               "<Other/></Devices>"}) {
             read_up_to_fault(fixture, bad, "invalid or missing device number");
         }
     }},
    {"state.bad-time", "load error for an invalid disconnect time",
     [](CaseFixture& fixture) {
         for (const char* bad : {R"(<Device Number="1" DisconnectTime="0"/></Devices>)",
                                 R"(<Device Number="1"/></Devices><Devices ID="8"/>)"}) {
             read_up_to_fault(fixture, bad, "invalid or missing disconnect time");
         }
     }},
};

}  // namespace

Cases state_cases() {
    return kStateCases;
}

}  // namespace recorder::validate
