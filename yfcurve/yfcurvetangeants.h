#pragma once

#include "yfcurve/yfcurveexport.h"

/// \file
/// Conversions between the three ways to give a key's tangents: as slopes (Bezier derivatives), as auto
/// parameters, and as tension, continuity and bias.
///
/// Slopes are in value units per second. Every conversion starts from the two neighbouring slopes of a
/// key: `toLeft`, of the straight line from the key before it, and `toRight`, of that to the key after it.
///
/// An auto parameter places a tangent between the two: 100 is the slope on the tangent's own side, -100
/// that on the other side, 0 their mean, and the line goes on beyond. From a magnitude of 500 the tangent
/// swings out further, by 1000 x ((|a| - 500) / 500)^2, away from the other side's slope at positive
/// parameters; where the two slopes are equal, the left tangent swings down and the right one up.
///
/// Arguments are references throughout; only those said to be results are written. `curve` must not be
/// null and `keyIndex` must be the index of a key, unless the curve has none. Keys at one time have
/// infinite or undefined slopes, which carry over into the results.

class YFCurve;

/// The neighbouring slopes of a key. An end key has the same one on both sides. Value and time differences
/// are rounded to single precision before the division. A lone key has no slopes: `toLeft` takes the value
/// of `toRight`, so set that (to 0) beforehand.
YFCURVE_EXPORT void YFCURVE_ComputeToLeftAndToRight(double& toLeft, double& toRight, YFCurve* curve,
                                                    int keyIndex);

// --- Auto parameter to slope ---------------------------------------------------------------------------

/// The slope of one tangent. On the left the parameters 100 and -100 (within 1e-5) give `toLeft` and
/// `toRight` to the last bit; on the right they are blended as any other.
YFCURVE_EXPORT void YFCURVE_ComputeLeftBezierFromAuto(double& leftDerivative, double& autoValue,
                                                      double& toLeft, double& toRight);
YFCURVE_EXPORT void YFCURVE_ComputeRightBezierFromAuto(double& rightDerivative, double& autoValue,
                                                       double& toLeft, double& toRight);
/// Both.
YFCURVE_EXPORT void YFCURVE_ComputeBezierFromAuto(double& leftDerivative, double& rightDerivative,
                                                  double& leftAuto, double& rightAuto, double& toLeft,
                                                  double& toRight);

/// The same for a key of a curve; 0 for a curve without keys.
YFCURVE_EXPORT void YFCURVE_ComputeLeftBezierFromAutoForKey(double& derivative, double& autoValue,
                                                            YFCurve* curve, int keyIndex);
YFCURVE_EXPORT void YFCURVE_ComputeRightBezierFromAutoForKey(double& derivative, double& autoValue,
                                                             YFCurve* curve, int keyIndex);
YFCURVE_EXPORT void YFCURVE_ComputeBezierFromAutoForKey(double& leftDerivative, double& rightDerivative,
                                                        double& leftAuto, double& rightAuto, YFCurve* curve,
                                                        int keyIndex);

// --- Slope to auto parameter ---------------------------------------------------------------------------

/// The parameter that gives a slope: the inverse of the above. Where both neighbouring slopes are equal
/// (within 1e-5), so is every parameter between -500 and 500, and the result is 0. A derivative of a
/// magnitude below 1e-5 is set to 0 in the caller's variable.
YFCURVE_EXPORT void YFCURVE_ComputeLeftAutoFromBezier(double& autoValue, double& leftDerivative,
                                                      double& toLeft, double& toRight);
YFCURVE_EXPORT void YFCURVE_ComputeRightAutoFromBezier(double& autoValue, double& rightDerivative,
                                                       double& toLeft, double& toRight);
/// Both.
YFCURVE_EXPORT void YFCURVE_ComputeAutoFromBezier(double& leftAuto, double& rightAuto, double& leftDerivative,
                                                  double& rightDerivative, double& toLeft, double& toRight);

/// The same for a key of a curve; 0 for a curve without keys.
YFCURVE_EXPORT void YFCURVE_ComputeLeftAutoFromBezierForKey(double& autoValue, double& derivative,
                                                            YFCurve* curve, int keyIndex);
YFCURVE_EXPORT void YFCURVE_ComputeRightAutoFromBezierForKey(double& autoValue, double& derivative,
                                                             YFCurve* curve, int keyIndex);
/// Both sides; for a curve without keys the two *derivatives* are set to 0 and the parameters are left as
/// they are.
YFCURVE_EXPORT void YFCURVE_ComputeAutoFromBezierForKey(double& leftAuto, double& rightAuto,
                                                        double& leftDerivative, double& rightDerivative,
                                                        YFCurve* curve, int keyIndex);

// --- Slopes to tension, continuity and bias ------------------------------------------------------------

/// Continuity and bias that, with the given tension, make the two slopes out of the neighbouring ones
/// (Kochanek and Bartels, "Interpolating Splines with Local Tension, Continuity, and Bias Control",
/// SIGGRAPH 1984).
///
/// Three parameters describe two slopes, so the tension is the caller's choice; one within 0.01 of 1,
/// which would make every slope 0, becomes 0. Between segments of equal slope continuity and bias are not
/// both determined: then the bias is 1 and the tension is a result too, and where the slopes to be
/// described are equal as well, all three are 0. At the first key the left slope counts as 0 and the right
/// one by half, at the last key the other way round.
YFCURVE_EXPORT void YFCURVE_ComputeTCBFromBezierForKey(double& tension, double& continuity, double& bias,
                                                       double leftDerivative, double rightDerivative,
                                                       YFCurve* curve, int keyIndex);

// --- Directions ----------------------------------------------------------------------------------------

/// The rotation that turns the direction from `origin` to `from` into that from `origin` to `to`, the
/// shortest one, as Euler angles in degrees (order XYZ). Every argument is an array of three doubles.
///
/// (0, 0, 0) for directions that agree within 0.001 in every component of their unit vectors, (180, 0, 0)
/// for opposite ones, whichever axis they lie on. A point at the origin counts as a direction of length 0.
/// \return  true.
YFCURVE_EXPORT bool AxisAlignmentInEulerAngle(double* const origin, double* const from, double* const to,
                                              double* const eulerOut);
