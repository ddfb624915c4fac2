// A row of host messages through the dispatcher into the engine and, beside it, into a second one that is
// too simple to be wrong: both have to ask the host for the same, line by line, and leave the same state
// file.

#include <tinyxml2.h>

#include <stdexcept>

#include "engine/nor_vane.h"
#include "fuzz/host_messages.h"
#include "fuzz/require.h"
#include "fuzz/simple_engine.h"
#include "host/dispatch.h"
#include "store/state_names.h"
#include "store/xml_store.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/recording_server.h"

namespace {

/// A state file in memory that cannot always be written.
class Store final : public norvane::IPersistentStore {
  public:
    explicit Store(const platform::Clock& clock) : store_(files, clock) {}
    void SaveState(std::vector<norvane::DisconnectRecord>& records,
                   const std::vector<norvane::Operation>& operations) override {
        if (fails) throw std::invalid_argument("no room");
        store_.SaveState(records, operations);
    }
    void LoadState(std::vector<norvane::DisconnectRecord>& records,
                   std::vector<norvane::Operation>& operations) override {
        store_.LoadState(records, operations);
    }
    norvane::Ticks CurrentTime() override { return store_.CurrentTime(); }

    MemoryFiles files;
    bool fails = false;

  private:
    norvane::CXmlStore store_;
};

/// An engine with a host of its own.
template <typename Engine>
class Side {
  public:
    explicit Side(const platform::Clock& clock) : clock_(clock), store(clock) {}

    void restart(bool save_fails) {
        store.fails = save_fails;
        engine.reset();
        engine = std::make_unique<Engine>(server, store, clock_);
    }
    [[nodiscard]] std::string state_file() {
        return store.files.read_whole(norvane::state::kFileName).value_or("");
    }

  private:
    const platform::Clock& clock_;

  public:
    RecordingServer server;
    Store store;
    std::unique_ptr<Engine> engine;
};

class Conversation {
  public:
    explicit Conversation(std::span<const std::uint8_t> bytes) : in_(bytes) {
        clock_.set_seconds(2'000'000);
        const std::string state = in_.chance(64) ? in_.text() : "<Pavo/>";
        real_.store.files.put(norvane::state::kFileName, state);
        simple_.store.files.put(norvane::state::kFileName, state);
        restart();
    }

    void run() {
        while (!in_.empty()) {
            const std::uint8_t kind = in_.byte();
            if (kind == 0) restart();
            if (kind >= 224) clock_.set_seconds(2'000'000 + 100 * (kind - 224));
            hear(host_message(in_, guids_));
        }
        restart();
    }

  private:
    void restart() {
        const bool save_fails = in_.chance(16);
        real_.restart(save_fails);
        simple_.restart(save_fails);
        working_ = false;
        compare();
        require(real_.state_file() == simple_.state_file(), "the state file differs");
    }

    void hear(const std::string& text) {
        tinyxml2::XMLDocument document;
        if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return;
        DispatchHostMessage(document, *real_.engine, clock_);
        DispatchHostMessage(document, *simple_.engine, clock_);
        compare();
    }

    void compare() {
        const std::string asked = real_.server.take();
        const std::string expected = simple_.server.take();
        if (asked != expected) fail("the engine asks\n" + asked + "and not\n" + expected);
        require(!simple_.engine->operations().empty() || simple_.engine->is_idle(),
                "nothing to do, but busy");
        check_work(asked);
        guids_.clear();
        for (const norvane::Operation& operation : simple_.engine->operations())
            guids_.push_back(operation.guid);
    }

    /// Start and end of the work alternate; the operations of a state file go on without a start.
    void check_work(std::string_view asked) {
        for (std::size_t end = 0; (end = asked.find('\n')) != asked.npos; asked.remove_prefix(end + 1)) {
            const bool starts = asked.starts_with("started ");
            if (starts) require(!working_, "started twice");
            if (starts || asked.starts_with("status ")) working_ = starts;
        }
    }

    ByteSource in_;
    FakeClock clock_;
    Side<norvane::CNorVane> real_{clock_};
    Side<SimpleEngine> simple_{clock_};
    std::vector<norvane::Guid> guids_;
    bool working_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Conversation({data, size}).run();
    return 0;
}
