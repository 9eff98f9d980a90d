#pragma once

/// \file
/// Marks what the shared library ymotion exports; everything else stays hidden.

#if defined(__GNUC__)
#define YMOTION_EXPORT __attribute__((visibility("default")))
#else
#define YMOTION_EXPORT
#endif
