#include "plugin/configuration.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <boost/property_tree/ini_parser.hpp>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <variant>

#include "platform/text.h"

namespace {

using norvane::Options;

constexpr const char* kFile = "norvanepi.conf";
constexpr const char* kVariable = "NORVANEPI_CONF";
constexpr const char* kProfile = "profile";

struct Key {
    const char* name;
    std::variant<bool Options::*, std::int32_t Options::*> member;
};
constexpr Key kKeys[] = {
    {"journal", &Options::journal},
    {"channels", &Options::channels},
    {"request-timeout", &Options::request_timeout},
    {"attempts", &Options::attempts},
    {"retries", &Options::retries},
    {"retry-delay", &Options::retry_delay},
    {"failed-for", &Options::failed_for},
    {"parameter-sets", &Options::parameter_sets},
    {"sample-times", &Options::sample_times},
    {"all-clips", &Options::all_clips},
    {"keep-failed-clips", &Options::keep_failed_clips},
    {"keep-recordings", &Options::keep_recordings},
    {"well-formed-log", &Options::well_formed_log},
    {"directory-separator", &Options::directory_separator},
};
constexpr std::size_t kMaxSize = 65'536;  // bytes of the file, so that a wrong file causes few log lines
constexpr std::int32_t kMaxNumber = 1'000'000;  // 11 days as seconds; avoids overflow wherever it is used

const Key* find_key(const std::string& name) {
    for (const Key& key : kKeys) {
        if (name == key.name) return &key;
    }
    return nullptr;
}

std::optional<std::int32_t> number(const std::string& text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < 0 || value > kMaxNumber)
        return {};
    return value;
}

/// Returns what is wrong with the value, or an empty text.
std::string set(Options& options, const Key& key, const std::string& value) {
    if (const auto* flag = std::get_if<bool Options::*>(&key.member)) {
        if (value != "on" && value != "off") return "must be on or off";
        options.*(*flag) = value == "on";
        return {};
    }
    const auto parsed = number(value);
    if (!parsed) return "must be a number from 0 to " + std::to_string(kMaxNumber);
    options.*std::get<std::int32_t Options::*>(key.member) = *parsed;
    return {};
}

std::string set_profile(Options& options, const std::string& value) {
    if (value != "default" && value != "safe") return "must be default or safe";
    options = value == "safe" ? norvane::safe_options() : Options{};
    return {};
}

std::string shown(bool value) {
    return value ? "on" : "off";
}
std::string shown(std::int32_t value) {
    return std::to_string(value);
}

/// The start of a line, with other characters than ASCII letters, digits and signs replaced.
std::string quotable(const std::string& text) {
    constexpr std::size_t kMaxLength = 60;
    std::string quotable = text.substr(0, kMaxLength);
    std::replace_if(
        quotable.begin(), quotable.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return quotable;
}

struct Line {
    std::size_t number;
    std::string key;
    std::string value;
};

/// Each line is parsed alone, so that a fault has its number and hides no other line.
std::vector<Line> parse_lines(const std::string& text, const auto& report) {
    std::vector<Line> lines;
    std::istringstream in(text);
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        std::istringstream one(line);
        boost::property_tree::ptree tree;
        try {
            boost::property_tree::read_ini(one, tree);
        } catch (const boost::property_tree::ini_parser_error& error) {
            report(number, line, error.message());
            continue;
        }
        if (line.find_first_not_of(" \t\r") == line.find('[') && line.find('[') != std::string::npos) {
            report(number, line, "there are no sections");
        }
        for (const auto& [key, value] : tree) lines.push_back({number, key, value.data()});
    }
    return lines;
}

std::string summarize(const std::string& file, const Options& options) {
    std::string on;
    for (const Key& key : kKeys) {
        const std::string value = std::visit(
            [&](auto member) {
                const auto chosen = options.*member;
                return chosen == Options{}.*member ? "" : std::string(key.name) + " " + shown(chosen);
            },
            key.member);
        if (!value.empty()) on += (on.empty() ? " " : ", ") + value;
    }
    return "NorVane - options of '" + file + "':" + (on.empty() ? " all defaults" : on) + ".";
}

}  // namespace

Configuration parse_configuration(const std::string& file, const std::string& text) {
    Configuration result;
    const auto report = [&](std::size_t line, const std::string& key, const std::string& fault) {
        result.faults.push_back("NorVane - '" + file + "', line " + std::to_string(line) + ", '" +
                                quotable(key) + "': " + fault + ".");
    };
    const std::vector<Line> lines = parse_lines(text, report);
    for (const Line& line : lines) {
        if (line.key != kProfile) continue;
        const std::string fault = set_profile(result.options, line.value);
        if (!fault.empty()) report(line.number, line.key, fault);
    }
    for (const Line& line : lines) {
        if (line.key == kProfile) continue;
        const Key* key = find_key(line.key);
        const std::string fault = key == nullptr ? "unknown key" : set(result.options, *key, line.value);
        if (!fault.empty()) report(line.number, line.key, fault);
    }
    result.summary = summarize(file, result.options);
    return result;
}

Configuration read_configuration(platform::FileSystem& files) {
    const char* const named = std::getenv(kVariable);  // NOLINT(concurrency-mt-unsafe): nothing here sets it
    const std::string file = named == nullptr ? kFile : named;
    const auto text = files.read_whole(file);
    if (text && text->size() <= kMaxSize) return parse_configuration(file, *text);
    boost::system::error_code error;
    const auto status = boost::filesystem::status(platform::path_of(file), error);
    if (named == nullptr && status.type() == boost::filesystem::file_not_found) return {};
    Configuration unreadable;
    unreadable.faults.push_back("NorVane - '" + file + "' " +
                                (text ? "is larger than 64 KiB" : "cannot be read") + "; no option is on.");
    return unreadable;
}
