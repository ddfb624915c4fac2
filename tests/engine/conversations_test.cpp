// Plays each file of tests/engine/conversations and compares what the engine does with what the file says. To
// accept a change of behavior, rewrite the files and review each changed line:
//     NORVANEPI_REWRITE_GOLDEN=1 build/dev/tests/engine/test_engine
//
// The first line of a file is its title. Blocks follow, separated by empty lines: commands, a line "----",
// and every request, log line and saved record that they cause. "# " starts a comment among the commands.
// Times are seconds since 1970. A device is DEVICES/NUMBER, a channel DEVICES/NUMBER/CHANNEL. Commands:
//     options KEY=NUMBER...                sets options, before the start
//     now TIME, tick TIME                  sets the clock; tick also tells the engine
//     stored-disconnect CHANNEL TIME       adds to the saved state
//     stored-operation #N DEVICE START..END attempts N
//     load-fault WORD                      loading fails with this text after the disconnects are read
//     save-fault WORD                      saving fails with this text
//     start, stop                          creates and destroys the engine
//     show                                 writes what the engine knows
//     supported DEVICE, removed DEVICE
//     connected CHANNEL at TIME, disconnected CHANNEL at TIME, state N CHANNEL at TIME
//     gap CHANNEL FROM..TO                 supported, disconnected and connected
//     storage-info #N GIGABYTES, reservation #N TEMPORARY OUTPUT, clip #N FILE NAME START..END type N,
//     failed #N at TIME error N, done #N, unusable #N REASON   replies about operation N
// An event before the first start creates the engine; the output of its start is not shown.

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "engine/nor_vane.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_store.h"
#include "tests/support/request_log_server.h"
#include "tests/support/temp_directory.h"
#include "tests/support/time_zone.h"

namespace {

using norvane::ChannelKey, norvane::DeviceKey, norvane::Guid, norvane::Ticks;
using Text = std::string;

/// Writes what is saved as lines, and can fail.
class FaultyStore final : public MemoryStore {
  public:
    FaultyStore(RequestLogServer& log, const platform::Clock& clock) : log_(log), clock_(clock) {}

    void SaveState(std::vector<norvane::DisconnectRecord>& new_records,
                   const std::vector<norvane::Operation>& new_operations) override {
        if (!save_fault.empty()) throw std::invalid_argument(save_fault);
        MemoryStore::SaveState(new_records, new_operations);
        std::ostringstream saved;
        if (records.empty() && operations.empty()) saved << "saved nothing\n";
        for (const auto& [time, key] : records)
            saved << "saved disconnect " << key.devices_id << '/' << key.device_number << '/' << key.channel
                  << ' ' << platform::seconds_of(time) << '\n';
        for (const auto& [device, guid, start, end, attempts] : operations)
            saved << "saved operation " << RequestLogServer::number_of(guid) << ' ' << device.devices_id
                  << '/' << device.number << ' ' << platform::seconds_of(start) << ".."
                  << platform::seconds_of(end) << " attempts " << attempts << '\n';
        log_.add(saved.str());
    }
    void LoadState(std::vector<norvane::DisconnectRecord>& to_records,
                   std::vector<norvane::Operation>& to_operations) override {
        to_records = records;
        if (!load_fault.empty()) throw std::invalid_argument(load_fault);
        to_operations = operations;
    }
    Ticks CurrentTime() override { return clock_.now(); }

    void SaveEngineState(norvane::EngineState& state) override {
        norvane::IPersistentStore::SaveEngineState(state);
        failures.clear();
        std::ostringstream saved;
        for (const norvane::OperationState& operation : state.operations) {
            const auto& [reason, error, since] = operation.failure;
            if (since == 0) continue;
            failures[operation.guid] = operation.failure;
            saved << "saved failure " << RequestLogServer::number_of(operation.guid) << " reason "
                  << static_cast<int>(reason) << " error " << error << " since "
                  << platform::seconds_of(since) << '\n';
        }
        log_.add(saved.str());
    }
    void LoadEngineState(norvane::EngineState& state) override {
        norvane::IPersistentStore::LoadEngineState(state);
        for (norvane::OperationState& operation : state.operations)
            operation.failure = failures[operation.guid];
    }

    Text load_fault;
    Text save_fault;
    std::map<Guid, norvane::Failure> failures;

