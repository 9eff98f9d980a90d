#include "ymotion/formats/gltf_rotation.h"

#include <algorithm>
#include <cmath>

namespace ymotion {
namespace {

using Angles = std::array<double, 3>;

/// The orientations between two keys; the fraction may lie a little outside of 0 to 1.
class Turn
{
  public:
    Turn(const GltfTrack& track, std::size_t key, double seconds)
        : mFrom{At(track.Key(key)), kNone}, mTo{At(track.Key(key + 1)), kNone}, mCubic(track.IsCubic())
    {
        if (!mCubic) return;
        mFrom.slope = Scaled(At(track.OutTangent(key)), seconds);
        mTo.slope = Scaled(At(track.InTangent(key + 1)), seconds);
    }

    YgeQuaternion Orientation(double s) const
    {
        if (!mCubic) return Slerp(mFrom.value.GetNormalized(), mTo.value.GetNormalized(), s);
        const double s2 = s * s;
        const double s3 = s2 * s;
        const double a = 2 * s3 - 3 * s2 + 1;
        const double b = s3 - 2 * s2 + s;
        const double c = 3 * s2 - 2 * s3;
        const double d = s3 - s2;
        const auto mix = [&](double YgeQuaternion::*part) {
            return a * mFrom.value.*part + b * mFrom.slope.*part + c * mTo.value.*part + d * mTo.slope.*part;
        };
        return YgeQuaternion(mix(&YgeQuaternion::x), mix(&YgeQuaternion::y), mix(&YgeQuaternion::z),
                             mix(&YgeQuaternion::w))
            .GetNormalized();
    }

  private:
    struct End
    {
        YgeQuaternion value;
        YgeQuaternion slope;
    };

    static constexpr YgeQuaternion kNone{0, 0, 0, 0};

    static YgeQuaternion At(const float* parts)
    {
        return {double{parts[0]}, double{parts[1]}, double{parts[2]}, double{parts[3]}};
    }
    static YgeQuaternion Scaled(const YgeQuaternion& q, double factor)
    {
        return {q.x * factor, q.y * factor, q.z * factor, q.w * factor};
    }

    End mFrom;
    End mTo;
    bool mCubic;
};

Angles ToArray(const YgeRVector& angles)
{
    return {angles.x, angles.y, angles.z};
}

YgeRVector ToVector(const Angles& angles)
{
    return {angles[0], angles[1], angles[2]};
}

class EulerFitter
{
  public:
    EulerFitter(int order, double tolerance, std::size_t mostKeys)
        : mOrder(static_cast<eRotationOrder>(order)), mTolerance(tolerance), mMostKeys(mostKeys)
    {}

    EulerKeys Fit(const GltfTrack& track, const std::vector<YTime>& times);

  private:
    /// A stretch between two times of a segment, as ticks from the segment's start.
    struct Stretch
    {
        std::int64_t from;
        std::int64_t to;
        int depth;
    };

    static constexpr int kChecks = 10;
    static constexpr int kDeepest = 10;

    Angles Near(const YgeQuaternion& orientation, const Angles& reference) const
    {
        return ToArray(V2VRef(YgeRVector(orientation, mOrder), ToVector(reference), mOrder));
    }
    void FitSegment(const Turn& turn, YTime start, std::int64_t ticks);
    bool FitStretch(const Turn& turn, YTime start, std::int64_t ticks, const Stretch& stretch,
                    EulerKey& next);
    Angles SlopeAt(const Turn& turn, double s, double seconds, const Angles& angles) const;
    bool IsNear(const Turn& turn, double from, double to, double seconds, const EulerKey& next) const;

