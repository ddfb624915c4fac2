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

    void restart(bool save_fails, const platform::Clock& clock) {
        files.save_fails = save_fails;
        engine.reset();
        store.emplace(files, clock);
        engine.emplace(server, *store, clock);
    }
};

class Conversation {
  public:
    explicit Conversation(std::span<const std::uint8_t> bytes) : in_(bytes) {
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
        }
        restart();
    }

  private:
    void restart() {
        const bool save_fails = in_.chance(16);
        real_.restart(save_fails, clock_);
        reference_.restart(save_fails, clock_);
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
    FakeClock clock_;
    Side<norvane::CNorVane> real_;
    Side<model::ReferenceEngine> reference_;
    std::vector<norvane::Guid> guids_;
    HostMessages messages_{in_, guids_};
    bool working_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Conversation({data, size}).run();
    return 0;
}
