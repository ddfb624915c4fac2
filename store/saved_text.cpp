#include "store/saved_text.h"

#include <charconv>
#include <cstdint>
#include <utility>

#include "store/state_names.h"

namespace norvane {
namespace {

constexpr std::size_t kGuidLength = 36;

/// Goes through the text from front to back. Whatever is not as expected fails it, and it stays failed.
class SavedText {
  public:
    explicit SavedText(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool ok() const { return ok_; }
    [[nodiscard]] bool at_end() const { return ok_ && rest_.empty(); }

    void expect(std::string_view piece) { ok_ = ok_ && take(piece); }
    /// Whether the element begins here; moves behind its name if it does.
    [[nodiscard]] bool begins(std::string_view indent, const char* element) {
        const std::string_view before = rest_;
        if (ok_ && take(indent) && take("<") && take(element) && !rest_.empty() && !goes_on(rest_.front()))
            return true;
        rest_ = before;
        return false;
    }
    void ends(std::string_view indent, const char* element) {
        expect(indent);
        expect("</");
        expect(element);
        expect(">\n");
    }

    /// The value of the attribute that stands here; at least 1 where that is asked for.
    std::int32_t integer(const char* name) {
        std::int32_t value = 0;
        expect_name(name);
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        ok_ = ok_ && error == std::errc();
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        expect("\"");
        return value;
    }
    std::int32_t positive(const char* name) {
        const std::int32_t value = integer(name);
        ok_ = ok_ && value >= 1;
        return value;
    }
    Guid guid(const char* name) {
        expect_name(name);
        const auto value = parse_guid(rest_.substr(0, kGuidLength));
        ok_ = ok_ && value;
        if (ok_) rest_.remove_prefix(kGuidLength);
        expect("\"");
        return value.value_or(Guid{});
    }

  private:
    static bool goes_on(char c) { return c != ' ' && c != '>' && c != '/'; }
    bool take(std::string_view piece) {
        if (!rest_.starts_with(piece)) return false;
        rest_.remove_prefix(piece.size());
        return true;
    }
    void expect_name(const char* name) {
        expect(" ");
        expect(name);
        expect("=\"");
    }

    std::string_view rest_;
    bool ok_ = true;
};

constexpr std::string_view kFirstLevel = "    ";
constexpr std::string_view kSecondLevel = "        ";

void read_devices(SavedText& in, std::vector<DisconnectRecord>& records) {
    while (in.begins(kFirstLevel, state::kDevices)) {
        ChannelKey channel{.devices_id = static_cast<std::uint32_t>(in.positive(state::kId))};
        in.expect(">\n");
        while (in.begins(kSecondLevel, state::kDevice)) {
            channel.device_number = static_cast<std::uint32_t>(in.positive(state::kNumber));
            const std::int32_t seconds = in.positive(state::kDisconnectTime);
            in.expect("/>\n");
            records.push_back({platform::ticks_of(seconds), channel});
        }
        in.ends(kFirstLevel, state::kDevices);
    }
}

void read_operations(SavedText& in, std::vector<Operation>& operations) {
    if (!in.begins(kFirstLevel, state::kOperations)) return;
    in.expect(">\n");
    while (in.begins(kSecondLevel, state::kOperation)) {
        Operation& operation = operations.emplace_back();
        operation.device.devices_id = static_cast<std::uint32_t>(in.integer(state::kDevices));
        operation.device.number = static_cast<std::uint32_t>(in.integer(state::kDevice));
        operation.guid = in.guid(state::kGuid);
        operation.start_time = platform::ticks_of(in.integer(state::kStartTime));
        operation.end_time = platform::ticks_of(in.integer(state::kEndTime));
        operation.attempts = in.integer(state::kAttempts);
        in.expect("/>\n");
    }
    in.ends(kFirstLevel, state::kOperations);
}

std::optional<unsigned> hex_digit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

}  // namespace

std::optional<SavedLists> read_saved(std::string_view text) {
    SavedText in(text);
    SavedLists lists;
    in.expect("<?");
    in.expect(state::kDeclaration);
    in.expect("?>\n");
    if (!in.begins("", state::kPavo)) return std::nullopt;
    in.expect(">\n");
    read_devices(in, lists.records);
    read_operations(in, lists.operations);
    in.ends("", state::kPavo);
    if (!in.at_end()) return std::nullopt;
    return lists;
}

/// The library would also take braces and forms without dashes.
std::optional<Guid> parse_guid(std::string_view text) {
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    static_assert(kForm.size() == kGuidLength);
    if (text.size() != kForm.size()) return std::nullopt;
    Guid guid{};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        if (kForm[i] == '-' && text[i] == '-') continue;
        const auto digit = hex_digit(text[i]);
        if (kForm[i] == '-' || !digit) return std::nullopt;
        std::uint8_t& byte = guid.data[digits++ / 2];
        byte = static_cast<std::uint8_t>(unsigned{byte} << 4 | *digit);
    }
    return guid;
}

}  // namespace norvane
