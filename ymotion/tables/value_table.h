#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ymotion/scene/curve_selection.h"

/// \file
/// Motion as columns of numbers over time.

namespace ymotion {

/// Named columns, and what stands in them at any time.
class ValueTable
{
  public:
    virtual ~ValueTable() = default;

    /// The names of the columns, as files have them: they may hold any bytes, and need not be unique.
    virtual std::vector<std::string> Heads() const = 0;
    /// Appends the values at a time, one for each column. Times outside the keys are extrapolated.
    virtual void AppendRow(std::vector<float>& row, YTime time) = 0;
};

/// A column for each curve, called by its path: what plays. The scene of the curves has to outlive the table,
/// as with all of these.
std::unique_ptr<ValueTable> MakeCurveTable(const std::vector<SelectedCurve>& curves);

/// The weights of the layers that the properties of the curves have ("weight [Breathing]"); then, property by
/// property, the values of each of its layers ("Hips/Lcl Rotation/X [Breathing]") and what plays.
std::unique_ptr<ValueTable> MakeLayerTable(const Scene& scene, const std::vector<SelectedCurve>& curves);

/// How rotations in the world are given.
enum class WorldRotation
{
    Quaternions,  ///< X, Y, Z, W; of the two of a rotation the one nearer to that of the row before
    Euler         ///< degrees in the rotation order of the joint, nearest to those of the row before
};

/// Where the joints are in the world ("Hips/World Position/X") and how they are turned ("Hips/World
/// Rotation/X"); behind a joint the positions of its end sites ("Head/End Site/World Position/X"). Throws
/// `Failure` for a scene without a skeleton.
/// \param patterns  the joints that have any of the curves meant by these (see `SelectCurves`); all for none.
std::unique_ptr<ValueTable> MakeWorldTable(const Scene& scene, const std::vector<std::string>& patterns,
                                           WorldRotation rotation);

}  // namespace ymotion
