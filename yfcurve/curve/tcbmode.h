#pragma once

/// \file
/// How curves evaluate TCB keys.

namespace yfc {

/// Behind `YFCURVE_GetTCB4051EvalMode`: a TCB key arrives with its outgoing slope. It stands here because
/// curves read it for every TCB segment that they evaluate.
inline constinit bool tcbArrivesAsItLeaves = false;

}  // namespace yfc
