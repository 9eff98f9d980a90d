#pragma once

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"
#include "yfcurve/yfcurvelayer.h"

/// \file
/// Plotting: what a property does becomes keys on one of its layers.

class YFCurve;
class YFCurveNode;

/// How a plot ended. In every case but `Done` nothing has been changed.
enum class eYFCurvePlotStatus : int
{
    Done,
    BadNode,     ///< null, no curve to be found, or layers on a node whose children are properties themselves
    BadOptions,  ///< a period or tolerance that is not positive, or a break threshold below 0
    BadSpan,     ///< empty, without any key to tell an open end, or of too many samples
    Locked,      ///< a layer, node or curve that would change is locked
    NoLayer,     ///< the node can have no layer of that id, or no merged layer is there
    TimeWarp,    ///< a time warp that does not run forward throughout, so that no curve can follow it
    NoSource,    ///< the host's function returned false, or values that are no numbers
    Unreachable,  ///< no values on the layer lead there: they would have to be larger than a key can hold, or
                  ///< change a scaling that the layers below make 0
    NoWeight,     ///< the layer is muted or has no weight there, so that nothing on it shows
    Hidden,       ///< a layer above replaces there what the layers below it make
    ShowsOutside,   ///< the layer would have to be made for the span, and would change what is outside
    Extrapolation,  ///< at an open end, curves repeat or run on outside their keys in ways that one curve
                    ///< cannot: give a span; over a span, curves that change would repeat it outside
    NotLinear,      ///< (`YFCURVE_ConstantCurveMerge`) it takes resampling
    Memory          ///< memory has run out, and nothing has changed
};

/// A plot or merge in numbers.
struct YFCurvePlotReport
{
    eYFCurvePlotStatus status = eYFCurvePlotStatus::Done;
    /// Keys that the layer's curves have in the span afterwards.
    int keyCount = 0;
    /// The largest difference between what was to be plotted and what the layers evaluate to now, at the
    /// samples that were compared: units of the property, or for a rotation that turns as a whole degrees
    /// between the orientations. Of a fixed-rate plot, at the keys. When the status is `Unreachable`,
    /// `NoWeight`, `Hidden` or `ShowsOutside`: the difference that could not be avoided.
    double largestDifference = 0.0;
    YTime time{YTIME_ZERO};  ///< where that is, in the property's own time
};

/// Gives what a property is to be at a time, constraints and all that the host adds to it included.
/// \param node    the property: one of the nodes below the one that is plotted, or that itself
/// \param values  room for its values; filled with what its layers evaluate to
/// \param object  as it was given to the plot
/// \return  false ends the plot with `NoSource`
///
/// Called many times, forwards and backwards in time. It must not change the node.
using YFCurvePlotSource = bool (*)(YFCurveNode* node, YTime time, double* values, void* object);

/// How motion is turned into keys. A new one has the defaults of the process (yfcurvesettings.h).
struct YFCURVE_EXPORT YSmartPlotOptions
{
    /// True: as few keys as keep the result within the tolerance, user keys with slopes fitted to the motion.
    /// False: cubic auto keys at the fixed rate. True at first.
    bool smart = true;

    /// The time from one plotted key to the next. A smart plot compares at a tenth of it, and motion that is
    /// faster than that is lost. One frame of the time mode stands for its frames, as in `YFCurveFilter`.
    /// `YFCURVE_GetPlotPeriod` at first.
    YTime period;

    /// Fixed-rate keys lie on whole multiples of the period, and at both ends of the span; smart keys do, or
    /// stand at keys of the motion, wherever the tolerance allows it. Otherwise periods count from the start.
    /// `YFCURVE_GetPlotOnFrame` at first.
    bool onFrame = true;

    /// How far the result of a smart plot may be from the motion, at every sample: units of the property,
    /// degrees for rotations. Positive; 0.001 at first. Single precision limits it to some 4e-7 of the
    /// values. Between samples it holds where these tell the slopes of the motion, which takes four of them
    /// from one corner to the next, and on layers that turn evenly from key to key where the motion nearly
    /// does; not where a scaling that a layer above overrides in part passes 0.
    double tolerance = 0.001;

    /// Smart: set a key wherever a curve of the property, on any layer, has one, and leave constant curves
    /// theirs. False at first.
    bool keepSourceKeys = false;

    /// Smart: break the tangents of keys at which the motion has a corner. False makes every key smooth,
    /// takes more of them at corners, and rounds these off between two samples. True at first.
    bool breakTangents = true;

    /// How far the slope of the motion on one side of a key may be from the key's before it is a corner, in
    /// units per second. 0, as it is at first, stands for the tolerance over a period.
    double breakThreshold = 0.0;

    /// Jumps by more than the tolerance stay at their very tick, between two keys that are one tick apart.
    /// False spreads them over the time between two samples (smart) or two keys, where the tolerance then
    /// does not hold. Looked for are jumps at the keys of the property, and elsewhere between samples from
    /// one to the other of which it moves faster than before and after.
    /// `YFCURVE_GetPreciseTimeDiscontinuities` at first.
    bool preciseDiscontinuities = false;

