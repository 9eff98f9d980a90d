#pragma once

#include "ybaselib/ytime.h"

/// \file
/// The frame of the time mode, which is where filters that sample start from.

namespace yfc {

inline YTime OneFrame()
{
    return YTime::FromFrame(1);
}

/// Frames per second.
inline double FrameRate()
{
    return 1.0 / OneFrame().GetSecondDouble();
}

}  // namespace yfc
