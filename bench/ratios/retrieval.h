#pragma once

#include "bench/ratios/host.h"
#include "tools/recorder/host/host_documents.h"

namespace bench {

/// The first GUID in the text, such as that of an operation in the module's log line.
[[nodiscard]] std::string guid_in(const std::string& text);

/// One operation that waits for its clips.
class Retrieval {
  public:
    /// Plays the host up to the download. Recordings go below the directory, which ends with a separator.
    Retrieval(Host& host, const std::string& output_directory);

    /// Processor seconds of the worker from the clip's notice to the release of its buffer. The module
    /// removes the clip, so it gets a link of its own.
    double convert(const std::filesystem::path& clip);

    /// The recording of the last clip; it has to be gone before the next one.
    [[nodiscard]] std::filesystem::path recording() const;
    void remove_recording() const { std::filesystem::remove_all(output_directory_); }

  private:
    Host& host_;
    std::string output_directory_;
    std::string guid_;
};

/// Fails unless the recording holds that many frames without a fault.
void require_whole(const std::filesystem::path& recording, std::uint32_t frames);

}  // namespace bench