    /// (`YFCurve_PlotInLayers`) What plays outside a span stays. False: it is given up, as at an open end, and
    /// the curve holds its first and its last value there. True at first.
    bool keepOutside = true;

    /// Leave out keys in stretches that do not move; of a plot that is open at both ends, a curve that does
    /// not move at all is left with one key or none (`YFCURVE_GetConstantKeyReducerKeepOneKey`). A smart plot
    /// stays within its tolerance all the same, and leaves curves theirs where source keys are kept.
    /// `YFCURVE_GetUseConstantKeyReducer` at first.
    bool reduceConstant = true;

    /// What counts as not moving, by what the property is: translation, rotation (degrees), scaling or
    /// other. The thresholds of the process (`YFCURVE_GetUseConstantKeyReducerTranslationThreshold` and its
    /// kin) at first.
    double translationThreshold;
    double rotationThreshold;
    double scalingThreshold;
    double defaultThreshold;

    YSmartPlotOptions();
};

/// Writes what a property does over a span into one of its layers, such that all its layers together
/// evaluate to it; the other layers stay as they are. A node without a curve whose children are properties
/// has each of them plotted; what is not a property (no curves) is passed over. The components of a property
/// are properties themselves where one of them has layers of its own, but those of a rotation, whose layers
/// do not count.
///
/// A smart plot samples the motion at tenths of the period and at the times of the property's keys, chooses
/// keys, compares the layers' evaluation with the motion, and adds keys until it is within the tolerance.
/// The layer's curves are exchanged over the span as `YFCurve::Replace` does, with values outside it kept:
/// curves that repeat their keys there are refused (`Extrapolation`), and so is a layer that has to be made
/// and would show there (`ShowsOutside`): one that overrides, or the first layer above a base layer whose
/// weight is not 1, since that weight has no effect as long as the base layer is alone. With an open end
/// there is no outside: the curve then holds its last value there, even where the property repeats its keys or
/// runs on beyond them. To plot that as far as it matters, give the span without `keepOutside`.
///
/// A rotation that turns as a whole gets, of all triples of angles for its orientation, those nearest to the
/// sample before.
///
/// \param layerInfo  the layer; a missing one is made. On nodes that have a base layer alone, that
/// \param start,stop  times of the scene. Minus infinity and infinity mean the first and last key of the
///                   property on any layer, of the weights that it moves with
///                   (`YFCurveNode::GetWeightCurve`), and of that of the layer, which it will move with
/// \param source     null plots what the layers evaluate to themselves: a bake
/// \param report     receives the outcome when it is not null. Over several properties: the first status that
///                   is not `Done`, all keys, and the largest difference
/// \return  whether the status is `Done`. Of several properties, those that could be plotted are.
YFCURVE_EXPORT bool YFCurve_PlotInLayers(YFCurveNode* node, const YFCurveLayerInfo& layerInfo,
                                         YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE,
                                         const YSmartPlotOptions& options = YSmartPlotOptions(),
                                         YFCurvePlotSource source = nullptr, void* object = nullptr,
                                         YFCurvePlotReport* report = nullptr);

/// Adds keys to a curve where it strays from a reference, until it is nowhere farther away than the
/// tolerance in the span. A key that is off itself is set onto the reference, with its slopes, and so are the
/// new ones; all others keep what they have, but that a new key makes a cubic segment of the one it stands
/// in. A jump of the reference is kept by two keys one tick apart. Differences are found as
/// `YFCurveUtils::CompareCurve` finds them. Outside the span the curve stays what it is, with keys at the
/// ends of the span where it takes them, or one tick outside; only what repeats the keys repeats the new ones
/// too, and what keeps the slope for a number of periods keeps it longer where keys go on at the other end.
/// \param tolerance  not negative; differences that single precision cannot tell count as none: some 4e-7 of
///                   a value, and what the reference changes by in 1.5e-6 of a weighted segment
/// \param start,stop  as for `YFCurveUtils::CompareCurve`; an empty span adds nothing
/// \return  how many keys were added; -1, with nothing changed, for a null curve, a locked one, a tolerance
///          that is negative or no number, and when memory runs out
YFCURVE_EXPORT int YFCURVE_IncreaseFidelity(YFCurve* curve, const YFCurve* reference, double tolerance,
                                            YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE);
/// The same for all curves of a tree, on its own layer. Trees of another shape are compared as far as
/// `YFCURVE_BreakTangents` does; locked nodes and curves are passed over.
/// \return  how many keys were added; -1, with nothing changed, for a null node, for a tolerance as above,
///          and when memory runs out
YFCURVE_EXPORT int YFCURVE_IncreaseFidelity(YFCurveNode* node, YFCurveNode* reference, double tolerance,
                                            YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE);
