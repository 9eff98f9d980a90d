#pragma once

#include "yfcurve/node/layers/layerblend.h"
#include "yfcurve/yfcurvenode.h"

// The layers of a property evaluated together, for the sources that evaluate and solve them. "Local" times
// are those behind the node's own time warp; the ones of the layers further on are not applied yet.

namespace yfc {

/// Which values an evaluation sees, and where it starts searching for keys.
struct Pass
{
    int* last = nullptr;      ///< hint; null for the ones inside the curves
    bool candidates = false;  ///< also see candidates, and keep the results as such
    int nesting = 0;          ///< how many components and time warps with links of their own lead here

    static constexpr int kMostNesting = 100;

    Pass Nested() const { return {last, candidates, nesting + 1}; }
};

/// Layers and time warps have keys of their own: they search from where the caller's hint is, and do not
/// disturb it.
class HintCopy
{
  public:
    explicit HintCopy(const Pass& pass) : mHint(pass.last != nullptr ? *pass.last : 0), mPass(pass)
    {
        if (pass.last != nullptr) mPass.last = &mHint;
    }
    HintCopy(const HintCopy&) = delete;
    HintCopy& operator=(const HintCopy&) = delete;

    const Pass& Get() const { return mPass; }

  private:
    int mHint;
    Pass mPass;
};

inline double EvaluateCurve(YFCurve& curve, YTime time, const Pass& pass)
{
    return pass.candidates ? curve.CandidateEvaluate(time, pass.last) : curve.Evaluate(time, pass.last);
}

/// Whether children of the node have children of their own: then it is no property, but has some below it.
bool HasProperties(const YFCurveNode& node);

/// How many values an evaluation across layers writes.
int ValueCount(const YFCurveNode& node);

/// The node's time, by its time warp, at a time of its surroundings.
YTime LocalTime(YFCurveNode& node, YTime time, const Pass& pass);

/// All layers from this node on, from neutral values. Returns the position after the values.
double* EvaluateLayers(YFCurveNode& node, double* values, YTime localTime, const Pass& pass);

/// The values of one layer's own curves.
double* EvaluateOwn(YFCurveNode& node, double* values, YTime localTime, const Pass& pass);

/// Some of them, one for each child: a child without a curve counts as neutral, even if it has children.
void EvaluateComponents(YFCurveNode& node, int first, int count, double* values, YTime localTime,
                        const Pass& pass);
void EvaluateComponent(YFCurveNode& child, const YFCurveNode& node, double* value, YTime localTime,
                       const Pass& pass);

/// Whether a child of a layer that is not muted evaluates to its curve's value at the layer's time.
bool IsCurveAlone(const YFCurveNode& child, const YFCurveNode& parent);

/// Whether the values of a layer with children come from its three curves together, by `EvaluateRotation`.
bool IsRotation(const YFCurveNode& node);

/// The values of a rotation of three children, by angles or as quaternions.
double* EvaluateRotation(const YFCurveNode& node, double* values, YTime localTime, const Pass& pass);

/// The angles of a rotation between two others, of all triples the one nearest to a reference.
YgeRVector TurnedBetween(const YgeRVector& from, const YgeRVector& to, double fraction,
                         const YgeRVector& reference, eRotationOrder order);

/// Whether a rotation that uses quaternions turns between two times of its keys at a time, instead of
/// following its angles.
bool TurnsAt(const YFCurveNode& node, YTime time);

/// Neutral values, all the way down. Returns the position after them.
double* FillNeutral(const YFCurveNode& top, double* values);

/// Whether a node is nothing but the properties below it.
bool IsGroup(const YFCurveNode& node);

/// Whether a node can say what time it is.
bool CanWarp(const YFCurveNode& warp);

/// Whether the node's values are the property's as they stand, because it has no other layers.
bool StandsAlone(const YFCurveNode& node);

/// The curve of the layer's weight where the weight has an effect on what a node holds, whatever that is now;
/// null where it has none and where no curve gives it.
const YFCurve* WeightCurveOf(const YFCurveNode& node);

/// The total candidate, component by component.
float TotalCandidate(const YFCurveNode& node, int component);
void KeepTotalCandidate(YFCurveNode& node, int component, double value);

/// See `YFCurveNode::ComputeCandidateForLayer`; the layer is the node or on its chain. Sees no candidates.
/// \param share  may be the same array as `total`.
void SolveForLayer(YFCurveNode& node, YFCurveNode& layer, double* share, const double* total, YTime localTime,
                   int* last);

/// An angle at which layers would be nudged (see `WeightRotation`) moves just out of the way.
double ClearOfHalfTurn(double angle);

/// Makes of a layer's share the values that its curves have to hold.
/// \param layerTime  the layer's own time.
/// \param nearestAngles  see `YFCurveNode::CandidateKey`.
void ResolveShare(YFCurveNode& node, YFCurveNode& layer, double* values, YTime layerTime, bool nearestAngles);

}  // namespace yfc
