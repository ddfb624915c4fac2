#pragma once

#include "platform/file.h"

namespace reader {

/// Discards what is written and only counts the bytes. For a writer whose data file already exists or is not
/// wanted.
class DiscardingDataFile final : public platform::DataFile {
  public:
    std::int64_t append(const Parts& parts) override {
        std::int64_t length = 0;
        for (const auto& part : parts) length += static_cast<std::int64_t>(part.size());
        position_ += length;
        return length;
    }
    std::int64_t position() override { return position_; }

  private:
    std::int64_t position_ = 0;
};

}  // namespace reader
