#pragma once

#include "ybaselib/yerror.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Operations over whole curves: merging, resampling, converting and comparing them, and looking after curves
/// whose values are indices.
///
/// Interpolations and tangent modes are those of `EYFCurveKeyFlags`. A curve may stand for source and target
/// at the same time.

class YFCurveNode;

/// Where two curves are farthest apart.
struct YFCurveDifference
{
    double value = 0.0;      ///< the distance of the two values; infinity where just one is not a number
    YTime time{YTIME_ZERO};  ///< the earliest time with that distance: where the curves do not differ, the
                             ///< start of the span, and 0 for an empty span
};

class YFCURVE_EXPORT YFCurveUtils
{
  public:
    /// What the error record can say.
    enum EError : int
    {
        eNoKey = 0,             ///< a curve without keys where there is something to find out about keys
        eNotSingle = 1,         ///< the keys do not agree
        eBadInterpolation = 2,  ///< not exactly one interpolation, or no tangent mode of a cubic key
        eBadPeriod = 3,         ///< a period that is not positive
        eBadSpan = 4,           ///< a span that is empty, or of more samples than a curve has room for
        eErrorCount
    };

    // --- Diagnostics -----------------------------------------------------------------------------------

    /// The record of the last error of the calling thread, valid until that thread ends. Functions that
    /// succeed leave it as it is: `GetError().Clear()` first to tell whether there is a new one.
    static YError& GetError();
    static int GetLastErrorID();
    static const char* GetLastErrorString();

    // --- Merging ---------------------------------------------------------------------------------------

    /// Puts the keys of one curve in place of those that another one has over the same span of time.
    ///
    /// The result has the keys of `base` before the first key of `insert`, all keys of `insert`, and the keys
    /// of `base` after the last key of `insert`, each with all its attributes; its settings stay its own. It
    /// becomes a copy of `insert`, settings included, when that covers `base` or `base` has no keys, and one
    /// of `base` when `insert` has no keys. Two curves without keys leave it as it is.
    ///
    /// User tangents beside the seams are trimmed to the slope that `base` has there, so that what is left of
    /// a cut segment keeps its shape provided that the segment is cubic and unweighted, its first key a user
    /// key, `insert` meets `base` in value, and (before the span) starts with a user key. Other segments bend
    /// towards their new neighbour. Where a seam is exactly on a key of `base`, the slope on that key's inner
    /// side is taken, which differs for a broken key. For an exchange that keeps everything outside a span,
    /// see `YFCurve::Replace`.
    static void Merge(const YFCurve& base, const YFCurve& insert, YFCurve& result);

    // --- Resampling ------------------------------------------------------------------------------------

    /// Replaces a span of the curve by samples at a regular period, with the default tangents (cubic auto).
    ///
    /// Samples are taken at `start`, `start` + `period` and so on up to `stop`, inclusive. The span itself is
    /// exchanged as `YFCurve::Replace` does, so that the curve stays what it was outside, and runs smoothly
    /// from there to the first sample and on from the last one. Nothing happens for a span or a period that
    /// is not positive, or for more samples than a curve has room for.
    /// \param start  minus infinity: the first key (0 without keys)
    /// \param stop   infinity: the last key (`start` without keys)
    /// \param keysOnFrame  begin with the first whole multiple of `period` after `start`, unless `start` is
    ///                     one. A start below one period, negative ones included, is taken as it is.
    static void Resample(YFCurve& curve, YTime period, YTime start, YTime stop, bool keysOnFrame);

    /// Makes the target a sampled copy of the source over [`start`, `stop`]: the source's settings, and keys
    /// at `start`, at every `period` from there and at `stop`, of one interpolation and tangent mode. User
    /// keys have the source's slopes, broken where these differ from side to side; auto and TCB keys have
    /// parameters of 0. An infinite end is the source's first or last key; the span may be a single time.
    /// \param tangentMode  with overrides; of a constant key one of `YFCURVE_CONSTANT_...`, of a linear one
    ///                     without meaning. Auto modes are subject to the process-wide conversion.
    /// \param period       one frame of the time mode stands for its frames, as in `YFCurveFilter`.
    /// \param keysOnFrame  place the samples between the ends at whole multiples of `period`.
    /// \return  false, with the target as it was and the reason in the error record, for a bad period, span,
    ///          interpolation or mode, or an infinite end where the source has no keys.
    static bool Resample(const YFCurve& source, YFCurve& target, unsigned interpolation, unsigned tangentMode,
                         YTime period, YTime start, YTime stop, bool keysOnFrame = false);
    /// The same over all keys of the source; one without keys gives a target without keys.
    static bool Resample(const YFCurve& source, YFCurve& target, unsigned interpolation, unsigned tangentMode,
                         YTime period);

