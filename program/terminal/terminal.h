#pragma once

#include <cstddef>

#include "ymotion/text/style.h"

/// \file
/// What the terminal behind an output can show.

namespace program {

/// How text looks on an output: as wide as its lines are, and without colours where it is no terminal, where
/// the environment says `NO_COLOR` (any value but the empty one), or where `TERM` is "dumb".
/// \param descriptor  the file descriptor that is written to.
ymotion::Style StyleOf(int descriptor);

/// Whether box-drawing characters and the like arrive: always in files and pipes, on a terminal as its
/// locale says.
bool ShowsUnicode(int descriptor);

/// The columns that a line has: those of the terminal or, where the output is none, of the environment's
/// `COLUMNS`; 80 where neither is known.
std::size_t LineColumns(int descriptor);

}  // namespace program
