#pragma once

// The subcommands of norvanepi-ps. Each is a file that declares its options and its action; program.cpp lists
// them.

#include "tools/cli/command_line.h"

namespace ps_tool {

void add_info(cli::Program& program);
void add_frames(cli::Program& program);
void add_verify(cli::Program& program);
void add_repair(cli::Program& program);
void add_probe(cli::Program& program);
void add_convert(cli::Program& program);
void add_export(cli::Program& program);
void add_report(cli::Program& program);

}  // namespace ps_tool