    // --- Converting ------------------------------------------------------------------------------------

    /// Makes the target a copy of the source whose keys are all of one interpolation and tangent mode, with
    /// the source's shape.
    ///
    /// The source's keys stay where they are, with slopes, weights and velocities as far as the new kind has
    /// room for them: cubic and straight segments fit into user keys (broken where the sides differ), auto
    /// and TCB keys get the parameters that give the source's slopes. Where a segment jumps and the new kind
    /// does not, another key keeps the jump within one tick. Every other segment whose shape the new kind
    /// cannot follow (a bend in straight pieces or in steps, slopes out of the reach of auto or TCB
    /// parameters, clamped ones, weights where TCB has none) gets samples between its ends, at the whole
    /// multiples of `period`.
    ///
    /// Settings are copied, but for an extrapolation that keeps the slope of a constant segment, which shows
    /// one value: for keys other than user keys it becomes constant, since they may end in a steep segment
    /// there. Else extrapolation starts from the slopes of the new keys.
    /// \param tangentMode  as for `Resample`
    /// \param period       as for `Resample`; not positive: no samples, so that only what the keys can hold is kept
    /// \return  false, with the target as it was and the reason in the error record, for a bad interpolation
    ///          or mode, or when the samples are too many.
    static bool ConvertCurve(const YFCurve& source, YFCurve& target, unsigned interpolation,
                             unsigned tangentMode, YTime period = YTIME_ZERO);

    /// Sets interpolation and tangent mode (with overrides) of every key of a tree, layers not included. Only
    /// the flags change: stored slopes become auto parameters and the other way round. See `ConvertCurve` and
    /// `YFCurve::KeyTangeantSetMode` for conversions.
    /// \return  the node
    static YFCurveNode* ConvertCurveInterpolationRecursive(unsigned interpolation, unsigned tangentMode,
                                                           YFCurveNode* node);

    // --- Comparing and surveying -----------------------------------------------------------------------

    /// Whether two curves show the same values over a span: nowhere farther apart than `tolerance`. Values
    /// between the keys count, keys and attributes do not.
    ///
    /// The farthest point is found exactly between the keys of unweighted segments, and closely on weighted
    /// ones. Times inside the span but outside the keys compare what extrapolation shows.
    /// \param largest  receives the farthest point when it is not null
    /// \param start    minus infinity: the first key of the two curves
    /// \param stop     infinity: the last key of the two curves. Two curves without keys compare their
    ///                 values; an empty span compares nothing and is true.
    static bool CompareCurve(const YFCurve& first, const YFCurve& second, double tolerance = 0.0,
                             YFCurveDifference* largest = nullptr, YTime start = YTIME_MINUS_INFINITE,
                             YTime stop = YTIME_INFINITE);

    /// The interpolations of all keys, ORed. Where there are several kinds the error record says so (error 1,
    /// "YFCurveFilter, No single interpolation type."), and the result is true all the same.
    /// \return  false, with a result of 0 and error 0, for a curve without keys
    static bool GetGlobalInterpolation(unsigned& result, const YFCurve& curve);
    /// The same for the tangent modes (`YFCURVE_TANGENT_ALL`, no overrides), whatever the interpolation.
    static bool GetGlobalTangeant(unsigned& result, const YFCurve& curve);

    /// Counts keys by kind: constant, linear, and cubic by tangent mode: auto, auto broken, user, user
    /// broken, TCB. Cubic keys of other modes are not counted.
    /// \return  true
    static bool GetInterpolationAndTangeantCount(const YFCurve& curve, int counts[7]);

    // --- Times -----------------------------------------------------------------------------------------

    /// How far the first key is after `time`; 0 when it is not. The curve has keys. It is passed by value: a
    /// copy of all its keys.
    static YTime FindTimeOffsetBefore(YFCurve curve, YTime time);
    /// How far the last key is before `time`, as a negative offset; 0 when it is not.
    static YTime FindTimeOffsetAfter(YFCurve curve, YTime time);

    // --- Curves of indices -----------------------------------------------------------------------------
    // The values of some curves are positions in a list, counted from 1: a key's index in the list is its
    // value, rounded, minus 1, kept within 0 to `largestIndex`.

    /// Adapts a curve to the removal of an index from the list: higher indices move down by one, and a key
    /// with the index itself takes that of the key before it (the first key: index 0). Nothing happens for an
    /// index outside 0 to `largestIndex`, or when no key has it or a higher one.
    static void RemoveIndexFromCurve(YFCurve& curve, int index, int largestIndex);
    /// Gives every key of an index another one. Nothing happens when either is negative.
    static void ReplaceIndexFromCurve(YFCurve& curve, int oldIndex, int newIndex, int largestIndex);
};
