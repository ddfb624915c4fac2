// Plays each file of tests/engine/conversations and compares what the engine does with what the file says. To
// accept a change of behavior, rewrite the files and review each changed line:
//     NORVANEPI_REWRITE_GOLDEN=1 build/dev/tests/engine/test_engine
//
// The first line of a file is its title. Blocks follow, separated by empty lines: commands, a line "----",
// and every request, log line and saved record that they cause. "# " starts a comment among the commands.
// Times are seconds since 1970. Commands:
//     now TIME                             sets the clock
//     stored disconnect DEVICES/DEVICE/CHANNEL TIME            adds to the saved state
//     stored operation #N DEVICES/DEVICE START..END attempts N
//     fault load TEXT                      loading fails with this text after the disconnects are read
//     fault save TEXT                      saving fails with this text
//     start, stop                          creates and destroys the engine
//     supported DEVICES/DEVICE, removed DEVICES/DEVICE
//     connected DEVICES/DEVICE[/CHANNEL] at TIME, disconnected ..., state N ...
//     storage-info #N SIZE GB, reservation #N TEMPORARY OUTPUT, clip #N FILE NAME START..END type N,
//     failed #N at TIME error N, done #N   replies about operation N

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "engine/nor_vane.h"
#include "tests/support/fake_time.h"
#include "tests/support/request_log_server.h"

namespace {

using Lines = std::vector<std::string>;

/// Saved state in memory. It records what is saved and can fail.
class FakeStore final : public norvane::IPersistentStore {
  public:
    FakeStore(RequestLogServer& record, const platform::Clock& clock) : record_(record), clock_(clock) {}

    void SaveState(std::vector<norvane::DisconnectRecord>& new_disconnects,
                   const std::vector<norvane::Operation>& new_operations) override {
        if (!save_fault.empty()) throw std::invalid_argument(save_fault);
        disconnects = new_disconnects;
        operations = new_operations;
        std::ostringstream saved;
        if (disconnects.empty() && operations.empty()) saved << "saved nothing\n";
        for (const auto& [time, key] : disconnects)
            saved << "saved disconnect " << key.devices_id << '/' << key.device_number << '/' << key.channel
                  << ' ' << platform::seconds_of(time) << '\n';
        for (const auto& [device, guid, start, end, attempts] : operations)
            saved << "saved operation " << RequestLogServer::number_of(guid) << ' ' << device.devices_id
                  << '/' << device.number << ' ' << platform::seconds_of(start) << ".."
                  << platform::seconds_of(end) << " attempts " << attempts << '\n';
        record_.add(saved.str());
    }
    void LoadState(std::vector<norvane::DisconnectRecord>& to_disconnects,
                   std::vector<norvane::Operation>& to_operations) override {
        to_disconnects = disconnects;
        if (!load_fault.empty()) throw std::invalid_argument(load_fault);
        to_operations = operations;
    }
    norvane::Ticks CurrentTime() override { return clock_.now(); }

    std::vector<norvane::DisconnectRecord> disconnects;
    std::vector<norvane::Operation> operations;
    std::string load_fault;
    std::string save_fault;

  private:
    RequestLogServer& record_;
    const platform::Clock& clock_;
};

/// Reads the arguments of a command. Throws std::invalid_argument at the first unexpected text.
class Arguments {
  public:
    explicit Arguments(const std::string& line) : in_(line) {}

