#pragma once

#include <stdexcept>

namespace recorder {

/// The module did something that it must not do. The run or case ends.
class ModuleFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void throw_module_fault(const char* fault) {
    throw ModuleFault(fault);
}

}  // namespace recorder
