// What follows on what: operations made, served in order, tried again, dropped. Every answer of the module is
// held against the model of it.

#include <array>

#include <fmt/format.h>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

constexpr const char* kNobody = "00000000-0000-4000-8000-000000000000";

void nothing_to_fetch(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    trial.simulator().offer(trial.camera(), trial.request(), {});
    trial.simulator().close();
}

/// An attempt is counted for every request and every failure: the second failure is the last.
void fails_twice(Trial& trial) {
    const Request first = trial.until_clips_are_asked();
    trial.simulator().fail(trial.camera(), first, 104, kLost + 100);
    const Request again = recorder::until_clips_are_asked(trial.simulator(), trial.camera());
    trial.simulator().fail(trial.camera(), again, -5, kLost + 200);
    end_story(trial.simulator());
}

void done_at_second_try(Trial& trial) {
    const Request first = trial.until_clips_are_asked();
    trial.simulator().fail(trial.camera(), first, 1, kLost + 100);
    trial.finish(recorder::until_clips_are_asked(trial.simulator(), trial.camera()));
}

/// Failure without its attributes: error -1, from second -1 on.
void fails_without_reason(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    const std::string guid = trial.simulator().guid(request.operation);
    trial.model().on_failed(request.operation, -1, -1);
    trial.send_inside(fmt::format(R"(<Storage GUID="{}" RetrievalStatus="4"/>)", guid));
    trial.simulator().settle();
    trial.simulator().close();
}

/// The camera's own and one of another camera, five seconds later.
Camera open_with_two_operations(Trial& trial) {
    Camera other = make_camera(1, "Yard");
    trial.open();
    introduce(trial.simulator(), other, kLost - 60);
    trial.lose_and_find();
    trial.lose_and_find(other, kLost + 5, kFound + 5);
    return other;
}

void two_cameras_in_order(Trial& trial) {
    const Camera other = open_with_two_operations(trial);
    serve_all(trial.simulator(), {trial.camera(), other});
    end_story(trial.simulator());
}

void later_one_fails(Trial& trial) {
    const Camera other = open_with_two_operations(trial);
    const std::size_t later = trial.model().saved().operations_made;
    trial.simulator().fail(other, {Request::Kind::kRecordings, later, other.device}, 9, kLost + 50);
    trial.simulator().settle();
    trial.simulator().close();
}

void lost_while_fetching(Trial& trial) {
    const Camera other = open_with_two_operations(trial);
    trial.simulator().report(other, false, kFound + 50);           // not the current one
    trial.simulator().report(trial.camera(), false, kFound + 60);  // nothing can be fetched
    trial.simulator().report(other, true, kFound + 70);
    trial.simulator().report(trial.camera(), true, kFound + 80);
    serve_all(trial.simulator(), {trial.camera(), other});
    end_story(trial.simulator());
}

/// The first loss counts, whatever is reported while the channel is lost.
void lost_twice(Trial& trial) {
    trial.open();
    trial.simulator().report(trial.camera(), false, kLost);
    trial.simulator().report(trial.camera(), false, kLost + 100);
    trial.simulator().report(trial.camera(), true, kFound);
    trial.simulator().close();
}

void not_supported(Trial& trial) {
    const Camera other = make_camera(1, "Yard");
    trial.open();
    trial.lose_and_find(other, kLost, kFound);
    for (const char* supported : {"0", "true", "11", ""}) {
        trial.send(fmt::format(
            R"(<Pavo><Devices ID="{}"><Device Number="{}" NorVaneSupported="{}"/></Devices></Pavo>)",
            other.device.identifier, other.device.number, supported));
    }
    trial.lose_and_find(other, kLost, kFound);
    trial.simulator().close();
}

void removed(Trial& trial) {
    trial.open();
    trial.model().on_removed(trial.camera().device);
    trial.send(device_document(trial.camera().device, ""));
    trial.lose_and_find();
    trial.simulator().close();
}

