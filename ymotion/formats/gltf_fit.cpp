#include "ymotion/formats/gltf_fit.h"

#include <algorithm>
#include <cmath>

#include "ybaselib/yrotation.h"

namespace ymotion {
namespace {

/// Samples from a frame to the next.
constexpr std::size_t kParts = 4;

YgeQuaternion ToQuaternion(const GltfValue& value)
{
    return {value[0], value[1], value[2], value[3]};
}

GltfValue Mixed(const GltfValue& a, double wa, const GltfValue& b, double wb)
{
    GltfValue mixed{};
    for (std::size_t i = 0; i < 4; ++i) mixed[i] = wa * a[i] + wb * b[i];
    return mixed;
}

/// Values at the frames and between them, and what follows from them.
class Samples
{
  public:
    /// \param near  of the two quaternions of the first rotation the one nearer to this.
    Samples(const GltfMotion& motion, std::size_t parts, const GltfValue& near = {});

    /// Samples, of which every `kParts`th is a frame where there are parts.
    std::size_t Count() const { return mTimes.size(); }
    YTime TimeOf(std::size_t i) const { return mTimes[i]; }
    /// On the right of a jump, and on its left; the same elsewhere.
    const GltfValue& Right(std::size_t i) const { return mRight[i]; }
    const GltfValue& Left(std::size_t i) const { return mLeft[i]; }
    bool Jumps(std::size_t i) const { return mJumps[i]; }

    double Distance(const GltfValue& a, const GltfValue& b) const;
    bool IsConstant() const;
    /// Whether the value stays from each jump to the next.
    bool IsStepped() const;
    /// The cubic from a frame to a later one, and whether it is within the tolerance.
    bool TryCubic(std::size_t from, std::size_t to, GltfValue& out, GltfValue& in) const;

  private:
    GltfValue Turned(const GltfValue& value) const;
    GltfValue SlopeRight(std::size_t i) const;
    GltfValue SlopeLeft(std::size_t i) const;
    double Seconds(std::size_t from, std::size_t to) const
    {
        return (mTimes[to] - mTimes[from]).GetSecondDouble();
    }

