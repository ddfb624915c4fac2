#pragma once

namespace recorder {

inline constexpr const char* kProgram = "norvanepi-recorder";

}  // namespace recorder
