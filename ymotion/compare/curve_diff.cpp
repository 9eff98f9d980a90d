#include "ymotion/compare/curve_diff.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace ymotion {
namespace {

bool IsSame(float a, float b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

class CurveReader
{
  public:
    explicit CurveReader(const YFCurve& curve) : mCurve(curve) {}
    float At(YTime time) { return mCurve.Evaluate(time, &mHint); }

  private:
    const YFCurve& mCurve;
    int mHint = 0;
};

class AngleReader
{
  public:
    explicit AngleReader(const RotationAngle& angle) : mAngle(angle) {}
    float At(YTime time)
    {
        double angles[3];
        mAngle.rotation->RotationNodeEvaluate(angles, time, &mHint);
        return static_cast<float>(angles[mAngle.axis]);
    }

  private:
    const RotationAngle mAngle;
    int mHint = 0;
};

/// Looks at both sides at ascending times.
template<class Reader>
class Comparison
{
  public:
    Comparison(Reader a, Reader b) : mA(a), mB(b) {}

    void Look(YTime time)
    {
        const CurveDifference found{time, mA.At(time), mB.At(time)};
        if (IsSame(found.a, found.b) || found.Size() <= mSize) return;
        mLargest = found;
        mSize = found.Size();
    }

    void LookInside(YTime from, YTime to)
    {
        // A quarter at a time, as the whole may be too long to be multiplied.
        const std::uint64_t gap =
            static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get());
        if (gap < 4) return;
        for (std::uint64_t part = 1; part < 4; ++part) {
            const std::uint64_t ticks = static_cast<std::uint64_t>(from.Get()) + gap / 4 * part;
            Look(YTime(static_cast<std::int64_t>(ticks)));
        }
    }

    const std::optional<CurveDifference>& Largest() const { return mLargest; }

  private:
    Reader mA;
    Reader mB;
    double mSize = 0;
    std::optional<CurveDifference> mLargest;
};

/// \param curves  those whose keys say where to look.
template<class Reader>
std::optional<CurveDifference> Compare(Reader a, Reader b, const std::vector<const YFCurve*>& curves)
{
    Comparison<Reader> comparison(a, b);
    std::vector<int> next(curves.size(), 0);
    std::optional<YTime> last;
    for (;;) {
        YTime time = YTIME_INFINITE;
        bool more = false;
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (next[i] == curves[i]->KeyGetCount()) continue;
            more = true;
            time = std::min(time, curves[i]->KeyGetTime(next[i]));
        }
        if (!more) break;
        if (last) comparison.LookInside(*last, time);
        comparison.Look(time);
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (next[i] < curves[i]->KeyGetCount() && curves[i]->KeyGetTime(next[i]) == time) ++next[i];
        }
        last = time;
    }
    if (!last) comparison.Look(YTIME_ZERO);
    return comparison.Largest();
}

}  // namespace

double CurveDifference::Size() const
{
    if (IsSame(a, b)) return 0;
    const double size = std::abs(static_cast<double>(a) - static_cast<double>(b));
    return std::isnan(size) ? std::numeric_limits<double>::infinity() : size;
}

std::optional<CurveDifference> LargestDifference(const YFCurve& a, const YFCurve& b)
{
    return Compare(CurveReader(a), CurveReader(b), {&a, &b});
}

std::optional<CurveDifference> LargestDifference(const RotationAngle& a, const RotationAngle& b)
{
    std::vector<const YFCurve*> curves;
    for (const YFCurveNode* rotation : {a.rotation, b.rotation}) {
        for (int i = 0; i < rotation->GetCount(); ++i) {
            if (const YFCurve* curve = rotation->Get(i)->FCurveGet()) curves.push_back(curve);
        }
    }
    return Compare(AngleReader(a), AngleReader(b), curves);
}

}  // namespace ymotion
