// The exact text of the module's documents.

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <string>

#include <fmt/format.h>

#include "platform/file.h"
#include "platform/text.h"
#include "tools/recorder/host/message_summary.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

// NOLINTNEXTLINE(bugprone-suspicious-missing-comma): an escape would include the letters after it
constexpr const char* kOutsideAscii =
    "h\xC3\xB6"
    "fe";

constexpr Case kDocumentCases[] = {
    {"documents.start-and-end", "registration, features, and the log lines of start and end",
     [](CaseFixture& fixture) { fixture.simulator().open(); }},
    {"documents.one-retrieval", "every request, status and log line of one retrieval",
     [](CaseFixture& fixture) {
         // Contains each request, both status reports and their log lines.
         (void)fixture.answer_until_clips_requested();
     }},
    {"documents.numbers", "identifiers are written signed, device numbers unsigned",
     [](CaseFixture& fixture) {
         fixture.simulator().open();
         Camera camera = fixture.camera();
         camera.device = {0xFFFFFFFF, 0xFFFFFFFF};
         const std::string device = R"(<Pavo><Devices ID="-1"><Device Number="-1")";
         const std::string channel =
             R"(><Codec><Encoder Number="0"><Channel Number="0" Connected="{}" Time="{}"/></Encoder></Codec>)";
         const std::string end = "</Device></Devices></Pavo>";
         fixture.model().on_device(camera.device);
         fixture.send(device + R"( NorVaneSupported="1">)" + end);
         fixture.model().on_channel(camera.device, false, kLost);
         fixture.send(device + fmt::format(fmt::runtime(channel), 0, kLost) + end);
         fixture.model().on_channel(camera.device, true, kFound);
         fixture.send(device + fmt::format(fmt::runtime(channel), 1, kFound) + end);
     }},
    {"documents.gigabytes", "requested space, computed from the reported megabytes",
     [](CaseFixture& fixture) {
         // GB = (2 x megabytes + 512) / 1024 in 32 bits, at least 1.
         fixture.open();
         fixture.lose_and_regain();
         const Request request = fixture.request();
         const std::string guid = fixture.simulator().guid(request.operation);
         for (const std::int32_t megabytes :
              {0, 100, 256, 257, 600, 767, 768, 1000, 600'000, 700'000'000, INT32_MAX, -1}) {
             fixture.model().on_storage_info(request.operation, megabytes);
             fixture.send_inside(fmt::format(
                 R"(<Storage GUID="{}"><Input><Context Number="0" Recordings="2" TotalSize="{}" OldestStart="1" NewestEnd="2"/></Input></Storage>)",
                 guid, megabytes));
         }
     }},
    {"documents.paths", "paths are quoted, directories are created with their parents",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.lose_and_regain();
         fixture.simulator().offer(fixture.camera(), fixture.request(), {{{{}, 1, 1, 0}, kLost}});
         const Request request = fixture.request();
         const std::string guid = fixture.simulator().guid(request.operation);
         for (const std::string name : {"plain", "with blank", "a\"b", "a&b", "a<b>", "it's", kOutsideAscii,
                                        "\xE4\xBA\xAC\xE9\x83\xBD"}) {
             const bool ascii = std::ranges::all_of(name, [](unsigned char c) { return c <= '~'; });
             const std::string path = fixture.directory().temporary_directory().string() + "/" +
                                      (ascii ? platform::file_name_of(name) : name) + "/deeper";
             fixture.model().on_reservation(request.operation, path);
             fixture.send(reservation_document(guid, path, fixture.directory().output_directory()));
             fixture.simulator().settle();
             require(boost::filesystem::is_directory(platform::path_of(path)),
                     "the module did not create the directory " + path);
         }
     }},
    {"documents.large", "a document of more than 100 KB has its effect, up to the last device",
     [](CaseFixture& fixture) {
         fixture.simulator().open();
         std::string devices;
         for (std::uint32_t number = 1000; devices.size() < 120'000; ++number) {
             fixture.model().on_device({fixture.camera().device.devices_id, number});
             devices += fmt::format(R"(<Device Number="{}" NorVaneSupported="1"/>)", number);
         }
         fixture.model().on_device(fixture.camera().device);
         fixture.send(fmt::format(
             R"(<Pavo><Devices ID="{}">{}<Device Number="{}" NorVaneSupported="1"/></Devices></Pavo>)",
             fixture.camera().device.devices_id, devices, fixture.camera().device.number));
         fixture.lose_and_regain();
         require(fixture.request().device == fixture.camera().device,
                 "the last device of the document was ignored");
     }},
    {"documents.directory-not-made", "a directory that cannot be created: one log line, no request",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.lose_and_regain();
         fixture.simulator().offer(fixture.camera(), fixture.request(), {{{{}, 1, 1, 0}, kLost}});
         const std::string file = (fixture.directory().temporary_directory() / "file").string();
         std::ofstream(file) << "in the way";
         const std::string path = file + "/below";
         const auto error =
             platform::system_files().make_directory(path, platform::FileSystem::Existing::kAnything);
         const Request request = fixture.request();
         const std::string guid = fixture.simulator().guid(request.operation);
         const Operation operation = *fixture.simulator().operation(request);
         fixture.model().expect_log(
             25, fmt::format("NorVane - requesting recordings from {} gap start time{} gap end time {}",
                             name_of(operation.device), utc_text(seconds(operation.start_time)),
                             utc_text(seconds(operation.end_time))));
         fixture.model().expect_log(75, fmt::format("Error 'system:{}' trying to create directory '{}'",
                                                    error.value(), quoted(path)));
         fixture.send(reservation_document(guid, path, "/"));
     }},
};

}  // namespace

Cases document_cases() {
    return kDocumentCases;
}

}  // namespace recorder::validate
