// One message, from the start of its processing to the release of its buffer. A site sends messages in
// bursts, for example when a switch fails, and each one waits for those before it.

#include <tinyxml2.h>

#include "bench/ratios/retrieval.h"

namespace bench {
namespace {

using host_kit::Device;
using Texts = std::vector<std::string>;

constexpr double kMaxRatioToBare = 3;
constexpr double kMaxGrowth = 2.5;
constexpr double kMaxRatioToDefault = 1.3;  // of the safe profile
constexpr std::uint32_t kSmallSite = 100;
constexpr std::uint32_t kLargeSite = 20'000;
constexpr std::size_t kMessages = 100;  // of each kind, each about another device or operation
constexpr host_kit::Seconds kNow = 1'700'000'000;

Device device(std::uint32_t number) {
    return {.devices_id = 7, .number = number};
}

std::string announced(std::uint32_t number) {
    return host_kit::device_document(device(number), "10.0.0.1");
}
std::string disconnected(std::uint32_t number) {
    return host_kit::channel_document(device(number), false, kNow);
}
std::string connected(std::uint32_t number) {
    return host_kit::channel_document(device(number), true, kNow + 600);
}

/// One text per number, from first on.
template <typename Text>
Texts texts(std::uint32_t first, std::size_t count, Text text) {
    Texts all;
    for (std::uint32_t number = first; all.size() < count; ++number) all.push_back(text(number));
    return all;
}

/// The operations that were created according to the log lines, in order.
Texts operations_in(const Texts& replies) {
    Texts guids;
    for (const std::string& reply : replies)
        if (const auto guid = created_operation(reply)) guids.push_back(*guid);
    return guids;
}

/// Processor seconds of only parsing the messages, and building and printing their replies.
double bare_seconds(const Texts& messages, const Texts& replies) {
    std::vector<tinyxml2::XMLDocument> parsed(replies.size());
    for (std::size_t i = 0; i < replies.size(); ++i) parsed[i].Parse(replies[i].data(), replies[i].size());
    return time_of([&] {
        for (const std::string& message : messages) {
            tinyxml2::XMLDocument document;
            document.Parse(message.data(), message.size());
        }
        for (const tinyxml2::XMLDocument& reply : parsed) {
            tinyxml2::XMLDocument document;
            reply.DeepCopy(&document);
            tinyxml2::XMLPrinter printer(nullptr, true);
            document.Print(&printer);
            require(printer.CStrSize() > 1, "nothing was printed");
        }
    });
}

struct Kind {
    std::string name;
    Rounds seconds;
    Rounds bare;
};
using Kinds = std::vector<Kind>;

/// A site with the given number of connected channels, disconnected channels and operations.
class Site {
  public:
    Site(Host& host, std::uint32_t size, Kinds& kinds, Profile profile)
        : host_(host), size_(size), kinds_(kinds), profile_(profile) {
        host_.run(texts(1, 3 * std::size_t{size_} + kMessages, announced));
        host_.run(texts(1, size_, connected));
        host_.run(texts(1 + size_, size_ + size_ + kMessages, disconnected));
        host_.run(texts(1 + 2 * size_, size_ + kMessages, connected));
        operations_ = operations_in(host_.take_replies());
        require(operations_.size() == size_ + kMessages, "not every gap became an operation");
        settle();
    }

