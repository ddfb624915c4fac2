#pragma once

#include <chrono>
#include <map>
#include <string>

#include "tools/recorder/host/process_figures.h"

namespace recorder::validate {

/// The process before the module was loaded. The module must leave it as it was.
class ProcessCheck {
  public:
    /// After the module was unloaded. Throws ModuleFault for a changed setting, for a thread or descriptor
    /// that remained, and for too much memory or processor time.
    void require_unchanged() const;

    [[nodiscard]] double processor_seconds() const;
    [[nodiscard]] std::int64_t memory_growth() const;  // kilobytes

  private:
    std::map<std::string, std::string> settings_ = settings();
    ProcessFigures figures_ = process_figures();
    std::chrono::nanoseconds processor_time_ = processor_time();

    [[nodiscard]] static std::map<std::string, std::string> settings();
    [[nodiscard]] static std::chrono::nanoseconds processor_time();
};

}  // namespace recorder::validate
