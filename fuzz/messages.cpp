// Sends the same host messages to the engine and to the reference engine. Both must send the same requests
// and log lines in the same order, and save the same state file.

#include <tinyxml2.h>

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

using Records = std::vector<norvane::DisconnectRecord>;
using Operations = std::vector<norvane::Operation>;

/// An engine with its own server and state file. Some saves fail.
template <typename Engine>
class EngineUnderTest final : public norvane::IPersistentStore {
  public:
    EngineUnderTest(const platform::Clock& clock, const std::string& state)
        : clock_(clock), store_(files_, clock) {
        files_.put(norvane::state::kFileName, state);
    }

    void restart(bool save_fails) {
        save_fails_ = save_fails;
        engine.reset();
        engine = std::make_unique<Engine>(server, *this, clock_);
    }
    [[nodiscard]] const std::string& state_file() { return files_.at(norvane::state::kFileName); }

    void SaveState(Records& records, const Operations& operations) override {
        if (save_fails_) throw std::invalid_argument("disk full");
        store_.SaveState(records, operations);
    }
    void LoadState(Records& records, Operations& operations) override {
        store_.LoadState(records, operations);
    }
    norvane::Ticks CurrentTime() override { return store_.CurrentTime(); }

    RequestLogServer server;

  private:
    const platform::Clock& clock_;
    MemoryFiles files_;
    norvane::CXmlStore store_;
    bool save_fails_ = false;

  public:
    std::unique_ptr<Engine> engine;  // last: its destructor uses the members above
};

class Conversation {
  public:
    explicit Conversation(ByteSource& in)
        : in_(in),
          state_(in.chance(64) ? in.text() : "<Pavo/>"),
          real_(clock_, state_),
          reference_(clock_, state_) {}

    void run() {
        restart();
        while (!in_.empty()) {
            const std::uint8_t kind = in_.byte();
            if (kind == 0) restart();
            if (kind >= 240) clock_.set_seconds(2'000'000 + kind);
            send(host_message(in_, guids_));
        }
        restart();
    }

  private:
    void restart() {
        const bool save_fails = in_.chance(16);
        real_.restart(save_fails);
        reference_.restart(save_fails);
        working_ = false;
        compare();
        require(real_.state_file() == reference_.state_file(), "both engines save the same state");
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
    void check_status(std::string_view sent) {
        for (std::size_t end = 0; (end = sent.find('\n')) != sent.npos; sent.remove_prefix(end + 1)) {
            const bool starts = sent.starts_with("started ");
            if (starts) require(!working_, "a second start report follows the end report");
            if (starts || sent.starts_with("status ")) working_ = starts;
        }
    }

    ByteSource& in_;
    FakeClock clock_;
    std::string state_;
    EngineUnderTest<norvane::CNorVane> real_;
    EngineUnderTest<model::ReferenceEngine> reference_;
    std::vector<norvane::Guid> guids_;
    bool working_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource in({data, size});
    Conversation(in).run();
    return 0;
}
