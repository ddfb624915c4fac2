// Sends the same host messages to the engine and to the reference engine. Both must send the same requests
// and log lines in the same order, and save the same state file.

#include <tinyxml2.h>

#include <optional>
#include <sstream>
#include <stdexcept>

#include "engine/nor_vane.h"
#include "fuzz/host_messages.h"
#include "fuzz/require.h"
#include "host/dispatch.h"
#include "store/state_names.h"
#include "store/xml_store.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/request_log_server.h"
#include "tools/model/reference_engine.h"

namespace {

/// Files that cannot always be saved.
class StateFiles final : public MemoryFiles {
  public:
    bool replace_whole(const std::string& path, std::string_view content) override {
        if (save_fails) throw std::invalid_argument("disk full");
        return MemoryFiles::replace_whole(path, content);
    }

    bool save_fails = false;
};

/// An engine with its own server and state file.
template <typename Engine>
struct Side {
    StateFiles files;
    RequestLogServer server;
    std::optional<norvane::CXmlStore> store;
    std::optional<Engine> engine;  // last: its destructor uses the members above

    void restart(bool save_fails, const platform::Clock& clock, const norvane::Options& options) {
        files.save_fails = save_fails;
        engine.reset();
        store.emplace(files, clock, options);
        engine.emplace(server, *store, clock, options);
    }
};

class Conversation {
  public:
    Conversation(std::span<const std::uint8_t> bytes, bool with_options) : in_(bytes) {
        if (with_options) choose_options();
        const std::string state = in_.chance(64) ? in_.text() : "<Pavo/>";
        real_.files.put(norvane::state::kFileName, state);
        reference_.files.put(norvane::state::kFileName, state);
    }

    void run() {
        restart();
        while (!in_.empty()) {
            const std::uint8_t kind = in_.byte();
            if (kind == 0) restart();
            if (kind >= 240) clock_.set_seconds(2'000'000 + kind);
            send(messages_.next());
            if (options_ != norvane::Options{}) pass_time();
        }
        restart();
    }

  private:
    void choose_options() {
        const std::uint8_t choice = in_.byte();
        options_ = {.channels = (choice & 1U) != 0,
                    .request_timeout = (choice & 2U) != 0 ? 1 + in_.byte() : 0,
                    .attempts = (choice & 4U) != 0,
                    .retries = (choice & 8U) != 0 ? 1 + in_.byte() % 8 : 0,
                    .retry_delay = (choice & 16U) != 0 ? in_.byte() : 0,
                    .failed_for = (choice & 32U) != 0 ? 1 : 0};
    }

    /// Up to a quarter of an hour; sometimes days, also back.
    void pass_time() {
        const std::uint8_t step = in_.byte();
        const std::int32_t seconds = step < 250 ? step * step / 64 : (step - 252) * 50'000;
        clock_.set_seconds(platform::seconds_of(clock_.now()) + seconds);
        real_.engine->OnTick(clock_.now());
        reference_.engine->OnTick(clock_.now());
        compare();
    }

    void restart() {
        const bool save_fails = in_.chance(16);
        real_.restart(save_fails, clock_, options_);
        reference_.restart(save_fails, clock_, options_);
        working_ = false;
        compare();
        require(real_.files.at(norvane::state::kFileName) == reference_.files.at(norvane::state::kFileName),
                "both engines save the same state");
    }

    void send(const std::string& text) {
        tinyxml2::XMLDocument document;
        if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return;
        DispatchHostMessage(document, *real_.engine, clock_);
        DispatchHostMessage(document, *reference_.engine, clock_);
        compare();
    }

    void compare() {
        const std::string sent = real_.server.take();
        const std::string expected = reference_.server.take();
        if (sent != expected) fail("the engine sends\n" + sent + "instead of\n" + expected);
        require(!reference_.engine->operations().empty() || reference_.engine->is_idle(),
                "an engine without operations is idle");
        check_status(sent);
        guids_.clear();
        for (const auto& operation : reference_.engine->operations()) guids_.push_back(operation.guid);
    }

    /// Start and end reports alternate. Restored operations continue without a start report.
    void check_status(const std::string& sent) {
        std::istringstream lines(sent);
        for (std::string line; std::getline(lines, line);) {
            const bool starts = line.starts_with("started ");
            require(!starts || !working_, "a second start report follows the end report");
            if (starts || line.starts_with("status ")) working_ = starts;
        }
    }

    ByteSource in_;
    norvane::Options options_;
    FakeClock clock_;
    Side<norvane::CNorVane> real_;
    Side<model::ReferenceEngine> reference_;
    std::vector<norvane::Guid> guids_;
    HostMessages messages_{in_, guids_};
    bool working_ = false;
};

}  // namespace

/// An input that begins with "?" chooses options.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool with_options = size > 0 && data[0] == '?';
    const std::size_t skipped = with_options ? 1 : 0;
    Conversation({data + skipped, size - skipped}, with_options).run();
    return 0;
}
