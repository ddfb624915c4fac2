#pragma once

#include <string>
#include <vector>

#include "fuzz/byte_source.h"
#include "plugin/interfaces/records.h"

/// A message as hosts send them, out of a few bytes: mostly a sound document about few devices and known
/// operations, so that conversations get far; now and then any text at all. guids are the operations that the
/// host has heard of.
[[nodiscard]] std::string host_message(ByteSource& in, const std::vector<norvane::Guid>& guids);