  private:
    RequestLogServer& log_;
    const platform::Clock& clock_;
};

/// Skips words and signs up to the number.
template <typename Number>
void read(std::istream& in, Number& number) {
    while (in && std::isdigit(in.peek()) == 0 && in.peek() != '-') in.get();
    in >> number;
}
void read(std::istream& in, Text& word) {
    in >> word;
}
void read(std::istream& in, Ticks& time) {
    std::int32_t seconds = 0;
    read(in, seconds);
    time = platform::ticks_of(seconds);
}
void read(std::istream& in, Guid& guid) {
    int number = 0;
    read(in, number);
    guid = RequestLogServer::guid(number);
}
void read(std::istream& in, DeviceKey& device) {
    read(in, device.devices_id);
    read(in, device.number);
}
void read(std::istream& in, ChannelKey& key) {
    read(in, key.devices_id);
    read(in, key.device_number);
    if (in.peek() == '/') read(in, key.channel);
}

/// One engine, its server and its saved state. Each command is a function of the same name.
class Conversation {
  public:
    void set_option(const Text& key, std::int32_t value) {
        using norvane::Options;
        static const std::map<Text, std::function<void(Options&, std::int32_t)>> keys = {
            {"channels", [](Options& to, std::int32_t on) { to.channels = on != 0; }},
            {"attempts", [](Options& to, std::int32_t on) { to.attempts = on != 0; }},
            {"request-timeout", [](Options& to, std::int32_t seconds) { to.request_timeout = seconds; }},
            {"retries", [](Options& to, std::int32_t number) { to.retries = number; }},
            {"retry-delay", [](Options& to, std::int32_t seconds) { to.retry_delay = seconds; }},
            {"failed-for", [](Options& to, std::int32_t days) { to.failed_for = days; }},
        };
        keys.at(key)(options_, value);
    }
    void now(Ticks time) { clock_.set_seconds(platform::seconds_of(time)); }
    void tick(Ticks time) {
        now(time);
        engine().OnTick(time);
    }
    void stored_disconnect(ChannelKey channel, Ticks time) { store_.records.push_back({time, channel}); }
    void stored_operation(Guid guid, DeviceKey device, Ticks start, Ticks end, std::int32_t attempts) {
        store_.operations.push_back({device, guid, start, end, attempts});
    }
    void load_fault(Text text) { store_.load_fault = std::move(text); }
    void save_fault(Text text) { store_.save_fault = std::move(text); }
    void start() { engine_ = std::make_unique<norvane::CNorVane>(server_, store_, clock_, options_); }
    void stop() { engine_.reset(); }
    void show() {
        const norvane::EngineState state = engine().state();
        std::ostringstream text;
        for (const auto& [time, key] : state.gaps) text << "gap " << shown(key) << '\n';
        for (const ChannelKey& key : state.connected) text << "connected " << shown(key) << '\n';
        for (const norvane::OperationState& operation : state.operations) {
            text << "operation " << RequestLogServer::number_of(operation.guid) << " stage "
                 << static_cast<int>(operation.stage) << " attempts " << operation.attempts << " reason "
                 << static_cast<int>(operation.failure.reason) << '\n';
        }
        server_.add(text.str());
    }
    void supported(std::int32_t devices_id, std::int32_t number) {
        engine().OnDeviceSupported(devices_id, number);
    }
    void removed(std::int32_t devices_id, std::int32_t number) {
        engine().OnDeviceRemoved(devices_id, number);
    }
    void state(std::int32_t state, ChannelKey channel, Ticks time) {
        engine().OnChannelState(&channel, state, nullptr, time);
    }
    void connected(ChannelKey channel, Ticks time) { state(norvane::kConnected, channel, time); }
    void disconnected(ChannelKey channel, Ticks time) { state(norvane::kDisconnected, channel, time); }
    void gap(ChannelKey channel, Ticks from, Ticks to) {
        supported(static_cast<std::int32_t>(channel.devices_id),
                  static_cast<std::int32_t>(channel.device_number));
        disconnected(channel, from);
        connected(channel, to);
    }
    void storage_info(Guid guid, std::uint32_t gigabytes) { engine().OnStorageInfo(guid, gigabytes); }
    void reservation(Guid guid, Text temporary, Text output) {
        engine().OnReservation(guid, temporary, output);
    }
    void clip(Guid guid, Text file, Text name, Ticks start, Ticks end, std::int32_t type) {
        engine().OnClipRetrieved(guid, file, type, start, end, 5, name);
    }
    void failed(Guid guid, Ticks clip_start, std::int32_t error) {
        engine().OnRetrievalFailed(guid, error, clip_start);
    }
    void done(Guid guid) { engine().OnRetrievalDone(guid); }
    void unusable(Guid guid, Text reason) { engine().OnUnusableAnswer(guid, reason); }

