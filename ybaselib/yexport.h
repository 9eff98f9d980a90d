#pragma once

/// \file
/// Marks what the shared library ybaselib exports; everything else stays hidden.

#if defined(__GNUC__)
#define YBASELIB_EXPORT __attribute__((visibility("default")))
#else
#define YBASELIB_EXPORT
#endif