void unknown_operation(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    HostSimulator& simulator = trial.simulator();
    simulator.report_done_for_nobody(trial.camera());
    trial.model().expect_log(25, "NorVane - operation failed received for unknown operation.");
    trial.send(failed_document(trial.camera().device, kNobody, 1, kLost));
    simulator.settle();
    trial.model().expect_log(75, fmt::format("NorVane - operation {} not found.", kNobody));
    trial.send(storage_info_document(trial.camera().device, kNobody, {1, 1, 1, 2}));
    simulator.settle();
    trial.model().expect_log(
        75, fmt::format("NorVane - operation {} in disk space response was not found.", kNobody));
    trial.send(reservation_document(kNobody, "/tmp", "/tmp/"));
    trial.send(clip_document(trial.camera().device, kNobody, {"/no.mp4", 1, 2, "x", 1}));
    simulator.close();
}

/// Attributes that are wrong or missing silence their element.
void without_effect(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    const std::string guid = trial.simulator().guid(trial.request().operation);
    for (
        const char* inside : {
            R"(<Codec><Encoder Number="1"><Channel Number="0" Connected="0"/></Encoder></Codec>)",
            R"(<Codec><Encoder><Channel Number="0" Connected="0"/></Encoder></Codec>)",
            R"(<Codec><Encoder Number="0"><Channel Number="0"/></Encoder></Codec>)",
            R"(<Codec><Encoder Number="0"><Channel Number="0" Connected="no"/></Encoder></Codec>)",
            R"(<Storage GUID="@" RetrievalStatus="5"/>)",
            R"(<Storage GUID="@"><Input><Context Number="1" Recordings="1"/></Input></Storage>)",
            R"(<Storage GUID="@"><Input><Context Number="0" Recordings="1" TotalSize="1"/></Input></Storage>)",
            R"(<Input><Context><Storage GUID="@" RetrievalStatus="2" FileName="x"/></Context></Input>)",
            R"(<Input><Context><Storage GUID="@" RetrievalStatus="3"/></Context></Input>)",
        }) {
        std::string text = inside;
        if (const auto at = text.find('@'); at != std::string::npos) text.replace(at, 1, guid);
        trial.send_inside(text);
    }
    for (const char* text : {"<Other/>", "<Pavo/>", "<Pavo><Storage><Reservation/></Storage></Pavo>"}) {
        trial.send(text);
    }
    trial.simulator().close();
}

/// Whatever is not 1 means lost, an element behind Device is a device, a return needs the loss's channel.
void unusual_forms(Trial& trial) {
    trial.open();
    trial.model().on_channel(trial.camera().device, false, kLost);
    trial.send(fmt::format(
        R"(<Pavo><Devices ID="{}"><Device Number="0"/><Other Number="{}"><Codec><Encoder Number="0">)"
        R"(<Channel Number="0" Connected="2" Time="{}"/></Encoder></Codec></Other></Devices></Pavo>)",
        trial.camera().device.identifier, trial.camera().device.number, kLost));
    trial.send_inside(
        R"(<Codec><Encoder Number="0"><Channel Number="5" Connected="1" Time="9"/></Encoder></Codec>)");
    trial.simulator().report(trial.camera(), true, kFound);
    trial.model().on_channel(trial.camera().device, true, 9);  // the other channel's: connected twice
    trial.simulator().close();
}

constexpr std::array kCases = {
    Case{"conversation.nothing-to-fetch", "a camera that holds nothing ends the operation", nothing_to_fetch},
    Case{"conversation.fails-twice", "a failure is tried again from its clip, the second drops", fails_twice},
    Case{"conversation.second-try", "a second try that goes well", done_at_second_try},
    Case{"conversation.no-reason", "a failure without code and clip", fails_without_reason},
    Case{"conversation.in-order", "two cameras are served one behind the other", two_cameras_in_order},
    Case{"conversation.later-fails", "a failure of a later operation asks for the first", later_one_fails},
    Case{"conversation.lost-again", "losses during the current and a later operation", lost_while_fetching},
    Case{"conversation.lost-twice", "a second loss keeps the first one's time", lost_twice},
    Case{"conversation.not-supported", "a device that keeps no recordings is ignored", not_supported},
    Case{"conversation.removed", "a removed device is ignored from then on", removed},
    Case{"conversation.unknown", "answers that name no operation", unknown_operation},
    Case{"conversation.without-effect", "elements with wrong or missing attributes", without_effect},
    Case{"conversation.unusual-forms", "other forms of a loss, a return of another channel", unusual_forms},
};

}  // namespace

Cases conversation_cases() {
    return kCases;
}

}  // namespace recorder::validate
