// The host that is killed. It lives in real time, because the module's clock is the system's.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <tinyxml2.h>

#include "host/documents/names.h"
#include "tools/cli/exit_status.h"
#include "tools/recorder/crash/crash.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/host/module_host.h"
#include "tools/recorder/host/working_directory.h"
#include "tools/recorder/model/pattern.h"
#include "tools/recorder/model/random.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder::crash {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds, std::chrono::seconds, std::chrono::steady_clock;
using tinyxml2::XMLElement;

constexpr milliseconds kPoll{5};
constexpr seconds kQuiet{3};      // without a message, after which nothing more is expected
constexpr seconds kPatience{30};  // for operations that are delayed
constexpr Seconds kClipLength = 5;

/// A request of the module.
struct Asked {
    enum class Kind { kStorageInfo, kReservation, kRecordings } kind;
    std::string guid;
    std::uint32_t devices_id = 0;
    std::uint32_t number = 0;
    Seconds start = 0;
    Seconds stop = 0;
};

const XMLElement* child(const XMLElement* element, const char* name) {
    return element == nullptr ? nullptr : element->FirstChildElement(name);
}

/// Nothing if the document asks for nothing.
std::optional<Asked> request_in(const XMLElement* pavo) {
    const XMLElement* devices = child(pavo, names::kDevices);
    const XMLElement* device = child(devices, names::kDevice);
    const XMLElement* storage = child(device, names::kStorage);
    if (storage != nullptr) {
        const bool recordings = storage->Attribute(names::kCommand, names::kAskRecordings) != nullptr;
        return Asked{.kind = recordings ? Asked::Kind::kRecordings : Asked::Kind::kStorageInfo,
                     .guid = storage->Attribute(names::kGuid),
                     .devices_id = static_cast<std::uint32_t>(devices->IntAttribute(names::kId)),
                     .number = device->UnsignedAttribute(names::kNumber),
                     .start = storage->Int64Attribute(names::kStart),
                     .stop = storage->Int64Attribute(names::kStop)};
    }
    const XMLElement* reservation = child(child(pavo, names::kStorage), names::kReservation);
    if (reservation == nullptr || reservation->Attribute(names::kCommand, names::kReserve) == nullptr)
        return std::nullopt;
    return Asked{.kind = Asked::Kind::kReservation, .guid = reservation->Attribute(names::kGuid)};
}

class Host {
  public:
    Host(const Options& options, const WorkingDirectory& directory)
        : directory_(directory),
          random_(options.seed),
          calm_(options.calm),
          host_(options.module, seconds(options.patience), 0) {
        for (std::size_t i = 0; i < kCameras; ++i) cameras_.push_back({camera(i)});
    }

    void play() {
        for (const CameraState& state : cameras_)
            send(device_document(state.camera.device, state.camera.address));
        for (CameraState& state : cameras_) change(state);
        if (calm_) tell(fmt::format("{} {}", kEnd, present()));
        while (!ended()) {
            receive(kPoll);
            if (!requests_.empty() && (calm_ || random_.percent(50))) answer_one();
            if (!calm_ && steady_clock::now() >= next_change_) change(random_.pick(cameras_));
        }
        host_.stop();
    }

  private:
    struct CameraState {
        Camera camera;
        bool connected = false;
        [[nodiscard]] std::size_t number() const { return camera.device.number - 1; }
        /// The last camera's channel is not its first one.
        [[nodiscard]] std::uint32_t channel() const { return number() + 1 == kCameras ? 1 : 0; }
    };

    static void tell(const std::string& line) {
        fmt::print("{}\n", line);
        (void)std::fflush(stdout);
    }
    static void tell(Moment moment) { tell(kMoments.at(static_cast<std::size_t>(moment))); }

    /// Returns the number of the text.
    std::uint64_t send(const std::string& text) {
        const host_kit::LentBuffer lent = host_.lend(text);
        host_.send(lent, ModuleHost::Route::kWrite);
        return lent.number;
    }