    template <typename T>
    T get() {
        T value{};
        if (!(in_ >> value)) throw std::invalid_argument("missing or bad argument");
        return value;
    }
    void skip(std::string_view text) {
        for (const char expected : text)
            if (get<char>() != expected) throw std::invalid_argument("expected " + std::string(text));
    }
    norvane::DeviceKey device() {
        const auto devices_id = get<std::uint32_t>();
        skip("/");
        return {devices_id, get<std::uint32_t>()};
    }
    norvane::ChannelKey channel() {
        const norvane::DeviceKey key = device();
        const bool named = in_.peek() == '/';
        if (named) skip("/");
        return {.channel = named ? get<std::uint32_t>() : 0,
                .device_number = key.number,
                .devices_id = key.devices_id};
    }
    norvane::Guid guid() {
        skip("#");
        return RequestLogServer::guid(get<int>());
    }
    norvane::Ticks time() { return platform::ticks_of(get<std::int32_t>()); }
    norvane::Ticks time_after(std::string_view text) {
        skip(text);
        return time();
    }
    std::string rest() {
        std::string text;
        std::getline(in_ >> std::ws, text);
        return text;
    }

  private:
    std::istringstream in_;
};

/// One engine, its server and its saved state.
class Conversation {
  public:
    Conversation() { clock_.set_seconds(2'000'000); }

    void run(const std::string& line) {
        Arguments arguments(line);
        const auto command = arguments.get<std::string>();
        if (command == "now") {
            clock_.set_seconds(arguments.get<std::int32_t>());
        } else if (command == "stored") {
            add_stored(arguments);
        } else if (command == "fault") {
            std::string& fault =
                arguments.get<std::string>() == "load" ? store_.load_fault : store_.save_fault;
            fault = arguments.rest();
        } else if (command == "start") {
            engine_ = std::make_unique<norvane::CNorVane>(server_, store_, clock_);
        } else if (command == "stop") {
            engine_.reset();
        } else {
            report_event(command, arguments);
        }
        if (!arguments.rest().empty()) throw std::invalid_argument("too many arguments");
    }
    std::string take() { return server_.take(); }

  private:
    void add_stored(Arguments& arguments);
    void report_event(const std::string& command, Arguments& arguments);

