#pragma once

#include <cstdint>

/// A unit of work that can be run and stopped.
class ICommand {
  public:
    ICommand() = default;
    ICommand(const ICommand&) = delete;
    ICommand& operator=(const ICommand&) = delete;
    virtual ~ICommand() = default;
    virtual std::int32_t run() = 0;
    virtual std::int32_t stop() = 0;
};