    const GltfMotion& mMotion;
    GltfValue mNear;
    std::vector<YTime> mTimes;
    std::vector<GltfValue> mRight;
    std::vector<GltfValue> mLeft;
    std::vector<bool> mJumps;
};

Samples::Samples(const GltfMotion& motion, std::size_t parts, const GltfValue& near)
    : mMotion(motion), mNear(near)
{
    const std::vector<YTime>& frames = motion.frames;
    for (std::size_t frame = 0; frame + 1 < frames.size(); ++frame) {
        const std::int64_t ticks = (frames[frame + 1] - frames[frame]).Get();
        for (std::size_t part = 0; part < parts; ++part) {
            mTimes.push_back(frames[frame] + YTime(ticks * static_cast<std::int64_t>(part) /
                                                   static_cast<std::int64_t>(parts)));
        }
    }
    mTimes.push_back(frames.back());
    mJumps.assign(mTimes.size(), false);
    for (std::size_t i = 0; i < mTimes.size(); ++i) {
        const GltfValue value = motion.at(mTimes[i]);
        GltfValue before = value;
        GltfValue after = value;
        if (parts > 1 && std::binary_search(motion.jumps.begin(), motion.jumps.end(), mTimes[i])) {
            const GltfValue left = motion.at(mTimes[i] - YTIME_ONE_TICK);
            const GltfValue right = motion.at(mTimes[i] + YTIME_ONE_TICK);
            if (i > 0 && Distance(left, value) > motion.tolerance) before = left;
            if (i + 1 < mTimes.size() && Distance(right, value) > motion.tolerance) after = right;
            mJumps[i] = Distance(before, after) > motion.tolerance;
        }
        mLeft.push_back(Turned(before));
        mRight.push_back(Turned(after));
    }
}

/// Of the two quaternions of a rotation the one that is nearer to the last sample.
GltfValue Samples::Turned(const GltfValue& value) const
{
    if (mMotion.path != GltfPath::Rotation) return value;
    const GltfValue& last = mRight.empty() ? mNear : mRight.back();
    double dot = 0;
    for (std::size_t i = 0; i < 4; ++i) dot += value[i] * last[i];
    return dot < 0 ? Mixed(value, -1, value, 0) : value;
}

double Samples::Distance(const GltfValue& a, const GltfValue& b) const
{
    if (mMotion.path == GltfPath::Rotation) return ToQuaternion(a).GetAngleTo(ToQuaternion(b));
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

bool Samples::IsConstant() const
{
    for (std::size_t i = 1; i < Count(); ++i) {
        if (Distance(mRight[0], mRight[i]) > mMotion.tolerance) return false;
        if (Distance(mRight[0], mLeft[i]) > mMotion.tolerance) return false;
    }
    return true;
}

bool Samples::IsStepped() const
{
    GltfValue step = mRight[0];
    for (std::size_t i = 1; i < Count(); ++i) {
        if (Distance(step, mLeft[i]) > mMotion.tolerance) return false;
        if (mJumps[i]) step = mRight[i];
    }
    return true;
}

/// At a frame, by the cubic through the samples behind it.
GltfValue Samples::SlopeRight(std::size_t i) const
{
    const double step = Seconds(i, i + kParts) / kParts * 6;
    const GltfValue near = Mixed(mRight[i], -11 / step, mLeft[i + 1], 18 / step);
    const GltfValue far = Mixed(mLeft[i + 2], -9 / step, mLeft[i + 3], 2 / step);
    return Mixed(near, 1, far, 1);
}

/// The same by the samples before it.
GltfValue Samples::SlopeLeft(std::size_t i) const
{
    const double step = Seconds(i - kParts, i) / kParts * 6;
    const GltfValue near = Mixed(mLeft[i], 11 / step, mRight[i - 1], -18 / step);
    const GltfValue far = Mixed(mRight[i - 2], 9 / step, mRight[i - 3], -2 / step);
    return Mixed(near, 1, far, 1);
}

bool Samples::TryCubic(std::size_t from, std::size_t to, GltfValue& out, GltfValue& in) const
{
    out = SlopeRight(from);
    in = SlopeLeft(to);
    const double seconds = Seconds(from, to);
    for (std::size_t i = from + 1; i < to; ++i) {
        const double u = Seconds(from, i) / seconds;
        const GltfValue values =
            Mixed(mRight[from], (1 + 2 * u) * (1 - u) * (1 - u), mLeft[to], u * u * (3 - 2 * u));
        const GltfValue slopes = Mixed(out, seconds * u * (1 - u) * (1 - u), in, seconds * u * u * (u - 1));
        if (!(Distance(Mixed(values, 1, slopes, 1), mRight[i]) <= mMotion.tolerance)) return false;
    }
    return true;
}

GltfKeys TwoSteps(const Samples& samples)
{
    GltfKeys result{GltfInterpolation::Step, {}};
    result.keys.push_back({samples.TimeOf(0), false, samples.Right(0), {}, {}});
    if (samples.Count() > 1)
        result.keys.push_back({samples.TimeOf(samples.Count() - 1), false, samples.Right(0), {}, {}});
    return result;
}

GltfKeys Steps(const Samples& samples)
{
    GltfKeys result{GltfInterpolation::Step, {}};
    for (std::size_t i = 0; i < samples.Count(); ++i) {
        if (i == 0 || i + 1 == samples.Count() || samples.Jumps(i))
            result.keys.push_back({samples.TimeOf(i), false, samples.Right(i), {}, {}});
    }
    return result;
}

/// Cubics from frame to frame, none over a jump.
class CubicFitter
{
  public:
    /// \param depth  how often frames have been divided already.
    CubicFitter(const GltfMotion& motion, const Samples& samples, int depth)
        : mMotion(motion), mSamples(samples), mDepth(depth)
    {}

    std::vector<GltfKey> Fit()
    {
        mKeys.push_back({mSamples.TimeOf(0), false, mSamples.Right(0), {}, {}});
        std::size_t at = 0;
        while (at + 1 < mSamples.Count()) {
            const std::size_t next = at + kParts;
            const bool divides = mDepth < kDeepest && !Fits(at, next);
            if (divides) {
                Divide(at);
                at = next;
            } else {
                at = AddSegment(at);
            }
        }
        return std::move(mKeys);
    }

  private:
    static constexpr int kDeepest = 3;

    bool Fits(std::size_t from, std::size_t to) const
    {
        GltfValue out;
        GltfValue in;
        return mSamples.TryCubic(from, to, out, in);
    }

    /// The last sample that a segment may reach, which has no jump inside.
    std::size_t LastOf(std::size_t from) const
    {
        std::size_t last = from + kParts;
        while (last + 1 < mSamples.Count() && !mSamples.Jumps(last)) last += kParts;
        return last;
    }

    /// The farthest frame that a cubic reaches: by steps that double, then by halves.
    std::size_t Reach(std::size_t from)
    {
        if (mLast <= from) mLast = LastOf(from);
        std::size_t good = from + kParts;
        std::size_t bad = mLast + kParts;
        for (std::size_t step = kParts; good < mLast; step *= 2) {
            const std::size_t tried = std::min(good + step, mLast);
            if (!Fits(from, tried)) {
                bad = tried;
                break;
            }
            good = tried;
        }
        while (bad - good > kParts) {
            const std::size_t tried = (good + bad) / 2 / kParts * kParts;
            if (Fits(from, tried)) {
                good = tried;
            } else {
                bad = tried;
            }
        }
        return good;
    }

    std::size_t AddSegment(std::size_t from)
    {
        const std::size_t to = Reach(from);
        GltfKey key{mSamples.TimeOf(to), mSamples.Jumps(to), mSamples.Left(to), {}, {}};
        mSamples.TryCubic(from, to, mKeys.back().out, key.in);
        mKeys.push_back(key);
        if (mSamples.Jumps(to)) mKeys.push_back({mSamples.TimeOf(to), false, mSamples.Right(to), {}, {}});
        return to;
    }

    /// Sets keys inside of a frame.
    void Divide(std::size_t from)
    {
        GltfMotion motion{mMotion.path, mMotion.at, {}, mMotion.jumps, mMotion.tolerance};
        for (std::size_t i = from; i <= from + kParts; ++i) motion.frames.push_back(mSamples.TimeOf(i));
        const Samples samples(motion, kParts, mKeys.back().value);
        std::vector<GltfKey> keys = CubicFitter(motion, samples, mDepth + 1).Fit();
        mKeys.back().out = keys.front().out;
        mKeys.insert(mKeys.end(), keys.begin() + 1, keys.end());
        // The last of the smaller samples knows nothing of what is behind it.
        const std::size_t to = from + kParts;
        if (samples.Jumps(samples.Count() - 1)) mKeys.pop_back();
        mKeys.back().before = mSamples.Jumps(to);
        if (mSamples.Jumps(to)) mKeys.push_back({mSamples.TimeOf(to), false, mSamples.Right(to), {}, {}});
    }

    const GltfMotion& mMotion;
    const Samples& mSamples;
    int mDepth;
    std::vector<GltfKey> mKeys;
    std::size_t mLast = 0;  // where the segments up to the next jump end
};

}  // namespace

GltfKeys SampledKeys(const GltfMotion& motion)
{
    const Samples samples(motion, 1);
    if (samples.IsConstant()) return TwoSteps(samples);
    GltfKeys result;
    for (std::size_t i = 0; i < samples.Count(); ++i)
        result.keys.push_back({samples.TimeOf(i), false, samples.Right(i), {}, {}});
    return result;
}

GltfKeys FittedKeys(const GltfMotion& motion)
{
    const Samples samples(motion, kParts);
    if (samples.IsConstant()) return TwoSteps(samples);
    if (samples.IsStepped()) return Steps(samples);
    return {GltfInterpolation::CubicSpline, CubicFitter(motion, samples, 0).Fit()};
}

}  // namespace ymotion
