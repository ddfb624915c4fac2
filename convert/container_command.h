#pragma once

#include <memory>
#include <utility>

#include "plugin/interfaces/command.h"

/// Converts one clip with the parser that it owns. Fails without a parser.
template <typename Parser>
class VideoContainerConverterCommand final : public ICommand {
  public:
    explicit VideoContainerConverterCommand(std::unique_ptr<Parser> parser) : parser_(std::move(parser)) {}

    /// The parser's result: 0 converted, 1 not converted, 3 unusable sample tables.
    std::int32_t run() override { return parser_ == nullptr ? kNoParser : parser_->parse_container(); }

    /// A conversion is never interrupted.
    std::int32_t stop() override { return 0; }

  private:
    static constexpr std::int32_t kNoParser = 3;

    std::unique_ptr<Parser> parser_;
};