    /// Measures every kind of message once, always in this order.
    void measure_all() {
        measure("device announced again", texts(1, kMessages, announced), 0);
        measure("channel disconnected", texts(1, kMessages, disconnected), 0);
        const auto added =
            measure("channel connected, gap closed", texts(1, kMessages, connected), kMessages);
        measure("channel disconnected during its operation", texts(1, kMessages, disconnected), kMessages);
        const auto of_operation = [&](auto text) {
            return texts(0, kMessages, [&](std::uint32_t i) { return text(device(1), operations_[i]); });
        };
        measure("storage information", of_operation([](const Device& d, const std::string& guid) {
                    return host_kit::storage_info_document(
                        d, guid, {.recordings = 3, .megabytes = 700, .oldest = kNow, .newest = kNow + 600});
                }),
                2 * kMessages);
        measure("reservation", of_operation([](const Device&, const std::string& guid) {
                    return host_kit::reservation_document(guid, "tmp", "recordings/");
                }),
                2 * kMessages);
        measure("retrieval failed", of_operation([](const Device& d, const std::string& guid) {
                    return host_kit::failed_document(d, guid, 5, kNow);
                }),
                4 * kMessages);
        measure("retrieval done", of_operation(host_kit::done_document), 4 * kMessages);
        measure("done, unknown operation", of_operation(host_kit::done_document), kMessages);
        measure("device removed",
                texts(1 + size_, kMessages,
                      [](std::uint32_t n) { return host_kit::device_document(device(n), ""); }),
                0);
        host_.run(texts(1 + 2 * size_, size_ + kMessages, disconnected));
        settle();
        operations_ = added;
        measure("retrieval done, none can start", of_operation(host_kit::done_document), 2 * kMessages);
    }

  private:
    /// After a large burst, the allocator consolidates the freed memory at one of the next calls.
    void settle() {
        host_.take_replies();
        host_.run(texts(1, kMessages, announced));
    }

    /// Returns the operations that were created.
    Texts measure(const std::string& name, const Texts& messages, std::size_t replies_expected) {
        host_.take_replies();
        const double seconds = host_.run(messages).work_seconds;
        const Texts replies = host_.take_replies();
        // With the safe profile, one operation at a time waits for an answer, and no other one starts.
        const std::size_t least = profile_ == Profile::kSafe ? replies_expected / 2 : replies_expected;
        require(replies.size() >= least && replies.size() <= replies_expected + 2 * kMessages,
                name + ": " + std::to_string(replies.size()) + " replies");
        if (next_kind_ == kinds_.size()) kinds_.push_back({name, {}, {}});
        kinds_[next_kind_].seconds.push_back(seconds);
        kinds_[next_kind_].bare.push_back(bare_seconds(messages, replies));
        ++next_kind_;
        return operations_in(replies);
    }

    Host& host_;
    std::uint32_t size_;
    Kinds& kinds_;
    Profile profile_;
    Texts operations_;
    std::size_t next_kind_ = 0;
};

void round_of(const Effort& effort, std::uint32_t size, Kinds& kinds, Profile profile = Profile::kNone) {
    std::filesystem::remove("norvanepi_state.xml");
    Host host(effort.module, profile);
    Site(host, size, kinds, profile).measure_all();
}

}  // namespace

Figures message_figures(const Effort& effort) {
    Kinds small;
    Kinds large;
    Kinds safe;
    for (int round = 0; round < effort.many_rounds(); ++round) {
        round_of(effort, kSmallSite, small);
        round_of(effort, kSmallSite, safe, Profile::kSafe);
        if (round < effort.rounds()) round_of(effort, effort.scaled(kLargeSite), large);
    }
    std::filesystem::remove("norvanepi_state.xml");
    Figures of_bare;
    Figures growth;
    Figures of_default;
    for (std::size_t i = 0; i < small.size(); ++i) {
        of_bare.push_back(ratio("message vs. tinyxml2 alone: " + small[i].name, small[i].seconds,
                                small[i].bare, kMaxRatioToBare));
        growth.push_back(ratio("message, 20,000 vs. 100 channels: " + small[i].name, large[i].seconds,
                               small[i].seconds, kMaxGrowth));
        of_default.push_back(ratio("message, safe profile vs. default: " + small[i].name, safe[i].seconds,
                                   small[i].seconds, kMaxRatioToDefault));
    }
    of_bare.insert(of_bare.end(), growth.begin(), growth.end());
    of_bare.insert(of_bare.end(), of_default.begin(), of_default.end());
    return of_bare;
}

}  // namespace bench
