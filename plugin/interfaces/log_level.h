#pragma once

#include <cstdint>

/// Levels of log messages as the host knows them.
inline constexpr std::int32_t kLogInformation = 25;
inline constexpr std::int32_t kLogError = 75;
