#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

/// The process's time zone while it lives. Zones are given as rules ("CET-1CEST,M3.5.0,M10.5.0/3"), which
/// need no zone database.
class TimeZone {
  public:
    explicit TimeZone(const std::string& rule) {
        if (const char* before = std::getenv("TZ")) before_ = before;
        ::setenv("TZ", rule.c_str(), 1);
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        before_ ? ::setenv("TZ", before_->c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }

  private:
    std::optional<std::string> before_;
};

inline constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
