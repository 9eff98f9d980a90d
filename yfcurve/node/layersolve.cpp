// What one layer has to hold so that all layers together come to a wanted total.

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "yfcurve/node/layerstack.h"
#include "yfcurve/node/nodedata.h"

namespace yfc {

double ClearOfHalfTurn(double angle)
{
    constexpr double halfTurn = 180.0;
    constexpr double tooClose = 1.2e-5;
    constexpr double clear = 3.0517578125e-5;  // two steps of single precision there
    return std::abs(angle - halfTurn) <= tooClose ? halfTurn + clear : angle;
}

namespace {

// Some components of a property. Each has its total for itself, or else all of a rotation are here.
struct Piece
{
    int first;
    int count;
};

void EvaluatePiece(YFCurveNode& layer, const Piece& piece, double* values, YTime time, int* last)
{
    EvaluateComponents(layer, piece.first, piece.count, values, time, {last, false});
}

bool CountsOn(const YFCurveNode& layer, const YFCurveNode& shape)
{
    return !layer.IsNodeMuted() && ComponentCount(layer) == ComponentCount(shape);
}

// Combines the layers from a node on, up to one that is left out. Answers that layer's time.
YTime CombineUpTo(YFCurveNode& node, const YFCurveNode& end, const Piece& piece, double* total, YTime time,
                  int* last)
{
    for (YFCurveNode* layer = &node; layer != &end;) {
        if (CountsOn(*layer, end)) {
            double values[kMaximumComponents];
            EvaluatePiece(*layer, piece, values, time, last);
            LayerBlend(*layer, time).Accumulate(total, values, piece.count);
        }
        layer = layer->LayerGet();
        time = LocalTime(*layer, time, {last, false});
    }
    return time;
}

// Turns a wanted total of all layers into one of those up to a layer, the topmost layer first.
// \return  false when one of those behind it replaces what lies below.
bool UndoBehind(const YFCurveNode& layer, const Piece& piece, double* total, YTime time, int* last)
{
    YFCurveNode* const next = layer.LayerGet();
    if (next == nullptr) return true;
    time = LocalTime(*next, time, {last, false});
    if (!UndoBehind(*next, piece, total, time, last)) return false;
    if (!CountsOn(*next, layer)) return true;
    double values[kMaximumComponents];
    EvaluatePiece(*next, piece, values, time, last);
    return LayerBlend(*next, time).Undo(total, values, piece.count);
}

void SolvePiece(YFCurveNode& node, YFCurveNode& layer, const Piece& piece, double* share, YTime time,
                int* last)
{
    double below[kMaximumComponents];
    std::fill_n(below, piece.count, NeutralValue(node));
    const YTime layerTime = CombineUpTo(node, layer, piece, below, time, last);
    double wanted[kMaximumComponents];
    std::copy_n(share, piece.count, wanted);
    // Under a layer that hides it, the layer gets what would serve without that one.
    if (UndoBehind(layer, piece, wanted, layerTime, last)) std::copy_n(wanted, piece.count, share);
    LayerBlend(layer, layerTime).Share(share, share, below, piece.count);
}

void ChooseAngles(YFCurveNode& layer, double* angles, YTime time, bool nearest)
{
    YgeRVector chosen(angles[0], angles[1], angles[2]);
    if (nearest) {
        double held[kRotationComponents];
        EvaluateOwn(layer, held, time, {});
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
    const int count = ComponentCount(layer);
    if (share != total) std::copy_n(total, count, share);
    if (StandsAlone(layer)) return;
    for (int first = 0; first < count; first += kMaximumComponents) {
        const Piece piece{first, std::min(count - first, kMaximumComponents)};
        SolvePiece(node, layer, piece, share + first, localTime, last);
    }
}

void ResolveShare(YFCurveNode& layer, double* values, YTime layerTime, bool nearestAngles)
{
    if (StandsAlone(layer)) return;
    const int count = ComponentCount(layer);
    const LayerBlend blend(layer, layerTime);
    blend.Unweight(values, count);
    if (blend.TurnsAsWhole()) ChooseAngles(layer, values, layerTime, nearestAngles);
    for (int i = 0; i < count; ++i) values[i] = InSinglePrecision(values[i]);
}

}  // namespace yfc
