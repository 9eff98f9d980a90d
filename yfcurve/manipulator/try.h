#pragma once

#include "yfcurve/curve/guarded.h"
#include "yfcurve/yfcurvemanipulator.h"

/// Runs an operation that has no result to tell by whether there was memory for it, and keeps that in mind.
template<class Operation>
bool YFCurveManipulator::Try(const Operation& operation)
{
    const bool hadMemory = yfc::HadMemoryFor(operation);
    if (!hadMemory) mHasRunOutOfMemory = true;
    return hadMemory;
}
