#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

#if defined(_WIN32)

/// Here the zone is the system's, and no process has one of its own: tests run in UTC.
inline constexpr bool kZonesCanBeSet = false;

inline void set_zone(const std::string& /*rule*/) {}

class TimeZone {
  public:
    explicit TimeZone(const std::string& /*rule*/) {}
};

#else

inline constexpr bool kZonesCanBeSet = true;

inline void set_zone(const std::string& rule) {
    ::setenv("TZ", rule.c_str(), 1);
}

/// The process's time zone while it lives, and the system's own afterwards. Zones are given as rules, which
/// need no zone database.
class TimeZone {
  public:
    explicit TimeZone(const std::string& rule) { set_zone(rule), ::tzset(); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { before_.empty() ? ::unsetenv("TZ") : ::setenv("TZ", before_.c_str(), 1), ::tzset(); }

  private:
    const std::string before_ = std::getenv("TZ") == nullptr ? "" : std::getenv("TZ");
};

#endif

inline constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
