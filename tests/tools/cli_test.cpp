#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tools/cli/exit_status.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/table.h"
#include "tools/cli/terminal.h"

namespace {

/// What a body writes to a file that is no terminal.
template <typename Body>
std::string written(Body body) {
    std::FILE* file = std::tmpfile();
    body(file);
    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
    std::fclose(file);
    return text;
}

TEST(TableTest, ColumnsAreAsWideAsTheirWidestCellInCharacters) {
    using Align = cli::Table::Align;
    cli::Table table({{"name"}, {"n", Align::kRight}, {"end"}});
    table.add_row({"Tür", "100", "x"});
    table.add_row({"gate 1", "7"});
    EXPECT_EQ(table.text(),
              "name      n  end\n"
              "----------------\n"
              "Tür     100  x\n"
              "gate 1    7\n");
}

TEST(TerminalTest, AFileGetsNeitherColoursNorBars) {
    EXPECT_EQ(written([](std::FILE* file) {
                  cli::ProgressBar bar(file);
                  bar.show("converting", 0.5);
                  bar.clear();
                  std::fputs(cli::Paint(file)(cli::Colour::kRed, "text").c_str(), file);
              }),
              "text");
}

TEST(ExitStatusTest, WhatIsThrownDecides) {
    const auto status_of = [](const std::function<int()>& body) {
        testing::internal::CaptureStderr();
        const int status = cli::run_tool("tool", body);
        return std::to_string(status) + " " + testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(status_of([] { return cli::kSuccess; }), "0 ");
    EXPECT_EQ(status_of([]() -> int { throw cli::CannotRun("no file\nhere"); }),
              "2 tool: error: no file here\n");
    EXPECT_EQ(status_of([]() -> int { throw std::runtime_error("broken"); }), "1 tool: error: broken\n");
    EXPECT_EQ(status_of([]() -> int { throw 7; }), "1 ");
}

}  // namespace
