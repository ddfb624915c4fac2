#include "engine/agenda.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/recording_server.h"

namespace {

using norvane::DeviceKey;
using norvane::Operation;

/// The same agenda as plain arrays that are scanned from the front: what the indexes have to agree with.
struct PlainAgenda {
    std::vector<Operation> operations;
    std::vector<DeviceKey> connected;

    [[nodiscard]] const Operation* first_startable() const {
        const auto found = std::ranges::find_if(operations, [this](const Operation& operation) {
            return std::ranges::find(connected, operation.device) != connected.end();
        });
        return found == operations.end() ? nullptr : &*found;
    }
    template <typename Wanted>
    [[nodiscard]] const Operation* find(Wanted wanted) const {
        const auto found = std::ranges::find_if(operations, wanted);
        return found == operations.end() ? nullptr : &*found;
    }
};

/// Compares an answer of both, a place here and an entry there.
void expect_same(norvane::Agenda& agenda, std::optional<norvane::Agenda::Place> place,
                 const Operation* plain) {
    ASSERT_EQ(place.has_value(), plain != nullptr);
    if (plain != nullptr) {
        EXPECT_EQ(agenda.at(*place), *plain);
    }
}

}  // namespace

TEST(Agenda, AnswersLikeAScanFromTheFront) {
    std::mt19937 random(20'260);
    const auto below = [&random](std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    };
    norvane::Agenda agenda;
    PlainAgenda plain;
    for (int step = 0; step < 20'000; ++step) {
        const DeviceKey device{below(2), below(6)};
        const auto guid = RecordingServer::guid(static_cast<int>(below(40)));  // repeats happen
        switch (below(5)) {
            case 0:
                agenda.append({.device = device, .guid = guid, .start_time = step});
                plain.operations.push_back({.device = device, .guid = guid, .start_time = step});
                break;
            case 1:
                if (const auto place = agenda.find(guid)) agenda.remove(*place);
                if (const auto found = std::ranges::find(plain.operations, guid, &Operation::guid);
                    found != plain.operations.end()) {
                    plain.operations.erase(found);
                }
                break;
            case 2:
                agenda.connect(device);
                plain.connected.push_back(device);
                break;
            default: {
                const auto found = std::ranges::find(plain.connected, device);
                EXPECT_EQ(agenda.disconnect(device), found != plain.connected.end());
                if (found != plain.connected.end()) plain.connected.erase(found);
            }
        }
        expect_same(agenda, agenda.first_startable(), plain.first_startable());
        expect_same(agenda, agenda.find(guid),
                    plain.find([&](const Operation& o) { return o.guid == guid; }));
        expect_same(agenda, agenda.find(device),
                    plain.find([&](const Operation& o) { return o.device == device; }));
        ASSERT_EQ(agenda.empty(), plain.operations.empty());
        if (HasFailure()) FAIL() << "at step " << step;
    }
    EXPECT_EQ(agenda.operations(), plain.operations);
    EXPECT_EQ(agenda.connected_devices(), plain.connected);
}
