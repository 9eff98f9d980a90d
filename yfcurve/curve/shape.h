#pragma once

#include <vector>

#include "yfcurve/curve/segment.h"
#include "yfcurve/yfcurve.h"

/// \file
/// Edits that keep a curve's shape, as opposed to the parameters that its keys store.

namespace yfc {

/// A weight that the stored fixed point, which truncates, rounds to the nearest.
float RoundedWeight(double weight);

/// A key that continues the interpolation of another, without its editing state.
YFCurveKey ContinuingKey(const YFCurveKey& source, float value);

}  // namespace yfc

/// The slopes on the two sides of a key.
struct YFCurveSlopes
{
    float left = 0.0f;
    float right = 0.0f;
};

/// A friend of the curve for edits that rewrite several keys and their tangents at once.
class YFCurveShape
{
  public:
    /// The geometry of the cubic segment that starts at a key.
    static yfc::CubicSegment Segment(const YFCurve& curve, int index);

    static YFCurveSlopes SlopesAt(const YFCurve& curve, int index);

    /// Makes a key have the given slopes wherever a cubic segment meets it. A key whose own rule gives
    /// them stays as it is; any other becomes a user key, broken when its sides differ.
    static void Hold(YFCurve& curve, int index, YFCurveSlopes wanted);

    /// Turns a cubic key into a user key with the given slopes; the segment after it keeps its end.
    static void TurnToUser(YFCurve& curve, int index, YFCurveSlopes wanted);

    /// `KeyInsert` at a time without a key; returns the new key's index. Throws `std::bad_alloc` before
    /// anything is changed.
    static int Insert(YFCurve& curve, YTime time);
    /// For keys all along a curve: curve/ascendingedit.h, and to remove them curve/descendingedit.h.
    class AscendingEdit;
    class DescendingEdit;

    /// Edits that are made whole or not at all: curve/draft.h.
    class Draft;

    /// A curve with the values of another one over [start, stop] (keys are made of what repeating and
    /// limited extrapolation shows there), constant or keep-slope without limit outside.
    static YFCurve WithExtrapolationKeys(const YFCurve& source, YTime start, YTime stop);

    /// One stretch of keys of a curve that is put together from several.
    struct Piece
    {
        const YFCurve* source;
        int first;  ///< indices in the source, inclusive; empty when last < first
        int last;
        YTime timeShift = YTIME_ZERO;
        float valueShift = 0.0f;
        bool joint = false;  ///< the first key has its left side from the piece before; see to it yourself
    };
    /// Exchanges all keys for the pieces, one behind the other. With `holdSlopes` the outer keys of each
    /// keep the slopes that they have in its source.
    static void Assemble(YFCurve& curve, const std::vector<Piece>& pieces, bool holdSlopes);
    /// Adds a piece behind the last key, which has to be earlier. Returns the index of its first key.
    static int Append(YFCurve& curve, const Piece& piece);

    /// Exchanges `count` keys from `first` on for others, which have to fit between their neighbours in time,
    /// tangents and all as they are. Keys that are what they are to be are left alone. Throws
    /// `std::bad_alloc` half way unless there is a reserve of records and room for all keys.
    static void Exchange(YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys);
    /// Whether such an exchange would change anything, to the bit.
    static bool Differ(const YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys);

    /// Makes room for so many keys, and changes nothing else. Throws `std::bad_alloc`.
    static void MakeRoom(YFCurve& curve, int keyCount);

    /// Whether the end of a bracket shares equal records (see `YFCurve::KeySetOptimizeEnable`); returns what
    /// was set before. Sharing takes zeros of either sign for equal, and so may change a bit.
    static bool SetSharing(YFCurve& curve, bool on);

    /// What `YFCurve::Replace` is asked for.
    struct Span
    {
        YTime start;
        YTime stop;
        YTime offset;
        bool exact;
        bool keyAtEnds;
        bool angles;  ///< join by whole turns
        bool holds =
            false;  ///< where the source holds an end key in the span, do so; else lead to what is kept
    };
    static void ReplaceSpan(YFCurve& curve, const YFCurve& source, Span span);

  private:
    static void OpenSlots(YFCurve& curve, int index, int count);
    static int InsertInside(YFCurve& curve, int index, YTime time);
    static int InsertOutside(YFCurve& curve, YTime time, bool before);
    static int InsertStraight(YFCurve& curve, int index, YTime time);
    static int InsertCubic(YFCurve& curve, int index, YTime time);
    static int RecordsToHold(const YFCurve& curve, int index);
    static void InsertCuts(YFCurve& curve, int index, const yfc::CubicSegment& segment,
                           const std::vector<double>& cuts, const std::vector<YTime>& times);
    static void KeepStraight(YFCurve& curve, int index, float slope);
    static bool ResolveSpan(const YFCurve& target, const YFCurve& source, Span& span);
    static bool HoldsFrom(const YFCurve& source, YTime start, YTime stop);
    static bool HoldsUntil(const YFCurve& source, YTime start, YTime stop);
    static void LeadIn(YFCurve& inside, const YFCurve& outside, YTime start);
    static void LeadOut(YFCurve& inside, const YFCurve& outside, YTime stop, float shift);
    static void MakeJump(YFCurve& curve, int index);
    static void MakeBearing(YFCurve& curve, int index);
    static bool CutAtStart(YFCurve& outside, YFCurve& inside, YTime time);
    static bool CutAtStop(YFCurve& outside, YFCurve& inside, YTime time, float shift);
};
