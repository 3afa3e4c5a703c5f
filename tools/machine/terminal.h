// What the program's outputs are connected to.
#pragma once

#include <cstdio>

namespace cmm {

/// Characters in a line of the terminal behind standard output or standard error; 0: it is none.
int TerminalColumns(std::FILE *stream);

/// Whether somebody can answer a question at standard input.
bool IsAnswered();

}  // namespace cmm
