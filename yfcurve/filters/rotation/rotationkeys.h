#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "ybaselib/ypropertydescription.h"
#include "yfcurve/filters/rotation/eulertriples.h"
#include "yfcurve/yfcurve.h"

/// \file
/// The keys of a rotation, for the filters that rewrite them.

class YFCurveFilter;
class YFCurveNode;

namespace yfc {

/// The rotation orders by name, for properties.
inline constexpr YEnumName kRotationOrderNames[] = {{0, "XYZ"}, {1, "XZY"}, {2, "YZX"},
                                                    {3, "YXZ"}, {4, "ZXY"}, {5, "ZYX"}};
inline constexpr YPropertyOptions kRotationOrderOptions = {.help = "order of three curves without a node",
                                                           .names = kRotationOrderNames};

/// The curves of the angles about X, Y and Z.
using RotationCurves = std::array<YFCurve*, 3>;

/// The curves of a node's three children; nothing when there are more or fewer, or one has no curve.
std::optional<RotationCurves> FindRotationCurves(const YFCurveNode& node);

/// Whether the node, a child or a curve is locked.
bool IsRotationLocked(const YFCurveNode& node);

/// The times in a span at which any of the curves has a key, ascending.
std::vector<YTime> KeyTimes(std::span<const YFCurve* const> curves, YTime start, YTime stop);

/// Gives each curve keys on it at the times in a span at which the others have keys. (The key synchroniser
/// passes over the second of two keys one tick apart, where a curve jumps. An angle that jumps alone would
/// not be the same rotation any more.) May throw `std::bad_alloc`.
void CompleteKeys(std::span<YFCurve* const> curves, YTime start, YTime stop);

/// Whether a curve goes on outside its own keys in a way that depends on where they end, at times at which the
/// others have keys, in a span or next to it: keys there would change it. Of a rotation in quaternion form,
/// whose curves get such keys everywhere, all count that do not hold.
bool GoesOnAmongKeys(const YFCurveNode& rotation, YTime start, YTime stop);

/// What filters refuse such rotations with.
inline constexpr const char* kGoesOnText =
    "A curve repeats or goes on outside its keys at times at which another one has keys.";

/// Whether every curve that has keys on both sides is constant from one such time to the next.
bool IsHeldAfter(const std::array<const YFCurve*, 3>& curves, YTime time);

/// Has a filter work on three curves by way of a node of its own, a rotation "R" in that order with children
/// "X", "Y" and "Z".
/// \return  false as well for null curves and when memory runs out.
bool ApplyToCurves(YFCurveFilter& filter, YFCurve** curves, int order);

/// The keys of a rotation of three curves in a span, in a copy of the curves, where they are complete: in the
/// form of angles by `CompleteKeys`, in that of quaternions by `SynchronizedTurns`. May throw
/// `std::bad_alloc`.
class RotationKeys
{
  public:
    RotationKeys(const YFCurveNode& rotation, YTime start, YTime stop);

    int GetCount() const { return mCount; }
    YTime GetTime(int key) const { return mCopies[0].KeyGetTime(mFirst[0] + key); }
    YgeRVector GetAngles(int key) const;
    /// The curves between keys.
    YgeRVector Evaluate(YTime time, int& hint) const;
    /// Whether the motion stands still from a key to the next.
    bool IsHeldAfter(int key) const { return yfc::IsHeldAfter(Copies(), GetTime(key)); }

    /// The angles at the last time before the span at which there is a key; nothing without one.
    const std::optional<YgeRVector>& GetAnchor() const { return mAnchor; }
    YTime GetAnchorTime() const { return mAnchorTime; }

    /// Writes other triples, one for each key, and mirrors explicit tangents of the second angle along with
    /// it.
    /// \return  whether any key changed.
    bool SetForms(const std::vector<EulerForm>& forms, const ybase::AxisOrder& axes);

    /// Adds keys on the curves at times in the span.
    void Insert(const std::vector<YTime>& times);

    /// Gives the curves the keys of the copy; one event each.
    void CopyTo(const RotationCurves& curves) const;

  private:
    std::array<const YFCurve*, 3> Copies() const { return {&mCopies[0], &mCopies[1], &mCopies[2]}; }
    void FindKeys();
    void MirrorTangents(const std::vector<EulerForm>& forms, int secondAxis);

    YTime mStart;
    YTime mStop;
    std::array<YFCurve, 3> mCopies;
    std::array<int, 3> mFirst{};  // the first key of the span
    int mCount = 0;
    std::optional<YgeRVector> mAnchor;
    YTime mAnchorTime = YTIME_MINUS_INFINITE;
};

}  // namespace yfc
