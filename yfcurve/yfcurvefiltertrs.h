#pragma once

#include <array>
#include <optional>

#include "yfcurve/yfcurvefilter.h"

/// \file
/// A whole motion moved, turned and scaled.

namespace yfc {
struct TransformNodes;
}

/// Puts another transform in front of an animated one: what moved about the origin moves about a new place,
/// in a new direction and size. With an offset of T, R and S, and R turning in the node's rotation order,
///
///     translation = T + R * (S * translation)
///     rotation    = R * rotation
///     scaling     = S * scaling           axis by axis, so that shear is never needed
///
/// Where axes do not mix (no R, and scalings) keys keep their times and tangents. Where they do, the span of
/// the property is sampled at the plot period (`YFCURVE_GetPlotPeriod`), its first and last key included, and
/// rotations keep to the angles nearest to each other. A rotation in quaternion form keeps the form: there it
/// takes no samples, but the keys turned. Properties without keys have their values changed.
///
/// Applied to a node that has a translation, rotation or scaling it changes these; otherwise, with
/// `recursive`, the topmost nodes below that have: what hangs on them moves along. A node with a lock on it,
/// on a property or a curve is left alone. Status 0 where there is no transform, and for a plot period that
/// is not positive or too short for the span.
class YFCURVE_EXPORT YFCurveFilterTRS : public YFCurveFilterOf<YFCurveFilterTRS>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterTRS();

    /// The offset: none at first. R is in degrees.
    void SetT(double x, double y, double z) { mT = {x, y, z}; }
    void SetR(double x, double y, double z) { mR = {x, y, z}; }
    void SetS(double x, double y, double z) { mS = {x, y, z}; }

    /// Whether a node has a translation, rotation or scaling of its own that is changed.
    static bool Moves(const YFCurveNode& node);

    using YFCurveFilterOf<YFCurveFilterTRS>::Apply;
    /// Refused: one curve is no transform.
    bool Apply(YFCurve& curve) override;

  protected:
    bool FilterCurves(YFCurve** curves, int count) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool ApplyToTopmost(YFCurveNode& node, bool recursive, std::optional<eFilterOutcome>& outcome);
    bool ApplyToTransform(const yfc::TransformNodes& transform);
    bool Translate(YFCurveNode& node, int rotationOrder);
    bool Rotate(YFCurveNode& node);
    void ScaleAxes(YFCurveNode& node, const std::array<double, 3>& offset);
    template<class Change>
    bool ChangeBySamples(YFCurveNode& node, Change change);
    template<class Change>
    bool ChangeTurns(YFCurveNode& node, Change change);

    std::array<double, 3> mT{};
    std::array<double, 3> mR{};
    std::array<double, 3> mS{};
};
