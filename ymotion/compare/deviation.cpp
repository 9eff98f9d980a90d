#include "ymotion/compare/deviation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "ybaselib/yrotation.h"

namespace ymotion {
namespace {

constexpr std::int64_t kMostFrames = 100'000;

/// The values of a property without its layers.
class Reader
{
  public:
    explicit Reader(const YFCurveNode& node) : mNode(node) { Collect(node); }

    /// Whether the values are the angles of an orientation.
    bool IsRotation() const
    {
        return mNode.IsRotationLayerType() && mNode.GetCount() == 3 && mCurves.size() == 3;
    }
    int Order() const { return mNode.GetRotationOrder(); }

    const std::vector<double>& At(YTime time)
    {
        if (IsRotation()) {
            mNode.RotationNodeEvaluate(mValues.data(), time, &mHint);
            return mValues;
        }
        for (std::size_t i = 0; i < mCurves.size(); ++i) {
            mValues[i] = static_cast<double>(mCurves[i]->Evaluate(time, &mHint));
        }
        return mValues;
    }

  private:
    void Collect(const YFCurveNode& node)
    {
        if (const YFCurve* curve = node.FCurveGet()) {
            mCurves.push_back(curve);
            mValues.push_back(0.0);
        }
        for (int i = 0; i < node.GetCount(); ++i) Collect(*node.Get(i));
    }

    const YFCurveNode& mNode;
    std::vector<const YFCurve*> mCurves;
    std::vector<double> mValues;
    int mHint = 0;
};

YgeQuaternion Orientation(const double* angles, int order)
{
    return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]), static_cast<eRotationOrder>(order));
}

bool AreFinite(const std::vector<double>& values)
{
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

double Distance(Reader& before, Reader& after, YTime time)
{
    const std::vector<double>& old = before.At(time);
    const std::vector<double>& now = after.At(time);
    if (!AreFinite(old)) return 0.0;
    if (!AreFinite(now)) return std::numeric_limits<double>::infinity();
    if (before.IsRotation() && after.IsRotation()) {
        if (old == now && before.Order() == after.Order()) return 0.0;
        return AngleBetween(old.data(), before.Order(), now.data(), after.Order());
    }
    double squares = 0;
    for (std::size_t i = 0; i < std::min(old.size(), now.size()); ++i)
        squares += (now[i] - old[i]) * (now[i] - old[i]);
    return std::sqrt(squares);
}

}  // namespace

double AngleBetween(const double* a, int orderA, const double* b, int orderB)
{
    constexpr double kDegrees = 57.29577951308232;
    const YgeQuaternion turn = Orientation(a, orderA).GetConjugate() * Orientation(b, orderB);
    return 2.0 * kDegrees * std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w));
}

double Deviation::RootMeanSquare() const
{
    return samples == 0 ? 0.0 : std::sqrt(squares / static_cast<double>(samples));
}

void Deviation::Add(const Deviation& other)
{
    if (samples == 0 || other.largest > largest) {
        largest = other.largest;
        where = other.where;
        when = other.when;
    }
    squares += other.squares;
    samples += other.samples;
}

std::int64_t FramesBetweenErrors(const TimeSpan& span, FrameRate rate)
{
    return 1 + LastFrame(span.Length(), rate) / kMostFrames;
}

std::vector<YTime> TimesToCompare(const TimeSpan& span, FrameRate rate, std::int64_t step, bool halves)
{
    std::vector<YTime> times;
    const std::int64_t last = LastFrame(span.Length(), rate);
    for (std::int64_t frame = 0; frame < last; frame += step) {
        const YTime time = span.start + TimeOfFrame(frame, rate);
        const YTime next = span.start + TimeOfFrame(std::min(frame + step, last), rate);
        times.push_back(time);
        if (halves) times.push_back(time + (next - time) / 2);
    }
    times.push_back(span.start + TimeOfFrame(last, rate));
    return times;
}

std::function<double(YTime)> DistanceOf(const YFCurveNode& before, const YFCurveNode& after)
{
    return [old = std::make_shared<Reader>(before), now = std::make_shared<Reader>(after)](YTime time) {
        return Distance(*old, *now, time);
    };
}

Deviation Compare(const YFCurveNode& before, const YFCurveNode& after, const TimeSpan& span, FrameRate rate)
{
    Reader old(before);
    Reader now(after);
    Deviation deviation;
    for (const YTime time : TimesToCompare(span, rate, FramesBetweenErrors(span, rate))) {
        const double distance = Distance(old, now, time);
        if (deviation.samples == 0 || distance > deviation.largest) {
            deviation.largest = distance;
            deviation.when = time;
        }
        deviation.squares += distance * distance;
        ++deviation.samples;
    }
    return deviation;
}

}  // namespace ymotion
