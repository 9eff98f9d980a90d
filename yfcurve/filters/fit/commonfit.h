#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/filters/fit/fitsource.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// Curves that get keys at the same times: those of a property, or of a joint.

namespace yfc {

/// Curves of a property. The three of a rotation, which has an order, are held to the angle between orientations.
struct FitProperty
{
    std::vector<YFCurve*> curves;
    std::optional<eRotationOrder> order;

    explicit FitProperty(std::vector<YFCurve*> itsCurves) : curves(std::move(itsCurves)) {}
    /// Those of the node's children, where each of these has one and no children of its own; else none.
    explicit FitProperty(const YFCurveNode& node);
};

/// A node as a property; or its children, where each of them is a property that is not locked and no rotation
/// in quaternion form, as those of a joint without child joints are. Else none.
std::vector<FitProperty> FitPropertiesOf(const YFCurveNode& node);

std::vector<YFCurve*> CurvesOf(const std::vector<FitProperty>& properties);

int CountKeys(std::span<const YFCurve* const> curves);

enum class ECommonFit
{
    Impossible,  ///< too few or too many curves, or one that has to be fitted by itself
    Needless,    ///< it would save too little
    Made
};

/// Fits all curves, or leaves all as they are. Throws `std::bad_alloc`.
/// \param before  the curves whose keys a fit has to save some of; mostly those of the properties.
ECommonFit FitAtCommonTimes(const std::vector<FitProperty>& properties, const std::vector<YFCurve*>& before,
                            YTime start, YTime stop, const FitOptions& options);

}  // namespace yfc
