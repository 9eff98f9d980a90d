#pragma once

/// \file
/// All classes of this room, in one table.

/// Registers every filter class; a second call does nothing. It happens when the library is loaded.
///
/// A linker takes out of an archive what other code refers to. The base class refers to this function, and
/// the static library has it linked in any case (yfcurve/CMakeLists.txt, hence the plain name): a program
/// that uses one filter, or none by its type, finds all of them by name.
extern "C" void YFCURVE_RegisterFilterClasses();