    /// Prints the event before the report, because a host starts or stops recording before it reports that.
    void change(CameraState& state) {
        state.connected = !state.connected;
        const Seconds now = present();
        tell(fmt::format("{} {} {}", state.connected ? kRecords : kMisses, state.number(), now));
        send(channel_document(state.camera.device, state.connected, now, state.channel()));
        tell(Moment::kChange);
        next_change_ = steady_clock::now() + milliseconds(50 + random_.below(300));
    }

    [[nodiscard]] bool ended() const {
        if (!calm_ || !requests_.empty()) return false;
        const auto quiet = steady_clock::now() - last_message_;
        return quiet > (pending_ ? kPatience : kQuiet);
    }

    /// Returns the number of the text that the module returned, or 0.
    std::uint64_t receive(milliseconds timeout) {
        host_.require_running();
        const auto message = host_.take(timeout);
        if (!message) return 0;
        if (!message->fault.empty()) throw ModuleFault(message->fault);
        last_message_ = steady_clock::now();
        tinyxml2::XMLDocument document;
        if (message->returned_number == 0 && document.Parse(message->text.c_str()) == tinyxml2::XML_SUCCESS)
            note(document.FirstChildElement(names::kPavo));
        return message->returned_number;
    }

    void note(const XMLElement* pavo) {
        if (const XMLElement* status = child(pavo, names::kStatusReport))
            pending_ = status->IntAttribute(names::kStatus) == norvane::kStatusStarted;
        if (auto request = request_in(pavo)) requests_.push_back(std::move(*request));
    }

    void answer_one() {
        tell(Moment::kRequest);
        const std::size_t picked = random_.below(requests_.size());
        const Asked request = requests_[picked];
        requests_.erase(requests_.begin() + static_cast<std::ptrdiff_t>(picked));
        const Device device{request.devices_id, request.number};
        if (request.kind == Asked::Kind::kReservation) return grant(request);
        if (!calm_ && random_.percent(5)) {
            send(failed_document(device, request.guid, 5, request.start));
        } else if (request.kind == Asked::Kind::kStorageInfo) {
            send(storage_info_document(device, request.guid, {1, 1, request.start, request.stop}));
        } else {
            deliver(request, cameras_.at(request.number - 1).camera);
        }
    }

    void grant(const Asked& request) {
        send(reservation_document(request.guid, (directory_.temporary_directory() / request.guid).string(),
                                  directory_.output_directory()));
    }

    void deliver(const Asked& request, const Camera& camera) {
        for (Seconds start = request.start; start < request.stop; start += kClipLength) {
            const Seconds length = std::min(kClipLength, request.stop - start);
            const fs::path file =
                directory_.temporary_directory() / request.guid / fmt::format("{}.mp4", start);
            fs::create_directories(file.parent_path());
            (void)write_small_clip(file, length);
            tell(Moment::kConversion);
            const std::uint64_t number = send(clip_document(
                camera.device, request.guid,
                {.file = file.string(), .start = start, .stop = start + length, .input_name = camera.name}));
            wait_for_return(number);
        }
        send(done_document(camera.device, request.guid));
        fs::remove_all(directory_.temporary_directory() / request.guid);
    }

    void wait_for_return(std::uint64_t number) {
        const auto limit = steady_clock::now() + kPatience;
        while (receive(kPoll) != number) {
            if (steady_clock::now() > limit) throw ModuleFault("the module does not end a conversion");
        }
    }

    const WorkingDirectory& directory_;
    Random random_;
    bool calm_;
    std::vector<CameraState> cameras_;
    std::vector<Asked> requests_;
    bool pending_ = false;  // the module has operations, as far as its reports say
    steady_clock::time_point last_message_ = steady_clock::now();
    steady_clock::time_point next_change_ = steady_clock::now();
    ModuleHost host_;
};

}  // namespace

int run_host(const Options& options) {
    const WorkingDirectory directory(options.directory);
    try {
        Host(options, directory).play();
    } catch (const ModuleFault& fault) {
        cli::print_error(kProgram, fault.what());
        return cli::kFailure;
    }
    return cli::kSuccess;
}

}  // namespace recorder::crash