    FakeClock clock_;
    RequestLogServer server_;
    FakeStore store_{server_, clock_};
    std::unique_ptr<norvane::CNorVane> engine_;
};

void Conversation::add_stored(Arguments& arguments) {
    if (arguments.get<std::string>() == "disconnect") {
        const norvane::ChannelKey channel = arguments.channel();
        store_.disconnects.push_back({arguments.time(), channel});
        return;
    }
    const norvane::Guid guid = arguments.guid();
    const norvane::DeviceKey device = arguments.device();
    const norvane::Ticks start = arguments.time();
    const norvane::Ticks end = arguments.time_after("..");
    arguments.skip("attempts");
    store_.operations.push_back({device, guid, start, end, arguments.get<std::int32_t>()});
}

void report_state(norvane::IEventSink& engine, std::int32_t state, Arguments& arguments) {
    const norvane::ChannelKey channel = arguments.channel();
    engine.OnChannelState(&channel, state, nullptr, arguments.time_after("at"));
}

void report_clip(norvane::IEventSink& engine, Arguments& arguments) {
    const norvane::Guid guid = arguments.guid();
    const auto file = arguments.get<std::string>();
    const auto name = arguments.get<std::string>();
    const norvane::Ticks start = arguments.time();
    const norvane::Ticks end = arguments.time_after("..");
    arguments.skip("type");
    engine.OnClipRetrieved(guid, file, arguments.get<std::int32_t>(), start, end, 5, name);
}

void report_failure(norvane::IEventSink& engine, Arguments& arguments) {
    const norvane::Guid guid = arguments.guid();
    const norvane::Ticks failed_clip_start = arguments.time_after("at");
    arguments.skip("error");
    engine.OnRetrievalFailed(guid, arguments.get<std::int32_t>(), failed_clip_start);
}

void Conversation::report_event(const std::string& command, Arguments& arguments) {
    using norvane::IEventSink;
    static const std::map<std::string, std::function<void(IEventSink&, Arguments&)>> events = {
        {"supported",
         [](IEventSink& engine, Arguments& from) {
             const auto [devices_id, number] = from.device();
             engine.OnDeviceSupported(static_cast<std::int32_t>(devices_id),
                                      static_cast<std::int32_t>(number));
         }},
        {"removed",
         [](IEventSink& engine, Arguments& from) {
             const auto [devices_id, number] = from.device();
             engine.OnDeviceRemoved(static_cast<std::int32_t>(devices_id), static_cast<std::int32_t>(number));
         }},
        {"connected", [](auto& engine, auto& from) { report_state(engine, norvane::kConnected, from); }},
        {"disconnected",
         [](auto& engine, auto& from) { report_state(engine, norvane::kDisconnected, from); }},
        {"state",
         [](auto& engine, auto& from) { report_state(engine, from.template get<std::int32_t>(), from); }},
        {"storage-info",
         [](IEventSink& engine, Arguments& from) {
             const norvane::Guid guid = from.guid();
             engine.OnStorageInfo(guid, from.get<std::uint32_t>());
             from.skip("GB");
         }},
        {"reservation",
         [](IEventSink& engine, Arguments& from) {
             const norvane::Guid guid = from.guid();
             const auto temporary = from.get<std::string>();
             engine.OnReservation(guid, temporary, from.get<std::string>());
         }},
        {"clip", report_clip},
        {"failed", report_failure},
        {"done", [](auto& engine, auto& from) { engine.OnRetrievalDone(from.guid()); }},
    };
    const auto event = events.find(command);
    if (event == events.end()) throw std::invalid_argument("unknown command");
    if (!engine_) throw std::invalid_argument("the engine is not started");
    event->second(*engine_, arguments);
}

Lines lines_in(std::istream& in) {
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

/// The same file with the output that the engine really gives.
Lines play(const Lines& file) {
    Conversation conversation;
    Lines played{file.at(0)};
    bool in_output = false;
    for (std::size_t i = 1; i < file.size(); ++i) {
        const std::string& line = file[i];
        if (line.empty()) in_output = false;
        if (in_output) continue;
        played.push_back(line);
        if (line == "----") {
            std::istringstream output(conversation.take());
            std::ranges::copy(lines_in(output), std::back_inserter(played));
            in_output = true;
        } else if (!line.empty() && !line.starts_with("# ")) {
            try {
                conversation.run(line);
            } catch (const std::exception& error) {
                throw std::invalid_argument("line " + std::to_string(i + 1) + ": " + error.what());
            }
        }
    }
    if (!in_output || !conversation.take().empty()) throw std::invalid_argument("the last block has no ----");
    return played;
}

/// The rest of the block from the position on.
std::string rest_of_block(Lines::const_iterator from, Lines::const_iterator end) {
    std::string text;
    for (; from != end && !from->empty(); ++from) text += "    " + *from + "\n";
    return text.empty() ? "    nothing more\n" : text;
}

std::vector<std::filesystem::path> files() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(CONVERSATIONS))
        files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

std::string name_of(const testing::TestParamInfo<std::filesystem::path>& file) {
    std::string name = file.param.stem().string();
    std::ranges::replace(name, '-', '_');
    return name;
}

}  // namespace

class ConversationTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(ConversationTest, EngineActsAsWritten) {
    std::ifstream in(GetParam());
    const Lines expected = lines_in(in);
    const Lines actual = play(expected);
    if (std::getenv("NORVANEPI_REWRITE_GOLDEN") != nullptr) {
        std::ofstream out(GetParam());
        for (const std::string& line : actual) out << line << '\n';
    }
    const auto [wanted, got] = std::ranges::mismatch(expected, actual);
    if (wanted == expected.end() && got == actual.end()) return;
    ADD_FAILURE_AT(GetParam().string().c_str(), static_cast<int>(wanted - expected.begin()) + 1)
        << "expected:\n"
        << rest_of_block(wanted, expected.end()) << "actual:\n"
        << rest_of_block(got, actual.end());
}

INSTANTIATE_TEST_SUITE_P(Engine, ConversationTest, testing::ValuesIn(files()), name_of);
