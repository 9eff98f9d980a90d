#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Smoothing by a moving average, of rotations as a whole.

namespace yfc {
struct SmoothedSpan;
}

/// Replaces the keys of the span by keys at a regular period whose values are averages of the curve around
/// their times, weighted by a raised cosine.
///
/// Rotation nodes of three angles are averaged as quaternions (`SetUseQuaternion`), so that what is smoothed
/// is the way that the orientation takes and not its angles. The angles written are those nearest to the key
/// before. How recorded angles are wrapped does not matter: between keys that are no more than four frame
/// periods apart, a step by which angles jump while the orientation hardly turns is none.
///
/// A rotation in quaternion form (`YFCurveNode::SetUseQuaternion`) is smoothed as it plays, and keeps the
/// form. It becomes one of angles where these are averaged one by one, and where keys are reduced afterwards.
///
/// Towards the ends of the span and of the keys the window shrinks: the ends stay where they are, and with
/// them the curve outside the span. Where the span begins or ends with the keys, an extrapolation that keeps
/// a slope or repeats the keys follows the smooth ones. Straight lines stay as they are.
///
/// Applied to a node it goes through the tree and takes rotation nodes as a whole; other curves are smoothed
/// one by one. Refused with status 0 ("Error"), the keys as they were: a curve or rotation without keys, a
/// span that is empty or too long for the period (more than `MaximumSamples` keys or 64 evaluations for each
/// of them), a period, width or sample count that is out of range, values that are not finite, and lack of
/// memory.
class YFCURVE_EXPORT YFCurveFilterSmooth : public YFCurveFilterOf<YFCurveFilterSmooth>
{
  public:
    /// As many keys as one span may have.
    static constexpr int MaximumSamples = 1 << 24;

    static YClassDefinition& StaticClass();

    YFCurveFilterSmooth();

    /// The window from its first to its last moment; four times the plot period at first. 0 just samples the
    /// curve.
    YTime GetWidth() const { return mWidth; }
    void SetWidth(YTime width) { mWidth = width; }
    /// Into how many equal parts the window is cut, 1 to 4096; 8 at first. The curve is evaluated where they
    /// meet.
    int GetSampleCount() const { return mSampleCount; }
    void SetSampleCount(int count) { mSampleCount = count; }
    /// The time from key to key; one frame of the time mode at first. Keys are at the ends of the span and at
    /// whole multiples of it between.
    YTime GetFramePeriod() const { return mFramePeriod; }
    void SetFramePeriod(YTime period) { mFramePeriod = period; }

    // What rotation nodes go through first where angles are averaged one by one, so that flips of them are
    // not smeared; both off at first. Averages of quaternions need neither.
    bool GetApplyGimbleKiller() const { return mApplyGimbleKiller; }
    void SetApplyGimbleKiller(bool apply) { mApplyGimbleKiller = apply; }
    bool GetApplyUnroller() const { return mApplyUnroller; }
    void SetApplyUnroller(bool apply) { mApplyUnroller = apply; }
    /// Whether the key reducer takes out what the smooth curve does not need afterwards, with the precision
    /// that it has at first; off at first.
    bool GetApplyKeyReducer() const { return mApplyKeyReducer; }
    void SetApplyKeyReducer(bool apply) { mApplyKeyReducer = apply; }

    /// Whether rotations are averaged as quaternions rather than angle by angle; on at first.
    bool GetUseQuaternion() const { return mUseQuaternion; }
    void SetUseQuaternion(bool useQuaternion) { mUseQuaternion = useQuaternion; }

  protected:
    bool FilterCurve(YFCurve& curve) override;
    /// \return  for a rotation node what became of it (false without a message when it or one of its curves
    /// is locked), true for all others.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool FindSpan(YTime firstKey, YTime lastKey, yfc::SmoothedSpan& span);
    template<class Source, class Targets>
    bool Smooth(Source&& source, const yfc::SmoothedSpan& span, Targets& keys) const;
    YTime CloseTogether() const;
    bool SmoothRotation(YFCurveNode& node);
    void Clean(YFCurveNode& node);

    YTime mWidth;
    YTime mFramePeriod;
    int mSampleCount{};
    bool mApplyGimbleKiller{};
    bool mApplyUnroller{};
    bool mApplyKeyReducer{};
    bool mUseQuaternion{};
};