    eRotationOrder mOrder;
    double mTolerance;
    std::size_t mMostKeys;
    EulerKeys mResult;
};

/// The slope of the angles a second; the quaternion goes on beyond the ends of its segment.
Angles EulerFitter::SlopeAt(const Turn& turn, double s, double seconds, const Angles& angles) const
{
    constexpr double kStep = 1e-5;
    const Angles after = Near(turn.Orientation(s + kStep), angles);
    const Angles before = Near(turn.Orientation(s - kStep), angles);
    Angles slope{};
    for (std::size_t i = 0; i < 3; ++i) slope[i] = (after[i] - before[i]) / (2 * kStep * seconds);
    return slope;
}

/// Whether the cubic from the last key to the next one follows the turn.
bool EulerFitter::IsNear(const Turn& turn, double from, double to, double seconds, const EulerKey& next) const
{
    const EulerKey& last = mResult.keys.back();
    for (int check = 1; check < kChecks; ++check) {
        const double u = static_cast<double>(check) / kChecks;
        Angles angles{};
        for (std::size_t i = 0; i < 3; ++i) {
            angles[i] = (2 * u * u * u - 3 * u * u + 1) * last.angles[i] +
                        (3 - 2 * u) * u * u * next.angles[i] +
                        seconds * u * (1 - u) * ((1 - u) * last.right[i] - u * last.nextLeft[i]);
        }
        const YgeQuaternion orientation(ToVector(angles), mOrder);
        if (!(orientation.GetAngleTo(turn.Orientation(from + (to - from) * u)) <= mTolerance)) return false;
    }
    return true;
}

/// Sets the slopes behind the last key and gives the next one.
/// \return  whether they are within the tolerance.
bool EulerFitter::FitStretch(const Turn& turn, YTime start, std::int64_t ticks, const Stretch& stretch,
                             EulerKey& next)
{
    constexpr double kSteepest = 1e30;
    EulerKey& last = mResult.keys.back();
    const double whole = static_cast<double>(ticks);
    const double from = static_cast<double>(stretch.from) / whole;
    const double to = static_cast<double>(stretch.to) / whole;
    const double seconds = YTime(stretch.to - stretch.from).GetSecondDouble();
    next.time = start + YTime(stretch.to);
    next.angles = last.angles;
    // Step by step, so that the angles take the way that the turn takes.
    for (int i = 1; i <= kChecks; ++i) {
        next.angles = Near(turn.Orientation(from + (to - from) * i / kChecks), next.angles);
    }
    const double segment = YTime(ticks).GetSecondDouble();
    last.right = SlopeAt(turn, from, segment, last.angles);
    last.nextLeft = SlopeAt(turn, to, segment, next.angles);
    if (IsNear(turn, from, to, seconds, next)) return true;
    // At a pole of the angles their slopes say nothing.
    const EulerKey tried = last;
    for (std::size_t i = 0; i < 3; ++i) {
        last.right[i] = last.nextLeft[i] = (next.angles[i] - last.angles[i]) / seconds;
    }
    if (IsNear(turn, from, to, seconds, next)) return true;
    const auto isTame = [](double slope) { return std::abs(slope) < kSteepest; };
    if (std::all_of(tried.right.begin(), tried.right.end(), isTame) &&
        std::all_of(tried.nextLeft.begin(), tried.nextLeft.end(), isTame)) {
        last = tried;
    }
    return false;
}

void EulerFitter::FitSegment(const Turn& turn, YTime start, std::int64_t ticks)
{
    std::vector<Stretch> open{{0, ticks, 0}};
    while (!open.empty()) {
        const Stretch stretch = open.back();
        open.pop_back();
        EulerKey next;
        const bool fits = FitStretch(turn, start, ticks, stretch, next);
        const std::int64_t middle = stretch.from + (stretch.to - stretch.from) / 2;
        const bool canSplit = stretch.depth < kDeepest && middle > stretch.from && mMostKeys > 0;
        if (!fits && canSplit) {
            --mMostKeys;
            open.push_back({middle, stretch.to, stretch.depth + 1});
            open.push_back({stretch.from, middle, stretch.depth + 1});
            continue;
        }
        if (!fits) ++mResult.beyond;
        mResult.keys.push_back(next);
    }
}

EulerKeys EulerFitter::Fit(const GltfTrack& track, const std::vector<YTime>& times)
{
    const auto orientationAt = [&track](std::size_t key) {
        const float* q = track.Key(key);
        return YgeQuaternion(double{q[0]}, double{q[1]}, double{q[2]}, double{q[3]}).GetNormalized();
    };
    EulerKey first;
    first.time = times.front();
    first.angles = ToArray(YgeRVector(orientationAt(0), mOrder));
    mResult.keys.push_back(first);
    for (std::size_t i = 1; i < times.size(); ++i) {
        const std::int64_t ticks = (times[i] - times[i - 1]).Get();
        if (track.interpolation == GltfInterpolation::Step) {
            EulerKey next;
            next.time = times[i];
            next.angles = Near(orientationAt(i), mResult.keys.back().angles);
            mResult.keys.push_back(next);
        } else {
            FitSegment(Turn(track, i - 1, YTime(ticks).GetSecondDouble()), times[i - 1], ticks);
        }
    }
    return std::move(mResult);
}

}  // namespace

EulerKeys EulerKeysOf(const GltfTrack& track, const std::vector<YTime>& times, int order, double tolerance,
                      std::size_t mostKeys)
{
    return EulerFitter(order, tolerance, mostKeys).Fit(track, times);
}

}  // namespace ymotion
