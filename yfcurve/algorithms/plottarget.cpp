#include "yfcurve/algorithms/plottarget.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <new>

#include "yfcurve/node/layers/layerkind.h"
#include "yfcurve/yfcurvenode.h"

namespace yfc {

namespace {

// The angles of a rotation are those of its curves, whatever layers these have.
bool TakesCurvesAlone(const YFCurveNode& node)
{
    return node.IsRotationLayerType() && node.GetCount() == kRotationComponents;
}

}  // namespace

bool IsProperty(const YFCurveNode& node)
{
    if (node.FCurveGet() != nullptr) return true;
    if (HasProperties(node)) return false;
    bool hasCurve = false;
    for (int i = 0; i < node.GetCount(); ++i) {
        if (node.Get(i)->LayerGet() != nullptr && !TakesCurvesAlone(node)) return false;
        hasCurve = hasCurve || node.Get(i)->FCurveGet() != nullptr;
    }
    return hasCurve;
}

// --- Copies --------------------------------------------------------------------------------------------

// How a single value combines depends on whether its node has a parent.
PropertyCopy::PropertyCopy(const YFCurveNode& property) : mNode(property.Clone())
{
    if (!mNode) throw std::bad_alloc();
    mNode->SetParent(property.GetParent());
}

void PropertyCopy::CutAbove(int layerId)
{
    bool cut = false;
    for (YFCurveNode* layer = mNode.get(); layer != nullptr;) {
        YFCurveNode* const next = layer->LayerGet();
        if (next != nullptr && next->GetLayerID() > layerId) {
            mNode->RemoveLayer(next->GetLayerID(), true);
            cut = true;
        } else {
            layer = next;
        }
    }
    // A base layer on its own evaluates without its weight: see `StandsAlone`.
    if (cut && mNode->CreateLayerAt({INT_MAX, nullptr}) == nullptr) throw std::bad_alloc();
}

// --- Trying values -------------------------------------------------------------------------------------

namespace {

bool IsWholeRotation(const YFCurveNode& node)
{
    return node.FCurveGet() == nullptr && node.GetLayerType() == YFCURVE_LAYERTYPE_ROTATION &&
           node.GetCount() == kRotationComponents;
}

}  // namespace

PlotTarget::PlotTarget(YFCurveNode& node, YFCurveNode& layer, bool asOrientation, YFCurveNode* whole,
                       YFCurveNode* above)
    : mNode(node),
      mLayer(layer),
      mWhole(whole),
      mAbove(above),
      mCount(ComponentCount(node)),
      mIsRotation(IsWholeRotation(node)),
      mOrientations(mIsRotation && (asOrientation || !StandsAlone(node)))
{}

eRotationOrder PlotTarget::GetOrder() const
{
    return static_cast<eRotationOrder>(mNode.GetRotationOrder());
}

void PlotTarget::EvaluateWith(double* total, const double* values, YTime time) const
{
    if (StandsAlone(mNode)) {
        std::copy_n(values, mCount, total);
        return;
    }
    std::fill_n(total, mCount, NeutralValue(mNode));
    const Piece all{0, mCount};
    std::vector<double> own(static_cast<std::size_t>(mCount));
    for (LayerWalk walk(mNode, time, {}); !walk.IsAtEnd(); walk.Next()) {
        if (!walk.Counts()) continue;
        const bool isTried = &walk.Layer() == &mLayer;
        if (!isTried) walk.Evaluate(all, own.data());
        walk.Accumulate(all, total, isTried ? values : own.data());
    }
}

void PlotTarget::Solve(double* values, const double* total, YTime time, const double* near)
{
    SolveForLayer(mNode, mLayer, values, total, time, &mHint);
    ResolveShare(mNode, mLayer, values, time, mOrientations && near == nullptr);
    // What a key cannot hold is found out when the values are tried.
    for (int i = 0; i < mCount; ++i) values[i] = std::clamp<double>(values[i], -FLT_MAX, FLT_MAX);
    if (!mOrientations || near == nullptr) return;
    const YgeRVector nearest =
        V2VRef({values[0], values[1], values[2]}, {near[0], near[1], near[2]}, GetOrder());
    for (int i = 0; i < kRotationComponents; ++i) values[i] = ClearOfHalfTurn(nearest[i]);
}

void PlotTarget::GoOn(double* total, YTime time) const
{
    if (mAbove == nullptr) return;
    LayerWalk walk(*mWhole, time, {});
    for (walk.GoTo(*mAbove); !walk.IsAtEnd(); walk.Next()) {
        if (walk.Counts()) walk.Combine(total);
    }
}

eYFCurvePlotStatus PlotTarget::WhyUnreachable(YTime time) const
{
    LayerWalk walk(mNode, time, {});
    walk.GoTo(mLayer);
    const bool counts = !walk.IsAtEnd() && walk.Counts() &&
                        std::abs(mLayer.GetLayerInfo().GetWeight(walk.Time())) >= kWeightTolerance;
    if (!counts) return eYFCurvePlotStatus::NoWeight;
    // Values far enough apart that a small weight does not make them alike.
    const std::vector<double> low(static_cast<std::size_t>(mCount), 1.0);
    const std::vector<double> high(static_cast<std::size_t>(mCount), 2.0);
    std::vector<double> totals[2] = {low, high};
    EvaluateWith(totals[0].data(), low.data(), time);
    EvaluateWith(totals[1].data(), high.data(), time);
    for (std::vector<double>& total : totals) GoOn(total.data(), time);
    return totals[0] == totals[1] ? eYFCurvePlotStatus::Hidden : eYFCurvePlotStatus::Unreachable;
}

// A layer that hides what is below it leaves no difference at all: the totals below count in any case.
double PlotTarget::Distance(const double* first, const double* second, YTime time) const
{
    const double below = DistanceOf(first, second);
    if (mAbove == nullptr) return below;
    std::vector<double> firstOn(first, first + mCount);
    std::vector<double> secondOn(second, second + mCount);
    GoOn(firstOn.data(), time);
    GoOn(secondOn.data(), time);
    return std::max(below, DistanceOf(firstOn.data(), secondOn.data()));
}

double PlotTarget::DistanceOf(const double* first, const double* second) const
{
    double largest = 0.0;
    if (mIsRotation) {
        const YgeQuaternion a(YgeRVector(first[0], first[1], first[2]), GetOrder());
        const YgeQuaternion b(YgeRVector(second[0], second[1], second[2]), GetOrder());
        largest = a.GetAngleTo(b);
    }
    for (int i = 0; i < mCount && !mOrientations; ++i) {
        const double distance = std::abs(first[i] - second[i]);
        if (!(distance <= largest)) largest = distance;
    }
    return std::isnan(largest) ? std::numeric_limits<double>::infinity() : largest;
}

}  // namespace yfc
