#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ps/coverage/coverage.h"

namespace ps_tool {

/// Sizes and modification times of a recording's two files. A missing file has -1 and 0.
struct FileStamp {
    std::int64_t data_size = -1;  // bytes
    std::int64_t data_time = 0;   // in the unit of the system's file clock
    std::int64_t index_size = -1;
    std::int64_t index_time = 0;

    bool operator==(const FileStamp&) const = default;
};

[[nodiscard]] FileStamp stamp_of(const std::string& data_path);

/// The facts about recordings that were read before, in one file of a directory. The file has a checksum; a
/// damaged one counts as empty. It may be deleted at any time.
class FactsCache {
  public:
    [[nodiscard]] static FactsCache load(const std::string& directory);

    /// Null if the recording is unknown or its stamp has changed.
    [[nodiscard]] const RecordingFacts* find(const std::string& path, const FileStamp& stamp) const;

    /// Skips a recording that was written in the last seconds: it could change again with the same stamp.
    void add(const std::string& path, const FileStamp& stamp, const RecordingFacts& facts);

    /// Replaces the file by these entries and by those of `previous` that are not below the directories
    /// `read`. Does not write an equal file. Throws cli::CannotRun if the file cannot be written.
    void replace(const FactsCache& previous, const std::vector<std::string>& read,
                 const std::string& directory);

  private:
    struct CacheEntry {
        FileStamp stamp;
        RecordingFacts facts;

        bool operator==(const CacheEntry&) const = default;
    };

    [[nodiscard]] std::string text() const;
    void parse(std::string_view text);

    std::map<std::string, CacheEntry> entries_;  // by absolute path
};

}  // namespace ps_tool
