#pragma once

#include <stdexcept>

namespace recorder {

/// The plug-in did something else than it has to: the conversation ends here.
class ModuleFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace recorder
