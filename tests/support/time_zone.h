#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

#if defined(_WIN32)

/// A process cannot have a time zone of its own on this system: tests run in UTC.
inline constexpr bool kZonesCanBeSet = false;

inline void set_zone(const std::string& /*rule*/) {}

class TimeZone {
  public:
    explicit TimeZone(const std::string& /*rule*/) {}
};

#else

// NOLINTBEGIN(concurrency-mt-unsafe): tests set a zone while no other thread reads the environment

inline constexpr bool kZonesCanBeSet = true;

inline void set_zone(const std::string& rule) {
    ::setenv("TZ", rule.c_str(), 1);
}

/// Sets the process's time zone while it exists. Zones are given as POSIX rules, which need no zone database.
class TimeZone {
  public:
    explicit TimeZone(const std::string& rule) { set_zone(rule), ::tzset(); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { before_.empty() ? ::unsetenv("TZ") : ::setenv("TZ", before_.c_str(), 1), ::tzset(); }

  private:
    const std::string before_ = std::getenv("TZ") == nullptr ? "" : std::getenv("TZ");
};

// NOLINTEND(concurrency-mt-unsafe)

#endif

inline constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
