#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plugin/interfaces/records.h"
#include "tools/ps/report/log_text.h"
#include "tools/ps/report/lost_time.h"

namespace tinyxml2 {
class XMLElement;
}  // namespace tinyxml2

namespace ps_tool {

/// Derives the lost times from what host and module exchanged. Takes documents and log texts in their order.
/// Content that occurs twice, as a document and as a text or because a host logs it twice, counts once.
/// Memory grows with the number of losses, operations and clips.
class LossTracker {
  public:
    /// The time of the following documents and texts, by the clock of the log.
    void set_time(std::int64_t time) { log_time_ = time; }
    /// False if it is not a document of host or module.
    bool add_document(std::string_view document);
    /// False if the module does not log this text.
    bool add_text(std::string_view text);

    /// The lost times up to now.
    [[nodiscard]] std::vector<LostTime> lost_times() const;

  private:
    using Device = norvane::DeviceKey;
    using Channel = std::pair<Device, std::int32_t>;

    /// An instant of the recordings' clock.
    struct Instant {
        std::int64_t time = 0;
        bool reported = false;  // otherwise an estimate
    };
    struct ChannelState {
        std::optional<Instant> lost_since = {};
        std::int64_t last_loss = 0;  // as reported
        std::int64_t last_seen = 0;  // as reported: when the channel was connected
    };
    /// A channel was reported as connected.
    struct Return {
        Instant begin;  // of the loss; without one the last time at which it was connected before
        Instant end;
        bool was_lost = false;
        std::uint64_t number = 0;  // in the order of the log
    };
    struct Operation {
        LostTime lost;
        std::uint64_t number = 0;  // of the latest request; 0: not requested
        Interval requested = {};
        bool reported = false;           // the channel's loss, or its connection before
        bool begins_with_clips = false;  // nothing else tells when the gap began
        bool done = false;
        /// Why a clip was refused whose time is not in the log. Without other clips, it counts for all that
        /// is missing.
        std::string unplaced_refusal = {};
    };
    struct Clip {
        std::string guid;
        Interval time;
        bool refused = false;
    };
    using Returns = std::multimap<std::int64_t, Return>;  // by the reported end, or 0

    void read_devices(const tinyxml2::XMLElement& devices);
    bool read_device(const tinyxml2::XMLElement& element, const Device& device);
    void read_channel(const tinyxml2::XMLElement& encoder, const Device& device);
    void read_storage(const tinyxml2::XMLElement& storage, const Device& device);
    void read_clip(const tinyxml2::XMLElement& storage);

    void lose(ChannelState& state, std::int64_t reported);
    void regain(const Device& device, ChannelState& state, std::int64_t reported);
    void remove(const Device& device);
    void add_return(const Device& device, std::int64_t reported, const Return& one);
    void create(const Device& device);
    void interrupt(const Device& device);

    void request(std::string guid, const Device& device, const Interval& requested);
    void name(const std::string& unnamed, const std::string& guid, const Device& device);
    void set_gap(Operation& operation, const Device& device);
    [[nodiscard]] std::optional<Return> take_return(const Device& device, const Interval& requested);
    [[nodiscard]] Operation* find_operation(const std::string& guid, const std::optional<Device>& device);
    void finish(Operation* operation);
    void fail(Operation* operation, const std::string& reason);
    void open_clip(const std::string& path);
    void refuse_clip(const std::string& path, const std::string& reason);

    [[nodiscard]] std::int64_t now() const;
    [[nodiscard]] Instant instant_of(std::int64_t reported);

    std::optional<std::int64_t> log_time_;
    std::int64_t clock_difference_ = 0;  // of the log to the recordings
    std::int64_t last_reported_ = 0;     // by a channel

    std::map<Channel, ChannelState> channels_;
    std::map<Device, Returns> returns_;  // not yet requested
    std::map<std::string, Operation> operations_;
    std::map<std::pair<Device, std::int64_t>, std::string> guids_by_end_;  // of requested operations
    std::map<Device, std::string> latest_guids_;                           // of requested operations
    std::string current_guid_;                                             // of the latest request
    std::uint64_t number_ = 0;                                             // of the latest return or request
    std::uint64_t all_done_ = 0;  // the same when the module had no operation left

    std::map<std::string, Clip> clips_;  // by path
    std::string latest_clip_;            // paths
    std::string converted_clip_;
    std::string refused_clip_;
    std::vector<LostTime> removed_;  // of removed devices
};

}  // namespace ps_tool