    Text take() { return server_.take(); }

  private:
    static Text shown(const ChannelKey& key) {
        std::ostringstream text;
        text << key.devices_id << '/' << key.device_number << '/' << key.channel;
        return text.str();
    }
    norvane::CNorVane& engine() {
        if (!engine_) start(), (void)take();
        return *engine_;
    }

    norvane::Options options_;
    FakeClock clock_;
    RequestLogServer server_;
    FaultyStore store_{server_, clock_};
    std::unique_ptr<norvane::CNorVane> engine_;
};

using Command = std::function<void(Conversation&, std::istream&)>;

/// Reads the arguments of the function and calls it.
template <typename... Values>
Command command(void (Conversation::*act)(Values...)) {
    return [act](Conversation& conversation, std::istream& in) {
        std::tuple<Values...> values;
        std::apply([&in](auto&... value) { (read(in, value), ...); }, values);
        if (!in || in.rdbuf()->in_avail() > 0) throw std::invalid_argument("wrong arguments");
        std::apply([&](const auto&... value) { (conversation.*act)(value...); }, values);
    };
}

/// Reads pairs of the form KEY=NUMBER.
void set_options(Conversation& conversation, std::istream& in) {
    Text key;
    for (std::int32_t value = 0; std::getline(in >> std::ws, key, '=') && in >> value;)
        conversation.set_option(key, value);
    if (!in.eof()) throw std::invalid_argument("wrong options");
}

void run(Conversation& conversation, const Text& line) {
    using C = Conversation;
    static const std::map<Text, Command> commands = {
        {"options", set_options},
        {"now", command(&C::now)},
        {"tick", command(&C::tick)},
        {"stored-disconnect", command(&C::stored_disconnect)},
        {"stored-operation", command(&C::stored_operation)},
        {"load-fault", command(&C::load_fault)},
        {"save-fault", command(&C::save_fault)},
        {"start", command(&C::start)},
        {"stop", command(&C::stop)},
        {"show", command(&C::show)},
        {"supported", command(&C::supported)},
        {"removed", command(&C::removed)},
        {"state", command(&C::state)},
        {"connected", command(&C::connected)},
        {"disconnected", command(&C::disconnected)},
        {"gap", command(&C::gap)},
        {"storage-info", command(&C::storage_info)},
        {"reservation", command(&C::reservation)},
        {"clip", command(&C::clip)},
        {"failed", command(&C::failed)},
        {"done", command(&C::done)},
        {"unusable", command(&C::unusable)},
    };
    std::istringstream in(line);
    Text name;
    in >> name;
    const auto found = commands.find(name);
    if (found == commands.end()) throw std::invalid_argument("unknown command");
    found->second(conversation, in);
}

/// The same file with the output that the engine really gives.
Text play(const Text& file) {
    Conversation conversation;
    conversation.now(platform::ticks_of(2'000'000));
    std::istringstream in(file);
    Text line;
    std::getline(in, line);
    Text played = line + "\n";
    bool in_output = false;
    while (std::getline(in, line)) {
        in_output = in_output && !line.empty();
        if (in_output) continue;
        played += line + "\n";
        if (line == "----") {
            played += conversation.take();
            in_output = true;
        } else if (!line.empty() && !line.starts_with("# ")) {
            try {
                run(conversation, line);
            } catch (const std::exception& error) {
                ADD_FAILURE() << line << ": " << error.what();
            }
        }
    }
    EXPECT_TRUE(in_output && conversation.take().empty()) << "the last block has no ----";
    return played;
}

}  // namespace

TEST(ConversationTest, EngineActsAsWritten) {
    const TimeZone here(kCentralEurope);  // all times are UTC
    for (const auto& file : std::filesystem::directory_iterator(CONVERSATIONS)) {
        SCOPED_TRACE(file.path());
        const Text expected = read_file(file.path().string());
        const Text actual = play(expected);
        if (std::getenv("NORVANEPI_REWRITE_GOLDEN") != nullptr) write_file(file.path().string(), actual);
        EXPECT_EQ(actual, expected);
    }
}
