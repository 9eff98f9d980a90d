#pragma once

#include <vector>

#include "yfcurve/fitting/fitrun.h"

/// \file
/// The best slopes for keys that have been chosen.

namespace yfc {

/// Moves the slopes of keys towards those with the least squared error, as far as every segment stays within
/// the tolerance. A key with one slope keeps one. The keys serve as they are. Throws `std::bad_alloc`.
void ImproveSlopes(const FitTask& task, std::vector<FitKey>& keys);

}  // namespace yfc
