#include "ymotion/compare/deviation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "ybaselib/yrotation.h"

namespace ymotion {
namespace {

constexpr std::int64_t kMostFrames = 100'000;
constexpr std::size_t kTimesAtOnce = 256;

/// The values of a property without its layers.
class Reader
{
  public:
    explicit Reader(const YFCurveNode& node) : mNode(node) { Collect(node); }

    /// Whether the values are the angles of an orientation.
    bool IsRotation() const { return ymotion::IsRotation(mNode) && mCurves.size() == 3; }
    int Order() const { return mNode.GetRotationOrder(); }

    /// Takes the values at several times. Curves are read one after the other: each knows its segments then.
    void Read(std::span<const YTime> times)
    {
        const std::size_t width = mCurves.size();
        mRows.resize(times.size() * width);
        if (IsRotation()) {
            for (std::size_t i = 0; i < times.size(); ++i)
                mNode.RotationNodeEvaluate(mRows.data() + i * width, times[i], &mHint);
            return;
        }
        mColumn.resize(times.size());
        for (std::size_t curve = 0; curve < width; ++curve) {
            mCurves[curve]->Evaluate(times, mColumn);
            for (std::size_t i = 0; i < times.size(); ++i) mRows[i * width + curve] = double{mColumn[i]};
        }
    }

    /// The values at one of these times.
    std::span<const double> Row(std::size_t time) const
    {
        return std::span(mRows).subspan(time * mCurves.size(), mCurves.size());
    }

  private:
    void Collect(const YFCurveNode& node)
    {
        if (const YFCurve* curve = node.FCurveGet()) mCurves.push_back(curve);
        for (int i = 0; i < node.GetCount(); ++i) Collect(*node.Get(i));
    }

    const YFCurveNode& mNode;
    std::vector<const YFCurve*> mCurves;
    std::vector<double> mRows;   // as many values as there are curves for each time
    std::vector<float> mColumn;  // of one curve
    int mHint = 0;
};

YgeQuaternion Orientation(const double* angles, int order)
{
    return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]), static_cast<eRotationOrder>(order));
}

bool AreFinite(std::span<const double> values)
{
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

/// At one of the times that both have read.
double Distance(const Reader& before, const Reader& after, std::size_t time)
{
    const std::span<const double> old = before.Row(time);
    const std::span<const double> now = after.Row(time);
    if (!AreFinite(old)) return 0.0;
    if (!AreFinite(now)) return std::numeric_limits<double>::infinity();
    if (before.IsRotation() && after.IsRotation()) {
        if (std::equal(old.begin(), old.end(), now.begin(), now.end()) && before.Order() == after.Order())
            return 0.0;
        return AngleBetween(old.data(), before.Order(), now.data(), after.Order());
    }
    double squares = 0;
    for (std::size_t i = 0; i < std::min(old.size(), now.size()); ++i)
        squares += (now[i] - old[i]) * (now[i] - old[i]);
    return std::sqrt(squares);
}

void AddDistance(Deviation& deviation, double distance, YTime time)
{
    if (deviation.samples == 0 || distance > deviation.largest) {
        deviation.largest = distance;
        deviation.when = time;
    }
    deviation.squares += distance * distance;
    ++deviation.samples;
}

}  // namespace

double AngleBetween(const double* a, int orderA, const double* b, int orderB)
{
    return Orientation(a, orderA).GetAngleTo(Orientation(b, orderB));
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
        const YTime time = TimeOfFrame(span.start, frame, rate);
        const YTime next = TimeOfFrame(span.start, std::min(frame + step, last), rate);
        times.push_back(time);
        if (halves) times.push_back(time + (next - time) / 2);
    }
    times.push_back(TimeOfFrame(span.start, last, rate));
    return times;
}

std::vector<YTime> TimesToCompare(const TimeSpan& before, const TimeSpan& after, FrameRate rate,
                                  std::int64_t step, bool halves)
{
    std::vector<YTime> times = TimesToCompare(before, rate, step, halves);
    if (times.back() < before.stop) times.push_back(before.stop);
    const auto addOutside = [&](YTime time) {
        if (time < before.start || time > before.stop) times.push_back(time);
    };
    const std::vector<YTime> further = TimesToCompare(after, rate, step, halves);
    std::for_each(further.begin(), further.end(), addOutside);
    if (further.back() < after.stop) addOutside(after.stop);
    std::sort(times.begin(), times.end());
    return times;
}

std::function<double(YTime)> DistanceOf(const YFCurveNode& before, const YFCurveNode& after)
{
    return [old = std::make_shared<Reader>(before), now = std::make_shared<Reader>(after)](YTime time) {
        old->Read({&time, 1});
        now->Read({&time, 1});
        return Distance(*old, *now, 0);
    };
}

Deviation Compare(const YFCurveNode& before, const YFCurveNode& after, std::span<const YTime> times)
{
    Reader old(before);
    Reader now(after);
    Deviation deviation;
    for (std::size_t first = 0; first < times.size(); first += kTimesAtOnce) {
        const std::size_t count = std::min(times.size() - first, kTimesAtOnce);
        const std::span<const YTime> some = times.subspan(first, count);
        old.Read(some);
        now.Read(some);
        for (std::size_t i = 0; i < some.size(); ++i) AddDistance(deviation, Distance(old, now, i), some[i]);
    }
    return deviation;
}

}  // namespace ymotion
