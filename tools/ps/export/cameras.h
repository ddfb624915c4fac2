#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/cli/unusable_inputs.h"

namespace ps_tool {

struct CameraRecording {
    std::int64_t first = 0;  // ms since 1970; the largest number for a recording without frames
    std::string path;        // of the data file

    auto operator<=>(const CameraRecording&) const = default;
};

/// A clip id with a name, because cameras with similar numbers have the same id. A renamed camera is two of
/// these.
struct Camera {
    std::string id;                           // clip id; empty if no path contains it
    std::string name;                         // of the first recording's video stream
    std::vector<CameraRecording> recordings;  // ordered by their first frames

    /// The id and the name, for people.
    [[nodiscard]] std::string label() const;
};

/// Sorts the recordings by camera. Cameras are ordered by id and name. A recording whose stream map cannot be
/// read belongs to the first camera of its id. A recording that cannot be opened is
/// unusable.
[[nodiscard]] std::vector<Camera> cameras_of(const std::vector<std::string>& paths,
                                             cli::UnusableInputs& unusable);

/// The camera with this id or name. An id chooses the recordings of all its names. Throws cli::CannotRun with
/// the list of the cameras if there is not exactly one.
[[nodiscard]] Camera choose_camera(const std::vector<Camera>& cameras, const std::string& id_or_name);

/// "00A10380 "Front gate", 00A20380 "Yard"".
[[nodiscard]] std::string list_of(const std::vector<Camera>& cameras);

}  // namespace ps_tool
