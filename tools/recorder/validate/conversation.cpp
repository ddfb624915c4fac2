// Operations: created, processed in order, repeated, dropped. Every message of the module is compared with
// the model.

#include <fmt/format.h>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

constexpr const char* kUnknownGuid = "00000000-0000-4000-8000-000000000000";

/// One operation of the camera, and one of another camera five seconds later.
Camera open_with_two_operations(CaseFixture& fixture) {
    Camera other = make_camera(1, "Yard");
    fixture.open();
    announce_connected(fixture.simulator(), other, kLost - 60);
    fixture.lose_and_regain();
    fixture.lose_and_regain(other, kLost + 5, kFound + 5);
    return other;
}

constexpr Case kConversationCases[] = {
    {"conversation.nothing-to-fetch", "a camera without recordings ends the operation",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.lose_and_regain();
         fixture.simulator().offer(fixture.camera(), fixture.request(), {});
     }},
    {"conversation.fails-twice", "a failed retrieval is repeated from its clip; the second failure drops it",
     [](CaseFixture& fixture) {
         // Attempts count requests and failures, so the second failure drops the operation.
         const Request first = fixture.answer_until_clips_requested();
         fixture.simulator().fail(fixture.camera(), first, 104, kLost + 100);
         const Request again = fixture.answer_until_clips_requested();
         fixture.simulator().fail(fixture.camera(), again, -5, kLost + 200);
     }},
    {"conversation.second-try", "a second attempt that succeeds",
     [](CaseFixture& fixture) {
         const Request first = fixture.answer_until_clips_requested();
         fixture.simulator().fail(fixture.camera(), first, 1, kLost + 100);
         (void)fixture.answer_until_clips_requested();
     }},
    {"conversation.no-reason", "a failure without code and clip",
     [](CaseFixture& fixture) {
         // A failure without attributes: error -1, failed clip at second -1.
         const Request request = fixture.answer_until_clips_requested();
         const std::string guid = fixture.simulator().guid(request.operation);
         fixture.model().on_failed(request.operation, -1, -1);
         fixture.send_inside(fmt::format(R"(<Storage GUID="{}" RetrievalStatus="4"/>)", guid));
     }},
    {"conversation.in-order", "two cameras are processed one after the other",
     [](CaseFixture& fixture) {
         const Camera other = open_with_two_operations(fixture);
         answer_all(fixture.simulator(), {fixture.camera(), other});
     }},
    {"conversation.later-fails", "after a pending operation fails, the first one is requested",
     [](CaseFixture& fixture) {
         const Camera other = open_with_two_operations(fixture);
         const std::size_t later = fixture.model().saved().operations_made;
         fixture.simulator().fail(other, {Request::Kind::kRecordings, later, other.device}, 9, kLost + 50);
     }},
    {"conversation.lost-again", "losses during the current and a pending operation",
     [](CaseFixture& fixture) {
         const Camera other = open_with_two_operations(fixture);
         fixture.simulator().report(other, false, kFound + 50);  // not the current operation
         fixture.simulator().report(fixture.camera(), false,
                                    kFound + 60);  // nothing can be retrieved now
         fixture.simulator().report(other, true, kFound + 70);
         fixture.simulator().report(fixture.camera(), true, kFound + 80);
         answer_all(fixture.simulator(), {fixture.camera(), other});
     }},
    {"conversation.lost-twice", "a second loss keeps the time of the first",
     [](CaseFixture& fixture) {
         // The first loss counts, regardless of later reports while the channel is lost.
         fixture.open();
         fixture.simulator().report(fixture.camera(), false, kLost);
         fixture.simulator().report(fixture.camera(), false, kLost + 100);
         fixture.simulator().report(fixture.camera(), true, kFound);
     }},
    {"conversation.not-supported", "a device without recordings of its own is ignored",
     [](CaseFixture& fixture) {
         const Camera other = make_camera(1, "Yard");
         fixture.open();
         fixture.lose_and_regain(other, kLost, kFound);
         for (const char* supported : {"0", "true", "11", ""}) {
             fixture.send(fmt::format(
                 R"(<Pavo><Devices ID="{}"><Device Number="{}" NorVaneSupported="{}"/></Devices></Pavo>)",
                 other.device.devices_id, other.device.number, supported));
         }
         fixture.lose_and_regain(other, kLost, kFound);
     }},
    {"conversation.removed", "a removed device is ignored from then on",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.model().on_removed(fixture.camera().device);
         fixture.send(device_document(fixture.camera().device, ""));
         fixture.lose_and_regain();
     }},
    {"conversation.unknown", "answers with unknown GUIDs",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.lose_and_regain();
         HostSimulator& simulator = fixture.simulator();
         simulator.report_done_for_unknown(fixture.camera());
         fixture.model().expect_log(25, "NorVane - operation failed received for unknown operation.");
         fixture.send(failed_document(fixture.camera().device, kUnknownGuid, 1, kLost));
         simulator.settle();
         fixture.model().expect_log(75, fmt::format("NorVane - operation {} not found.", kUnknownGuid));
         fixture.send(storage_info_document(fixture.camera().device, kUnknownGuid, {1, 1, 1, 2}));
         simulator.settle();
         fixture.model().expect_log(
             75, fmt::format("NorVane - operation {} in disk space response was not found.", kUnknownGuid));
         fixture.send(reservation_document(kUnknownGuid, "/tmp", "/tmp/"));
         fixture.send(clip_document(fixture.camera().device, kUnknownGuid, {"/no.mp4", 1, 2, "x", 1}));
     }},
    {"conversation.without-effect", "elements with wrong or missing attributes",
     [](CaseFixture& fixture) {
         fixture.require_default();
         // An element with a wrong or missing attribute has no effect.
         fixture.open();
         fixture.lose_and_regain();
         const std::string guid = fixture.simulator().guid(fixture.request().operation);
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
             fixture.send_inside(text);
         }
         std::string small = channel_document(fixture.camera().device, false, kFound + 10);
         for (std::size_t at = 0; (at = small.find("Pavo", at)) != std::string::npos;) small[at] = 'p';
         fixture.send(small);
         for (const char* text : {"<Other/>", "<Pavo/>", "<Pavo><Storage><Reservation/></Storage></Pavo>"}) {
             fixture.send(text);
         }
     }},
    {"conversation.unusual-forms", "unusual forms of a loss, a return of another channel",
     [](CaseFixture& fixture) {
         fixture.require_default();
         // Any value but 1 means lost; an element after Device is a device; a return matches a loss of
         // the same channel.
         fixture.open();
         fixture.model().on_channel(fixture.camera().device, false, kLost);
         fixture.send(fmt::format(
             R"(<Pavo><Devices ID="{}"><Device Number="0"/><Other Number="{}"><Codec><Encoder Number="0">)"
             R"(<Channel Number="0" Connected="2" Time="{}"/></Encoder></Codec></Other></Devices></Pavo>)",
             fixture.camera().device.devices_id, fixture.camera().device.number, kLost));
         fixture.send_inside(
             R"(<Codec><Encoder Number="0"><Channel Number="5" Connected="1" Time="9"/></Encoder></Codec>)");
         fixture.simulator().report(fixture.camera(), true, kFound);
         fixture.model().on_channel(fixture.camera().device, true,
                                    9);  // a return of another channel: connected twice
     }},
};

}  // namespace

Cases conversation_cases() {
    return kConversationCases;
}

}  // namespace recorder::validate
