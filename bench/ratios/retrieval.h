#pragma once

#include "bench/ratios/host.h"
#include "tools/host_kit/host_documents.h"

namespace bench {

/// The operation id of the module's log line "creating operation id ...", or nothing in another text.
[[nodiscard]] std::optional<std::string> created_operation(const std::string& text);

/// One operation whose recordings are requested.
class Retrieval {
  public:
    /// Plays the host up to the download. Recordings are written below the directory, which ends with a
    /// separator.
    Retrieval(Host& host, const std::string& output_directory);

    /// Processor seconds of the worker from the notice of the clip to the release of its buffer. Converts a
    /// hard link of the clip, because the module removes it.
    double convert(const std::filesystem::path& clip);

    /// The recording of the last clip. Remove it before the next conversion.
    [[nodiscard]] std::filesystem::path recording() const;
    void remove_recording() const { std::filesystem::remove_all(output_directory_); }

  private:
    Host& host_;
    std::string output_directory_;
    std::string guid_;
};

/// Throws WrongResult unless the recording contains this number of frames and no fault.
void require_complete(const std::filesystem::path& recording, std::size_t frames);

}  // namespace bench
