// Keys where a curve strays from a reference, at the farthest time of each segment, until none does.

#include <algorithm>
#include <cmath>
#include <vector>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/node/keykind.h"
#include "yfcurve/node/nodedata.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

constexpr YTime kTick(1);

// What a curve in single precision cannot follow anyway.
constexpr double kRounding = 4e-7;

class Fidelity
{
  public:
    Fidelity(YFCurve& curve, const YFCurve& reference, double tolerance)
        : mCurve(curve), mReference(reference), mTolerance(tolerance)
    {}

    int Run(YTime start, YTime stop)
    {
        const int before = mCurve.KeyGetCount();
        std::vector<YTime> ends = KeysBetween(start, stop);
        for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
            SetOnto(ends[i]);
            Refine(ends[i], ends[i + 1]);
        }
        if (!ends.empty()) SetOnto(ends.back());
        return mCurve.KeyGetCount() - before;
    }

  private:
    std::vector<YTime> KeysBetween(YTime start, YTime stop) const
    {
        std::vector<YTime> times{start, stop};
        for (int i = yfc::FirstKeyFrom(mCurve, start); i < mCurve.KeyGetCount(); ++i) {
            if (mCurve.KeyGetTime(i) >= stop) break;
            times.push_back(mCurve.KeyGetTime(i));
        }
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        return times;
    }

    bool IsOff(double difference, YTime time) const
    {
        const auto value = static_cast<double>(mReference.Evaluate(time));
        return difference > mTolerance + kRounding * std::abs(value);
    }

    // A key that is off, or a time that is where the span ends, between keys.
    void SetOnto(YTime time)
    {
        const double difference =
            std::abs(static_cast<double>(mCurve.Evaluate(time)) - mReference.Evaluate(time));
        if (IsOff(difference, time)) SetKey(time);
    }

    // Ranges wait on a stack of their own: they may nest deeply beside a jump.
    void Refine(YTime from, YTime to)
    {
        std::vector<YTime> waiting{to};
        while (!waiting.empty()) {
            YFCurveDifference farthest;
            const YTime stop = waiting.back();
            if (stop - from > kTick && !Agrees(from, stop, farthest)) {
                waiting.push_back(KeyNear(farthest, from, stop));
                SetKey(waiting.back());
                continue;
            }
            from = stop;
            waiting.pop_back();
        }
    }

    // Between two times, the ends not included.
    bool Agrees(YTime from, YTime to, YFCurveDifference& farthest) const
    {
        YFCurveUtils::CompareCurve(mCurve, mReference, mTolerance, &farthest, from + kTick, to - kTick);
        return !IsOff(farthest.value, farthest.time) || !std::isfinite(farthest.value);
    }

    // The key of the reference that is missed most, unless another time is missed by far more: with the keys
    // of the reference its segments come as they are.
    YTime KeyNear(const YFCurveDifference& farthest, YTime from, YTime to) const
    {
        constexpr double preference = 0.5;
        double largest = preference * farthest.value;
        YTime best = farthest.time;
        for (int i = yfc::FirstKeyFrom(mReference, from + kTick); i < mReference.KeyGetCount(); ++i) {
            const YTime time = mReference.KeyGetTime(i);
            if (time >= to) break;
            const double miss =
                std::abs(static_cast<double>(mCurve.Evaluate(time)) - mReference.KeyGetValue(i));
            if (!(miss > largest)) continue;
            largest = miss;
            best = time;
        }
        return best;
    }

    // Inserting keeps what the keys around have; then the new key moves onto the reference.
    void SetKey(YTime time)
    {
        const int index = mCurve.KeyInsert(time);
        if (index < 0) return;
        const float left = mReference.EvaluateLeftDerivative(time);
        const float right = mReference.EvaluateRightDerivative(time);
        const bool smooth = !yfc::SlopesDiffer(left, right);
        mCurve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
        const unsigned mode = smooth ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_USER_BREAK;
        mCurve.KeySetTangeantMode(index, mode, true);
        mCurve.KeySetValue(index, mReference.Evaluate(time));
        MakeCubic(index - 1);
        mCurve.KeySetLeftDerivative(index, left);
        mCurve.KeySetRightDerivative(index, right);
    }

    // The segment before a key has to be able to arrive with its slope.
    void MakeCubic(int index)
    {
        if (index < 0 || mCurve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC) return;
        const float left = mCurve.KeyGetLeftDerivative(index);
        mCurve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
        mCurve.KeySetTangeantMode(index, YFCURVE_TANGENT_USER_BREAK, true);
        mCurve.KeySetLeftDerivative(index, left);
        mCurve.KeySetRightDerivative(index, mReference.EvaluateRightDerivative(mCurve.KeyGetTime(index)));
    }

    YFCurve& mCurve;
    const YFCurve& mReference;
    const double mTolerance;
};

// Open ends are the outermost keys of the two; false for an empty span.
bool FindSpan(const YFCurve& curve, const YFCurve& reference, YTime& start, YTime& stop)
{
    YTime first = YTIME_INFINITE;
    YTime last = YTIME_MINUS_INFINITE;
    for (const YFCurve* keyed : {&curve, &reference}) {
        if (keyed->KeyGetCount() == 0) continue;
        first = std::min(first, keyed->KeyGetTime(0));
        last = std::max(last, keyed->KeyGetTime(keyed->KeyGetCount() - 1));
    }
    if (first > last) first = last = YTIME_ZERO;
    if (start == YTIME_MINUS_INFINITE) start = first;
    if (stop == YTIME_INFINITE) stop = last;
    return start <= stop;
}

bool IsTolerance(double tolerance)
{
    return tolerance >= 0.0;
}

int Increase(YFCurveNode& node, YFCurveNode& reference, double tolerance, YTime start, YTime stop)
{
    const int count = node.GetCount();
    if (count != reference.GetCount() || node.IsNodeLocked()) return 0;
    if (YFCurve* curve = node.FCurveGet()) {
        return std::max(YFCURVE_IncreaseFidelity(curve, reference.FCurveGet(), tolerance, start, stop), 0);
    }
    int added = 0;
    for (int i = 0; i < count; ++i)
        added += Increase(*node.Get(i), *reference.Get(i), tolerance, start, stop);
    return added;
}

}  // namespace

int YFCURVE_IncreaseFidelity(YFCurve* curve, const YFCurve* reference, double tolerance, YTime start,
                             YTime stop)
{
    if (curve == nullptr || reference == nullptr || curve->IsLocked() || !IsTolerance(tolerance)) return -1;
    if (!FindSpan(*curve, *reference, start, stop)) return 0;
    int added = -1;
    yfc::Guarded([&] {
        YFCurve refined(*curve);
        added = Fidelity(refined, *reference, tolerance).Run(start, stop);
        const bool same = YFCurveUtils::CompareCurve(refined, *curve, 0.0, nullptr, start, stop);
        if (added == 0 && same) return true;
        const YFCurveModify modify(*curve);
        curve->CopyFrom(refined);
        return true;
    });
    return added;
}

int YFCURVE_IncreaseFidelity(YFCurveNode* node, YFCurveNode* reference, double tolerance, YTime start,
                             YTime stop)
{
    if (node == nullptr || reference == nullptr || !IsTolerance(tolerance)) return -1;
    return Increase(*node, *reference, tolerance, start, stop);
}
