#pragma once

#include <cmath>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/segment.h"

/// \file
/// Many samples of one curve, one after the other.

namespace yfc {

/// Answers what `YFCurve::Evaluate` does, to the last bit, and is faster where many times that are asked for
/// in order fall into each segment of a curve whose slopes have to be worked out: it does so once for a
/// segment. The curve must not change meanwhile.
class AscendingReader
{
  public:
    explicit AscendingReader(const YFCurve& curve) : mCurve(curve) {}

    float Evaluate(YTime time)
    {
        if (time <= mStart || time >= mStop) Enter(time);
        if (!mIsKnown) return mCurve.Evaluate(time, &mHint);
        return EvaluateCubic(mEnds, mTicks, Ticks(mStart, time) / mTicks);
    }

  private:
    void Enter(YTime time)
    {
        mIsKnown = false;
        mStart = time;
        mStop = time;
        const double position = mCurve.KeyFind(time, &mHint);
        const int index = static_cast<int>(std::floor(position));
        if (position < 0.0 || position == index || index >= mCurve.KeyGetCount() - 1) return;
        mStart = mCurve.KeyGetTime(index);
        mStop = mCurve.KeyGetTime(index + 1);
        mIsKnown = HasRuledSlopes(index);
        if (!mIsKnown) return;
        mTicks = Ticks(mStart, mStop);
        mEnds = {mCurve.KeyGetValue(index), mCurve.KeyGetValue(index + 1),
                 mCurve.KeyGetRightDerivative(index), mCurve.KeyGetLeftDerivative(index + 1)};
    }

    // Cubic without weights, and not between two user keys, whose slopes evaluation finds at hand.
    bool HasRuledSlopes(int index) const
    {
        if (!yfc::KeyKind(mCurve, index).IsCubic()) return false;
        if (mCurve.KeyGetTangeantWeightMode(index) != YFCURVE_WEIGHT_NONE) return false;
        return !IsUser(index) || !IsUser(index + 1);
    }
    bool IsUser(int index) const { return yfc::KeyKind(mCurve, index).IsUser(); }

    const YFCurve& mCurve;
    YTime mStart;
    YTime mStop;
    CubicEnds mEnds = {};
    double mTicks = 1.0;
    bool mIsKnown = false;
    int mHint = 0;
};

}  // namespace yfc
