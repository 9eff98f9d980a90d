// What one layer has to hold so that all layers together come to a wanted total.

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "yfcurve/node/layers/layerkind.h"
#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/node/tree/treewalk.h"

namespace yfc {

double ClearOfHalfTurn(double angle)
{
    constexpr double halfTurn = 180.0;
    constexpr double tooClose = 1.2e-5;
    constexpr double clear = 3.0517578125e-5;  // two steps of single precision there
    return std::abs(angle - halfTurn) <= tooClose ? halfTurn + clear : angle;
}

namespace {

// Combines the layers before one that is to be solved for.
void CombineUpTo(LayerWalk& walk, const YFCurveNode& end, const Piece& piece, double* total)
{
    for (; &walk.Layer() != &end; walk.Next()) {
        if (!walk.Counts()) continue;
        double values[kMaximumComponents];
        walk.Evaluate(piece, values);
        walk.Accumulate(piece, total, values);
    }
}

// Turns a wanted total of all layers into one of those up to a layer, the topmost layer first.
// \return  false when one of those behind it replaces what lies below.
bool UndoBehind(YFCurveNode& property, LayerWalk walk, const Piece& piece, double* total, const Pass& pass)
{
    struct Behind
    {
        YFCurveNode* layer;
        YTime time;
    };
    WalkStack<Behind> behind;
    for (walk.Next(); !walk.IsAtEnd(); walk.Next()) {
        if (walk.Counts()) behind.Push({&walk.Layer(), walk.Time()});
    }
    while (!behind.IsEmpty()) {
        const Behind at = behind.Take();
        LayerWalk layer(property, *at.layer, at.time, pass);
        double values[kMaximumComponents];
        layer.Evaluate(piece, values);
        if (!layer.Undo(piece, total, values)) return false;
    }
    return true;
}

void SolvePiece(YFCurveNode& node, const YFCurveNode& layer, const Piece& piece, double* share, YTime time,
                int* last)
{
    double below[kMaximumComponents];
    std::fill_n(below, piece.count, NeutralValue(node));
    const Pass pass{last, false};
    LayerWalk walk(node, time, pass);
    CombineUpTo(walk, layer, piece, below);
    double wanted[kMaximumComponents];
    std::copy_n(share, piece.count, wanted);
    // Under a layer that hides it, the layer gets what would serve without that one.
    if (UndoBehind(node, walk, piece, wanted, pass)) std::copy_n(wanted, piece.count, share);
    walk.Share(piece, share, share, below);
}

void ChooseAngles(YFCurveNode& node, YFCurveNode& layer, double* angles, YTime time, bool nearest)
{
    YgeRVector chosen(angles[0], angles[1], angles[2]);
    if (nearest) {
        double held[kRotationComponents];
        LayerWalk(node, layer, time, {}).Evaluate({0, kRotationComponents}, held);
        const auto order = static_cast<eRotationOrder>(layer.GetRotationOrder());
        chosen = V2VRef(chosen, {held[0], held[1], held[2]}, order);
    }
    for (int i = 0; i < kRotationComponents; ++i) angles[i] = ClearOfHalfTurn(chosen[i]);
}

// Into what a key can hold; a value that is not 0 does not become 0 on the way.
double InSinglePrecision(double value)
{
    constexpr double largest = FLT_MAX;
    constexpr double smallest = FLT_MIN;
    if (value == 0.0 || std::isnan(value)) return value;
    return std::copysign(std::clamp(std::abs(value), smallest, largest), value);
}

}  // namespace

void SolveForLayer(YFCurveNode& node, YFCurveNode& layer, double* share, const double* total, YTime localTime,
                   int* last)
{
    if (HasProperties(node)) return;
    const int count = ComponentCount(node);
    if (share != total) std::copy_n(total, count, share);
    if (StandsAlone(layer)) return;
    for (int first = 0; first < count; first += kMaximumComponents) {
        const Piece piece{first, std::min(count - first, kMaximumComponents)};
        SolvePiece(node, layer, piece, share + first, localTime, last);
    }
}

void ResolveShare(YFCurveNode& node, YFCurveNode& layer, double* values, YTime layerTime, bool nearestAngles)
{
    if (StandsAlone(layer)) return;
    const int count = ComponentCount(node);
    const LayerBlend blend(layer, layerTime, count);
    blend.Unweight(values, count);
    if (blend.TurnsAsWhole()) ChooseAngles(node, layer, values, layerTime, nearestAngles);
    for (int i = 0; i < count; ++i) values[i] = InSinglePrecision(values[i]);
}

}  // namespace yfc
