#include "tools/ps/coverage/facts_cache.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/crc.hpp>
#include <chrono>
#include <filesystem>
#include <string_view>

#include "platform/file.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/output_file.h"

namespace ps_tool {
namespace {

namespace fs = std::filesystem;
using cli::Json;

constexpr const char* kCacheFile = "recordings.cache";
constexpr std::string_view kCacheHeading = "norvanepi-ps cache 2 ";  // a number and a checksum follow

std::string cache_path(const std::string& directory) {
    return (fs::path(directory) / kCacheFile).string();
}

std::string cache_checksum(std::string_view text) {
    boost::crc_32_type crc;
    crc.process_bytes(text.data(), text.size());
    return fmt::format("{:08x}\n", crc.checksum());
}

void stamp_file(const std::string& path, std::int64_t& size, std::int64_t& time) {
    std::error_code missing;
    const auto bytes = fs::file_size(path, missing);
    if (missing) return;
    const auto written = fs::last_write_time(path, missing);
    if (missing) return;
    size = static_cast<std::int64_t>(bytes);
    time = written.time_since_epoch().count();
}

std::string absolute_path(const std::string& path) {
    return fs::absolute(path).lexically_normal().string();
}

/// True if a path is one of the given files or below one of the given directories.
bool below_any(const std::string& path, const std::vector<std::string>& absolute_roots) {
    return std::ranges::any_of(absolute_roots, [&](const std::string& root) {
        if (!path.starts_with(root)) return false;
        return path.size() == root.size() || root.ends_with(fs::path::preferred_separator) ||
               path[root.size()] == fs::path::preferred_separator;
    });
}

Json spans_array(const std::vector<FrameSpan>& spans) {
    Json all = Json::array();
    for (const FrameSpan& span : spans) all.insert(all.end(), {span.first, span.last, span.end});
    return all;
}

std::vector<FrameSpan> spans_in(const Json& array) {
    std::vector<FrameSpan> spans;
    for (std::size_t i = 0; i + 2 < array.size(); i += 3) {
        spans.push_back({array[i].get<std::int64_t>(), array[i + 1].get<std::int64_t>(),
                         array[i + 2].get<std::int64_t>()});
    }
    return spans;
}

Json time_or_null(const std::optional<std::int64_t>& time) {
    return time ? Json(*time) : Json();
}

std::optional<std::int64_t> time_in(const Json& value) {
    return value.is_null() ? std::nullopt : std::optional(value.get<std::int64_t>());
}

}  // namespace

FileStamp stamp_of(const std::string& data_path) {
    FileStamp stamp;
    stamp_file(data_path, stamp.data_size, stamp.data_time);
    stamp_file(data_path + "i", stamp.index_size, stamp.index_time);
    return stamp;
}

FactsCache FactsCache::load(const std::string& directory) {
    FactsCache cache;
    cache.parse(platform::system_files().read_whole(cache_path(directory)).value_or(""));
    return cache;
}

const RecordingFacts* FactsCache::find(const std::string& path, const FileStamp& stamp) const {
    if (entries_.empty()) return nullptr;
    const auto found = entries_.find(absolute_path(path));
    return found != entries_.end() && found->second.stamp == stamp ? &found->second.facts : nullptr;
}

void FactsCache::add(const std::string& path, const FileStamp& stamp, const RecordingFacts& facts) {
    constexpr auto kSettled = std::chrono::seconds(3);  // some file systems store times in steps of 2 s
    const auto limit = (fs::file_time_type::clock::now() - kSettled).time_since_epoch().count();
    if (std::max(stamp.data_time, stamp.index_time) > limit) return;
    entries_[absolute_path(path)] = {stamp, facts};
}

void FactsCache::replace(const FactsCache& previous, const std::vector<std::string>& read,
                         const std::string& directory) {
    std::vector<std::string> roots;
    roots.reserve(read.size());
    for (const std::string& path : read) roots.push_back(absolute_path(path));
    for (const auto& [path, entry] : previous.entries_) {
        if (!below_any(path, roots)) entries_.emplace(path, entry);
    }
    if (entries_ == previous.entries_) return;
    if (const auto error =
            platform::system_files().make_directory(directory, platform::FileSystem::Existing::kDirectory))
        throw cli::CannotRun(directory + ": cannot be created: " + error.message());
    cli::OutputFile file(cache_path(directory), cli::Replace::kFiles);
    file.write(text());
    file.complete();
}

/// The heading, a checksum and the entries as MessagePack, which keeps names that are not UTF-8.
std::string FactsCache::text() const {
    Json list = Json::array();
    for (const auto& [path, entry] : entries_) {
        const auto& [stamp, facts] = entry;
        list.push_back({path, stamp.data_size, stamp.data_time, stamp.index_size, stamp.index_time,
                        facts.clip_id, facts.name, facts.bytes, facts.faulty, facts.repairable,
                        spans_array(facts.spans), time_or_null(facts.path_time)});
    }
    std::string packed;
    Json::to_msgpack(list, packed);
    return std::string(kCacheHeading) + cache_checksum(packed) + packed;
}

void FactsCache::parse(std::string_view text) {
    const std::size_t packed_at = kCacheHeading.size() + cache_checksum("").size();
    if (!text.starts_with(kCacheHeading) || text.size() < packed_at) return;
    const std::string_view packed = text.substr(packed_at);
    if (text.substr(kCacheHeading.size(), packed_at - kCacheHeading.size()) != cache_checksum(packed)) return;
    try {
        for (const Json& row : Json::from_msgpack(packed)) {
            const FileStamp stamp{row.at(1), row.at(2), row.at(3), row.at(4)};
            entries_[row.at(0)] = {stamp,
                                   {.clip_id = row.at(5),
                                    .name = row.at(6),
                                    .spans = spans_in(row.at(10)),
                                    .bytes = row.at(7),
                                    .faulty = row.at(8),
                                    .repairable = row.at(9),
                                    .path_time = time_in(row.at(11))}};
        }
    } catch (const Json::exception&) {
        entries_.clear();  // another program's file, or of another version
    }
}

}  // namespace ps_tool
