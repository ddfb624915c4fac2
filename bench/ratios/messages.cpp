// One message, from its turn to the release of its buffer. A site sends them in bursts, when a switch fails
// or a rack comes back, and every one waits for those in front of it.

#include <tinyxml2.h>

#include <algorithm>
#include <numeric>

#include "bench/ratios/retrieval.h"
#include "bench/ratios/subjects.h"

namespace bench {
namespace {

using recorder::Device;
using Texts = std::vector<std::string>;

constexpr double kMaxRatioToBare = 2;
constexpr double kMaxGrowth = 2.5;
constexpr std::uint32_t kSmallSite = 100;
constexpr std::uint32_t kLargeSite = 20'000;
constexpr std::size_t kMessages = 100;  // of a kind, each about a device or an operation of its own
constexpr recorder::Seconds kNow = 1'700'000'000;

Device device(std::uint32_t number) {
    return {.identifier = 7, .number = number};
}

std::string announced(std::uint32_t number) {
    return recorder::device_document(device(number), "10.0.0.1");
}
std::string lost(std::uint32_t number) {
    return recorder::channel_document(device(number), false, kNow);
}
std::string found(std::uint32_t number) {
    return recorder::channel_document(device(number), true, kNow + 600);
}

/// A text for every number from first on.
template <typename Text>
Texts texts(std::uint32_t first, std::size_t count, Text text) {
    Texts all;
    for (std::uint32_t number = first; all.size() < count; ++number) all.push_back(text(number));
    return all;
}

/// The operations that the log lines among these documents say were made, in order.
Texts operations_in(const Texts& replies) {
    Texts guids;
    for (const std::string& reply : replies) {
        if (reply.find("creating operation") != std::string::npos) guids.push_back(guid_in(reply));
    }
    return guids;
}

/// What tinyxml2 alone needs to read a message and to make and print its replies.
class Bare {
  public:
    explicit Bare(const Texts& replies) : replies_(replies.size()) {
        for (std::size_t i = 0; i < replies.size(); ++i)
            replies_[i].Parse(replies[i].data(), replies[i].size());
    }
    void run(const Texts& messages) {
        for (const std::string& message : messages) {
            tinyxml2::XMLDocument document;
            document.Parse(message.data(), message.size());
        }
        for (const tinyxml2::XMLDocument& reply : replies_) {
            tinyxml2::XMLDocument document;
            reply.DeepCopy(&document);
            tinyxml2::XMLPrinter printer(nullptr, true);
            document.Print(&printer);
            require(printer.CStrSize() > 1, "nothing was printed");
        }
    }

  private:
    std::vector<tinyxml2::XMLDocument> replies_;
};

struct Kind {
    std::string name;
    Rounds seconds;
    Rounds bare;
};
using Kinds = std::vector<Kind>;

/// A site with that many connected channels, lost ones, and operations, and its conversation.
class Site {
  public:
    Site(Host& host, std::uint32_t size, Kinds& kinds) : host_(host), size_(size), kinds_(kinds) {
        host_.run(texts(1, 3 * std::size_t{size_} + 2 * kMessages, announced));
        host_.run(texts(1, size_, found));
        host_.run(texts(1 + size_, size_ + size_ + kMessages, lost));
        host_.run(texts(1 + 2 * size_, size_ + kMessages, found));
        operations_ = operations_in(host_.take_replies());
        require(operations_.size() == size_ + kMessages, "not every gap became an operation");
        settle();
    }

    /// Every kind of message once, always in this order.
    void talk() {
        measure("device announced again", texts(1, kMessages, announced), 0);
        measure("channel found, no gap", texts(1 + 3 * size_ + kMessages, kMessages, found), 0);
        measure("channel lost", texts(1, kMessages, lost), 0);
        const auto added = measure("channel found, gap closed", texts(1, kMessages, found), kMessages);
        measure("channel lost during its operation", texts(1, kMessages, lost), kMessages);
        const auto of_operation = [&](auto text) {
            return texts(0, kMessages, [&](std::uint32_t i) { return text(device(1), operations_[i]); });
        };
        measure("storage information", of_operation([](const Device& d, const std::string& guid) {
                    return recorder::storage_info_document(
                        d, guid, {.recordings = 3, .megabytes = 700, .oldest = kNow, .newest = kNow + 600});
                }),
                2 * kMessages);
        measure("reservation", of_operation([](const Device&, const std::string& guid) {
                    return recorder::reservation_document(guid, "tmp", "recordings/");
                }),
                2 * kMessages);
        measure("retrieval failed", of_operation([](const Device& d, const std::string& guid) {
                    return recorder::failed_document(d, guid, 5, kNow);
                }),
                4 * kMessages);
        measure("retrieval done", of_operation(recorder::done_document), 4 * kMessages);
        measure("done, unknown operation", of_operation(recorder::done_document), kMessages);
        measure("clip, unknown operation", of_operation([](const Device& d, const std::string& guid) {
                    return recorder::clip_document(d, guid, {.file = "tmp/clip.mp4", .input_name = "gate"});
                }),
                0);
        measure("device removed",
                texts(1 + size_, kMessages,
                      [](std::uint32_t n) { return recorder::device_document(device(n), ""); }),
                0);
        host_.run(texts(1 + 2 * size_, size_ + kMessages, lost));
        settle();
        operations_ = added;
        measure("retrieval done, none can start", of_operation(recorder::done_document), 2 * kMessages);
    }

  private:
    /// Behind a large burst the allocator sorts what came back, once, at the next best call.
    void settle() {
        host_.take_replies();
        host_.run(texts(1, kMessages, announced));
    }

    Texts measure(const std::string& name, const Texts& messages, std::size_t replies_expected);

    Host& host_;
    std::uint32_t size_;
    Kinds& kinds_;
    Texts operations_;
    std::size_t next_kind_ = 0;
};

/// Gives the operations that were made.
Texts Site::measure(const std::string& name, const Texts& messages, std::size_t replies_expected) {
    host_.take_replies();
    const double seconds = host_.run(messages).work_seconds;
    const Texts replies = host_.take_replies();
    require(replies.size() >= replies_expected && replies.size() <= replies_expected + 2 * kMessages,
            name + ": " + std::to_string(replies.size()) + " replies");
    Bare bare(replies);
    if (next_kind_ == kinds_.size()) kinds_.push_back({name, {}, {}});
    kinds_[next_kind_].seconds.push_back(seconds);
    kinds_[next_kind_].bare.push_back(time_of([&] { bare.run(messages); }));
    ++next_kind_;
    return operations_in(replies);
}

void round_of(const Effort& effort, std::uint32_t size, Kinds& kinds) {
    std::filesystem::remove("norvanepi_state.xml");
    Host host(effort.module);
    Site(host, size, kinds).talk();
}

}  // namespace

Figures message_figures(const Effort& effort) {
    Kinds small;
    Kinds large;
    for (int round = 0; round < effort.rounds(); ++round) {
        round_of(effort, kSmallSite, small);
        round_of(effort, effort.scaled(kLargeSite), large);
    }
    std::filesystem::remove("norvanepi_state.xml");
    Figures of_bare;
    Figures growth;
    for (std::size_t i = 0; i < small.size(); ++i) {
        of_bare.push_back(ratio("message, of bare tinyxml2: " + small[i].name, small[i].seconds,
                                small[i].bare, kMaxRatioToBare));
        growth.push_back(ratio("message at 20,000, of one at 100: " + small[i].name, large[i].seconds,
                               small[i].seconds, kMaxGrowth));
    }
    of_bare.insert(of_bare.end(), growth.begin(), growth.end());
    return of_bare;
}

}  // namespace bench
