#pragma once

#include <string>
#include <vector>

#include "fuzz/byte_source.h"
#include "plugin/interfaces/records.h"

/// Builds a host message from a few bytes: usually a valid document about one of a few devices and a known
/// operation, so that conversations reach deep states; occasionally any text. `guids` are the known
/// operations.
[[nodiscard]] std::string host_message(ByteSource& in, const std::vector<norvane::Guid>& guids);
