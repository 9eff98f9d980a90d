#pragma once

#include "ybaselib/yproperty.h"
#include "ybaselib/ypropertydescription.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Settings of the process for plotting, the filters and evaluation.
///
/// Plain values with a getter and a setter each: what is set is what is read, nothing is checked and no
/// listener called. They must not be set while other threads use the library. A thread may go by a plot
/// period of its own (`YFCurveThreadPlotPeriod`). Filters take their defaults from them when they are made or
/// reset, plots when their options are made (`YSmartPlotOptions`). Settings that say "for the host" are kept
/// for it, and read by nothing in the library.

// --- Plotting ------------------------------------------------------------------------------------------

/// The time from one plotted key to the next; a 30th of a second at first. The default of plots, and the rate
/// at which `YFCurveFilterTRS` samples; the smoothing filter's default width is four of these. While the
/// thread has a `YFCurveThreadPlotPeriod`, what is set here is not what it reads.
YFCURVE_EXPORT YTime YFCURVE_GetPlotPeriod();
YFCURVE_EXPORT void YFCURVE_SetPlotPeriod(YTime value);
/// A plot period for one thread: while this lives, the thread that made it reads this one, whatever the
/// process is set to. These may stand inside each other, the innermost counts. Made and ended on one thread.
class YFCURVE_EXPORT YFCurveThreadPlotPeriod
{
  public:
    explicit YFCurveThreadPlotPeriod(YTime period);
    ~YFCurveThreadPlotPeriod();
    YFCurveThreadPlotPeriod(const YFCurveThreadPlotPeriod&) = delete;
    YFCurveThreadPlotPeriod& operator=(const YFCurveThreadPlotPeriod&) = delete;

  private:
    YTime mPeriod;
    const YTime* mOuter;
};
/// Whether plotted keys lie on frames; true at first. The default of plots.
YFCURVE_EXPORT bool YFCURVE_GetPlotOnFrame();
YFCURVE_EXPORT void YFCURVE_SetPlotOnFrame(bool value);
/// Whether translations are plotted for the root alone; false at first. For the host.
YFCURVE_EXPORT bool YFCURVE_GetPlotTranslationOnRootOnly();
YFCURVE_EXPORT void YFCURVE_SetPlotTranslationOnRootOnly(bool value);
/// Whether plotting keeps jumps at the very time at which they are; false at first. The default of plots.
YFCURVE_EXPORT bool YFCURVE_GetPreciseTimeDiscontinuities();
YFCURVE_EXPORT void YFCURVE_SetPreciseTimeDiscontinuities(bool value);

// --- Rotation filters ----------------------------------------------------------------------------------

/// Which filter cleans rotations up after plotting: 1 the gimbal-killing filter, 2 the unroll filters, any
/// other number none; 2 at first.
YFCURVE_EXPORT int YFCURVE_GetRotationFilterToApply();
YFCURVE_EXPORT void YFCURVE_SetRotationFilterToApply(int value);
/// The default quality tolerance of the unroll filters; 0.25 at first.
YFCURVE_EXPORT double YFCURVE_GetRotationFilterUnrollQuality();
YFCURVE_EXPORT void YFCURVE_SetRotationFilterUnrollQuality(double value);
/// Whether the unroll filters test for path by default; false at first.
YFCURVE_EXPORT bool YFCURVE_GetRotationFilterUnrollTestForPath();
YFCURVE_EXPORT void YFCURVE_SetRotationFilterUnrollTestForPath(bool value);

// --- Butterworth filter --------------------------------------------------------------------------------

/// The default rate, in samples per second, at which the Butterworth filter works inside; 240 at first.
YFCURVE_EXPORT double YFCURVE_GetButterworthFilterInternalRate();
YFCURVE_EXPORT void YFCURVE_SetButterworthFilterInternalRate(double value);

// --- Constant key reducer ------------------------------------------------------------------------------
// How constant stretches lose their keys. Plots take the thresholds, and whether to do it at all, as their
// defaults; the filter has defaults of its own. Thresholds are differences of values within which keys count
// as equal, in the unit of the property.

/// Whether plots leave out keys in stretches that do not move; true at first.
YFCURVE_EXPORT bool YFCURVE_GetUseConstantKeyReducer();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducer(bool value);
/// Whether the filter runs while recording too; true at first. For the host.
YFCURVE_EXPORT bool YFCURVE_GetUseRunTimeConstantKeyReducer();
YFCURVE_EXPORT void YFCURVE_SetUseRunTimeConstantKeyReducer(bool value);
/// The threshold of translations; 5e-13 at first.
YFCURVE_EXPORT double YFCURVE_GetUseConstantKeyReducerTranslationThreshold();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducerTranslationThreshold(double value);
/// The threshold of rotations in degrees; 0.0005 at first, for angles that have come from matrices.
YFCURVE_EXPORT double YFCURVE_GetUseConstantKeyReducerRotationThreshold();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducerRotationThreshold(double value);
/// The threshold of scalings; 5e-13 at first.
YFCURVE_EXPORT double YFCURVE_GetUseConstantKeyReducerScalingThreshold();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducerScalingThreshold(double value);
/// The threshold of all other properties; 5e-13 at first.
YFCURVE_EXPORT double YFCURVE_GetUseConstantKeyReducerDefaultThreshold();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducerDefaultThreshold(double value);
/// Whether it runs on what devices record; true at first. For the host.
YFCURVE_EXPORT bool YFCURVE_GetUseConstantKeyReducerOnDevices();
YFCURVE_EXPORT void YFCURVE_SetUseConstantKeyReducerOnDevices(bool value);
/// Whether a plot leaves one key on a curve that is flat throughout; true at first.
YFCURVE_EXPORT bool YFCURVE_GetConstantKeyReducerKeepOneKey();
YFCURVE_EXPORT void YFCURVE_SetConstantKeyReducerKeepOneKey(bool value);

// --- Evaluation ----------------------------------------------------------------------------------------

/// Whether a TCB key is approached with the slope that it leaves with, so that its continuity does not break
/// the tangent (`YFCurve::KeyGetLeftDerivative`); false at first, for the two slopes of the published
/// formula. Curves do not notice a change: listeners are not told, and what was computed from slopes stays as
/// it is.
YFCURVE_EXPORT bool YFCURVE_GetTCB4051EvalMode();
YFCURVE_EXPORT void YFCURVE_SetTCB4051EvalMode(bool value);

// --- The list ------------------------------------------------------------------------------------------

/// How many settings there are.
YFCURVE_EXPORT int YFCURVE_GetSettingCount();
/// A setting as a property: its name ("PlotPeriod"), type, default, range and meaning, and its value as text.
/// Texts and numbers are checked against the range, unlike the values given to the setters.
/// \param index  from 0 to the count - 1, in the order of the list above; null outside.
YFCURVE_EXPORT YProperty* YFCURVE_GetSetting(int index);
