#pragma once

/// \file
/// Marks what the shared library yfcurve exports; everything else stays hidden.

#if defined(__GNUC__)
#define YFCURVE_EXPORT __attribute__((visibility("default")))
#else
#define YFCURVE_EXPORT
#endif
