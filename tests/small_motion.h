#pragma once

#include <string_view>

/// \file
/// A motion of two joints and four frames, for work that is done thousands of times.

namespace test {

inline constexpr std::string_view kSmallMotion = R"(HIERARCHY
ROOT Hips
{
  OFFSET 0 0 0
  CHANNELS 6 Xposition Yposition Zposition Zrotation Xrotation Yrotation
  JOINT Leg
  {
    OFFSET 0 -1 0
    CHANNELS 3 Zrotation Xrotation Yrotation
    End Site
    {
      OFFSET 0 -1 0
    }
  }
}
MOTION
Frames: 4
Frame Time: 0.05
0 1 0 10 20 30 1 2 3
1 2 0 20 10 170 3 2 1
2 2 1 30 0 -170 5 2 0
3 1 2 40 0 -160 7 2 0
)";

}  // namespace test
