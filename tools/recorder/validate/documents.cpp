// What the module's documents hold, text for text.

#include <array>
#include <fstream>
#include <string>

#include <fmt/format.h>

#include "platform/file.h"
#include "platform/text.h"
#include "tools/recorder/host/message_summary.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

void start_and_end(Trial& trial) {
    trial.simulator().open();
    trial.simulator().close();
}

/// One of each: storage info, reservation, recordings, release, status 2 and 3, with their log lines.
void one_retrieval(Trial& trial) {
    trial.finish(trial.until_clips_are_asked());
}

void numbers(Trial& trial) {
    trial.simulator().open();
    Camera camera = trial.camera();
    camera.device = {0xFFFFFFFF, 0xFFFFFFFF};
    const std::string device = R"(<Pavo><Devices ID="-1"><Device Number="-1")";
    const std::string channel =
        R"(><Codec><Encoder Number="0"><Channel Number="0" Connected="{}" Time="{}"/></Encoder></Codec>)";
    const std::string end = "</Device></Devices></Pavo>";
    trial.model().on_device(camera.device);
    trial.send(device + R"( NorVaneSupported="1">)" + end);
    trial.model().on_channel(camera.device, false, kLost);
    trial.send(device + fmt::format(fmt::runtime(channel), 0, kLost) + end);
    trial.model().on_channel(camera.device, true, kFound);
    trial.send(device + fmt::format(fmt::runtime(channel), 1, kFound) + end);
    trial.simulator().close();
}

/// GB = (2 x megabytes + 512) / 1024 in 32 bits, at least 1.
void gigabytes(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    const Request request = trial.request();
    const std::string guid = trial.simulator().guid(request.operation);
    for (const std::int32_t megabytes : {0, 100, 256, 257, 600, 767, 768, 1000, INT32_MAX, -1}) {
        trial.model().on_storage_info(request.operation, megabytes);
        trial.send_inside(fmt::format(
            R"(<Storage GUID="{}"><Input><Context Number="0" Recordings="2" TotalSize="{}" OldestStart="1" NewestEnd="2"/></Input></Storage>)",
            guid, megabytes));
    }
    trial.simulator().close();
}

void paths(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    trial.simulator().offer(trial.camera(), trial.request(), {{{{}, 1, 1, 0}, kLost}});
    const Request request = trial.request();
    const std::string guid = trial.simulator().guid(request.operation);
    for (const std::string name : {"plain", "with blank", "a\"b", "a&b", "a<b>", "it's"}) {
        const std::string path =
            (trial.directory().temporary_directory() / platform::file_name_of(name) / "deeper").string();
        trial.model().on_reservation(request.operation, path);
        trial.send(reservation_document(guid, path, trial.directory().output_directory()));
        trial.simulator().settle();
        require(std::filesystem::is_directory(path), "the plug-in did not make the directory " + path);
    }
    trial.simulator().close();
}

void directory_not_made(Trial& trial) {
    trial.open();
    trial.lose_and_find();
    trial.simulator().offer(trial.camera(), trial.request(), {{{{}, 1, 1, 0}, kLost}});
    const std::string file = (trial.directory().temporary_directory() / "file").string();
    std::ofstream(file) << "in the way";
    const std::string path = file + "/below";
    const auto error =
        platform::system_files().make_directory(path, platform::FileSystem::Existing::kAnything);
    const Request request = trial.request();
    const std::string guid = trial.simulator().guid(request.operation);
    const Operation operation = *trial.simulator().operation(request);
    trial.model().expect_log(
        25, fmt::format("NorVane - requesting recordings from {} gap start time{} gap end time {}",
                        name_of(operation.device), utc_text(operation.start), utc_text(operation.end)));
    trial.model().expect_log(
        75, fmt::format("Error 'system:{}' trying to create directory '{}'", error.value(), quoted(path)));
    trial.send(reservation_document(guid, path, "/"));
    trial.simulator().close();
}

constexpr std::array kCases = {
    Case{"documents.start-and-end", "registration, features, the log lines of start and end", start_and_end},
    Case{"documents.one-retrieval", "every request, status and log line of one retrieval", one_retrieval},
    Case{"documents.numbers", "identifiers are written signed, device numbers unsigned", numbers},
    Case{"documents.gigabytes", "space asked for, from the megabytes reported", gigabytes},
    Case{"documents.paths", "paths in quoted form, directories made with their parents", paths},
    Case{"documents.directory-not-made", "a directory that cannot be made: one line, no request",
         directory_not_made},
};

}  // namespace

Cases document_cases() {
    return kCases;
}

}  // namespace recorder::validate
