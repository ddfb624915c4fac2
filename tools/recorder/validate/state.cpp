// The state file: what is saved, what is read, and what a bad one leads to.

#include <array>
#include <fstream>

#include <fmt/format.h>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

constexpr const char* kGuid = "3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5";

void write_state(Trial& trial, const std::string& text) {
    std::ofstream(trial.directory().state_file(), std::ios::binary) << text;
}

/// What is read from a file with one operation of the camera, under the GUID above.
void remember_operation(Trial& trial, int attempts) {
    SavedModel saved;
    saved.state_file_exists = true;
    saved.operations_made = 1;
    saved.operations = {{1, trial.camera().device, kLost, kFound, attempts}};
    trial.simulator().remember({.model = saved, .guids = {{1, kGuid}}, .recordings = {}, .counts = {}});
}

std::string operation_line(const Trial& trial, const std::string& attempts) {
    const Device& device = trial.camera().device;
    return fmt::format(R"(<Operation Devices="{}" Device="{}" GUID="{}" StartTime="{}" EndTime="{}"{}/>)",
                       device.identifier, device.number, kGuid, kLost, kFound, attempts);
}

/// Losses by identifier and number, each identifier once, then the operations: the model has the exact text.
void saved_in_order(Trial& trial) {
    trial.open();
    for (const Device& device : {Device{9, 1}, Device{2, 5}, Device{9, 4}, Device{2, 3}}) {
        Camera camera = trial.camera();
        camera.device = device;
        trial.simulator().announce(camera);
        trial.simulator().report(camera, false, kLost + device.number);
    }
    trial.lose_and_find();
    trial.simulator().close();
}

void nothing_to_save(Trial& trial) {
    trial.simulator().open();
    trial.simulator().close();
    trial.simulator().open();
    trial.simulator().close();
}

/// A loss, an operation under way and a connected camera outlive the module.
void over_a_restart(Trial& trial) {
    const Camera other = make_camera(1, "Yard");
    (void)trial.until_clips_are_asked();
    introduce(trial.simulator(), other, kLost - 60);
    trial.simulator().report(other, false, kFound + 10);
    trial.simulator().close();

    trial.simulator().open();
    trial.simulator().announce(trial.camera());
    trial.simulator().announce(other);
    trial.simulator().report(other, true, kFound + 600);
    trial.simulator().report(trial.camera(), true,
                             trial.model().saved().losses.front().time.value_or(0) + 60);
    serve_all(trial.simulator(), {trial.camera(), other});
    end_story(trial.simulator());
}

/// Attempts go on counting: a restored first try that fails is dropped.
void attempts_are_kept(Trial& trial) {
    write_state(trial,
                "<Pavo><Operations>" + operation_line(trial, R"( Attempts="1")") + "</Operations></Pavo>");
    remember_operation(trial, 1);
    trial.open();
    trial.simulator().fail(trial.camera(), {Request::Kind::kRecordings, 1, trial.camera().device}, 3, kLost);
    trial.simulator().close();
}

void bad_operations_are_skipped(Trial& trial) {
    write_state(trial,
                "<Pavo><Operations>" + operation_line(trial, "") +
                    R"(<Operation Devices="1" Device="1" GUID="x" StartTime="1" EndTime="2" Attempts="0"/>)" +
                    operation_line(trial, R"( Attempts="few")") + operation_line(trial, R"( Attempts="0")") +
                    "</Operations></Pavo>");
    remember_operation(trial, 0);
    trial.open();
    trial.simulator().close();
}

void bad_file(Trial& trial, const std::string& text, const std::string& reason) {
    write_state(trial, text);
    trial.simulator().open_in_vain(reason);
    trial.simulator().close();
    std::filesystem::remove(trial.directory().state_file());
}

void unreadable(Trial& trial) {
    constexpr const char* kReason = "error opening or parsing norvanepi.xml";
    for (const char* text : {"", "no document", "<Pavo>", "<Pavo></Other>"}) {
        bad_file(trial, text, kReason);
        trial.simulator().remember({});
    }
}

/// What stands in front of the fault is read all the same, what stands behind it is not.
void read_up_to_fault(Trial& trial, const std::string& bad, const std::string& reason) {
    const Device& device = trial.camera().device;
    SavedModel saved;
    saved.state_file_exists = true;
    saved.losses = {{device, kLost}};
    trial.simulator().remember({.model = saved, .guids = {}, .recordings = {}, .counts = {}});
    bad_file(trial,
             fmt::format(R"(<Pavo><Devices ID="{}"><Device Number="{}" DisconnectTime="{}"/>{}</Pavo>)",
                         device.identifier, device.number, kLost, bad),
             reason);
}

void bad_identifier(Trial& trial) {
    for (const char* bad : {R"(</Devices><Devices ID="0"/>)", "</Devices><Devices/>"}) {
        read_up_to_fault(trial, bad, "invalid or missing plug-in id");
    }
}

void bad_number(Trial& trial) {
    for (const char* bad :
         {R"(<Device Number="0" DisconnectTime="1"/></Devices>)",
          R"(<Device DisconnectTime="1"/><Device Number="8" DisconnectTime="8"/></Devices>)",
          "<Other/></Devices>"}) {
        read_up_to_fault(trial, bad, "invalid or missing device number");
    }
}

void bad_time(Trial& trial) {
    for (const char* bad : {R"(<Device Number="1" DisconnectTime="0"/></Devices>)",
                            R"(<Device Number="1"/></Devices><Devices ID="8"/>)"}) {
        read_up_to_fault(trial, bad, "invalid or missing disconnect time");
    }
}

constexpr std::array kCases = {
    Case{"state.saved-in-order", "losses and operations in the file, byte for byte", saved_in_order},
    Case{"state.nothing", "a file of nothing is written and read", nothing_to_save},
    Case{"state.restart", "what was saved is emptied, fetched and done after a restart", over_a_restart},
    Case{"state.attempts", "attempts go on counting after a restart", attempts_are_kept},
    Case{"state.bad-operations", "an operation with a fault is skipped, the others read",
         bad_operations_are_skipped},
    Case{"state.unreadable", "a missing, empty or malformed file: logged, left alone", unreadable},
    Case{"state.bad-identifier", "load error for a devices identifier", bad_identifier},
    Case{"state.bad-number", "load error for a device number", bad_number},
    Case{"state.bad-time", "load error for a disconnect time", bad_time},
};

}  // namespace

Cases state_cases() {
    return kCases;
}

}  // namespace recorder::validate
