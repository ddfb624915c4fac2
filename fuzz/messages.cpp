// A row of host messages through the dispatcher into the engine and, beside it, into a second one that is
// too simple to be wrong: both have to ask the host for the same, line by line, and leave the same state
// file.

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

/// An engine with a host and a state file of its own. Some state files cannot be written.
template <typename Engine>
class Side final : public norvane::IPersistentStore {
  public:
    Side(const platform::Clock& clock, const std::string& state) : clock_(clock), store_(files_, clock) {
        files_.put(norvane::state::kFileName, state);
    }

    void restart(bool save_fails) {
        save_fails_ = save_fails;
        engine.reset();
        engine = std::make_unique<Engine>(server, *this, clock_);
    }
    [[nodiscard]] const std::string& state_file() { return files_.at(norvane::state::kFileName); }

    void SaveState(Records& records, const Operations& operations) override {
        if (save_fails_) throw std::invalid_argument("no room");
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
    std::unique_ptr<Engine> engine;  // saves while it goes, so it goes first
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
            hear(host_message(in_, guids_));
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
        require(real_.state_file() == reference_.state_file(), "the state file differs");
    }

    void hear(const std::string& text) {
        tinyxml2::XMLDocument document;
        if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return;
        DispatchHostMessage(document, *real_.engine, clock_);
        DispatchHostMessage(document, *reference_.engine, clock_);
        compare();
    }

    void compare() {
        const std::string asked = real_.server.take();
        const std::string expected = reference_.server.take();
        if (asked != expected) fail("the engine asks\n" + asked + "and not\n" + expected);
        require(!reference_.engine->operations().empty() || reference_.engine->is_idle(),
                "nothing to do, but busy");
        check_work(asked);
        guids_.clear();
        for (const auto& operation : reference_.engine->operations()) guids_.push_back(operation.guid);
    }

    /// Start and end of the work alternate; the operations of a state file go on without a start.
    void check_work(std::string_view asked) {
        for (std::size_t end = 0; (end = asked.find('\n')) != asked.npos; asked.remove_prefix(end + 1)) {
            const bool starts = asked.starts_with("started ");
            if (starts) require(!working_, "started twice");
            if (starts || asked.starts_with("status ")) working_ = starts;
        }
    }

    ByteSource& in_;
    FakeClock clock_;
    std::string state_;
    Side<norvane::CNorVane> real_;
    Side<model::ReferenceEngine> reference_;
    std::vector<norvane::Guid> guids_;
    bool working_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource in({data, size});
    Conversation(in).run();
    return 0;
}
