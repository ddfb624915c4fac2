#include "tools/ps/report/host_log.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

constexpr std::size_t kMaxLine = 1U << 20U;  // bytes; the rest of a longer line is ignored

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/// Reads the lines of a stream through one buffer.
class Lines {
  public:
    explicit Lines(std::istream& in) : in_(in), buffer_(kMaxLine) {}

    bool next() {
        in_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        const auto read = static_cast<std::size_t>(in_.gcount());
        if (in_.bad() || (in_.eof() && read == 0)) return false;
        const bool too_long = in_.fail();
        complete_ = !in_.eof() && !too_long;
        line_ = {buffer_.data(), complete_ ? read - 1 : read};
        if (line_.ends_with('\r')) line_.remove_suffix(1);
        if (too_long) {
            in_.clear();
            in_.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        }
        return true;
    }
    [[nodiscard]] std::string_view line() const { return line_; }
    /// False for a line that was cut off.
    [[nodiscard]] bool complete() const { return complete_; }

  private:
    std::istream& in_;
    std::vector<char> buffer_;
    std::string_view line_;
    bool complete_ = false;
};

/// "+02:00" or "+0200" in ms, or nothing.
std::optional<std::int64_t> offset_in(std::string_view text) {
    if (text.empty() || (text[0] != '+' && text[0] != '-')) return std::nullopt;
    std::string digits;
    for (const char c : text.substr(1, 5)) {
        if (c == ':' && digits.size() == 2) continue;
        if (!is_digit(c) || digits.size() == 4) break;
        digits += c;
    }
    if (digits.size() != 4) return std::nullopt;
    const std::int64_t minutes = std::stoll(digits.substr(0, 2)) * 60 + std::stoll(digits.substr(2));
    return (text[0] == '-' ? -minutes : minutes) * kMsPerMinute;
}

/// The fraction of a second in ms. Removes it.
std::int64_t take_fraction(std::string_view& text) {
    if (text.size() < 2 || (text[0] != '.' && text[0] != ',') || !is_digit(text[1])) return 0;
    text.remove_prefix(1);
    std::int64_t milliseconds = 0;
    for (std::int64_t unit = 100; !text.empty() && is_digit(text[0]); unit /= 10) {
        milliseconds += unit * (text[0] - '0');
        text.remove_prefix(1);
    }
    return milliseconds;
}

/// The document in a line, or nothing. A log message may contain a line break, so its end need not be there.
std::string_view document_in(std::string_view line, bool complete) {
    std::size_t begin = std::string_view::npos;
    for (const std::string_view start : {"<?xml", "<Pavo", "<log_msg"})
        begin = std::min(begin, line.find(start));
    if (begin == std::string_view::npos) return {};
    line.remove_prefix(begin);
    const bool is_open = line.find("<log_msg") != std::string_view::npos && !line.ends_with("</log_msg>");
    return complete && is_open ? line : line.substr(0, line.rfind('>') + 1);
}

}  // namespace

std::optional<std::int64_t> parse_log_time(std::string_view line, const Zone& zone) {
    constexpr std::size_t kSeconds = std::string_view("2018-06-22T16:05:09").size();
    if (line.starts_with('[')) line.remove_prefix(1);
    if (line.empty() || !is_digit(line[0])) return std::nullopt;
    const auto seconds = reader::parse_instant(line.substr(0, kSeconds));
    if (!seconds) return std::nullopt;
    line.remove_prefix(kSeconds);
    const std::int64_t time = *seconds + take_fraction(line);
    if (line.starts_with('Z')) return time;
    if (line.starts_with(' ') && offset_in(line.substr(1))) line.remove_prefix(1);
    const auto offset = offset_in(line);
    return offset ? time - *offset : zone.to_utc(time);
}

LineCounts read_host_log(std::istream& in, const Zone& zone, LossTracker& tracker) {
    LineCounts counts;
    for (Lines lines(in); lines.next();) {
        const std::string_view line = lines.line();
        const auto time = parse_log_time(line, zone);
        if (time) tracker.set_time(*time);
        const std::string_view document = document_in(line, lines.complete());
        bool used = false;
        if (!document.empty()) {
            used = tracker.add_document(document);
        } else if (const auto text = find_log_text(line); text && time && lines.complete()) {
            used = tracker.add_text(*text);
        }
        ++(used ? counts.used : counts.skipped);
    }
    return counts;
}

std::optional<std::int64_t> first_log_time(std::istream& in, const Zone& zone) {
    for (Lines lines(in); lines.next();) {
        if (const auto time = parse_log_time(lines.line(), zone)) return time;
    }
    return std::nullopt;
}

}  // namespace ps_tool
