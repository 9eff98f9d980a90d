// The layers of a property, one after the other.

#include "yfcurve/node/layers/layerwalk.h"

#include <algorithm>

namespace yfc {
namespace {

bool HasSameName(const YFCurveNode& a, const YFCurveNode& b)
{
    return NodeData::Of(a).names == NodeData::Of(b).names ||
           YStringCompareNoCase(a.GetName(), b.GetName()) == 0;
}

}  // namespace

YFCurveNode* PartOf(const YFCurveNode& property, const YFCurveNode& layer, int component)
{
    if (NodeData::Of(layer).curve) return component == 0 ? const_cast<YFCurveNode*>(&layer) : nullptr;
    YFCurveNode* const there = layer.Get(component);
    const YFCurveNode* const wanted = property.Get(component);
    if (NodeData::Of(property).curve || wanted == nullptr) return component == 0 ? there : nullptr;
    if (there != nullptr && HasSameName(*there, *wanted)) return there;
    const int named = layer.Find(wanted->GetName());
    if (named >= 0) return layer.Get(named);
    return there != nullptr && property.Find(there->GetName()) < 0 ? there : nullptr;
}

YFCurve* CurveOf(const YFCurveNode& property, const YFCurveNode& layer, int component)
{
    const YFCurveNode* part = PartOf(property, layer, component);
    return part != nullptr ? part->FCurveGet() : nullptr;
}

// Layers that the library made share the names of the property's children.
bool LayerWalk::IsLayerAlike() const
{
    const NodeData& data = NodeData::Of(*mLayer);
    const bool isSingle = NodeData::Of(*mProperty).curve != nullptr;
    if (data.curve || isSingle) return data.curve && isSingle;
    const Children own(*mLayer);
    if (own.GetCount() != mCount) return false;
    for (int i = 0; i < mCount; ++i) {
        const bool same = NodeData::Of(own[i]).names == NodeData::Of(mComponents[i]).names;
        if (!same && PartOf(*mProperty, *mLayer, i) != &own[i]) return false;
    }
    return true;
}

void LayerWalk::Next()
{
    mLayer = NodeData::Of(*mLayer).layer.Get();
    if (mLayer == nullptr) return;
    mIsAlike = IsLayerAlike();
    if (NodeData::Of(*mLayer).timeWarp.IsLinked()) mTime = LocalTime(*mLayer, mTime, OwnPass());
}

void LayerWalk::GoTo(const YFCurveNode& layer)
{
    while (mLayer != nullptr && mLayer != &layer) Next();
}

// The property itself moves the caller's hint; the layers have keys of their own.
Pass LayerWalk::OwnPass()
{
    if (mPass.last == nullptr || mLayer == mProperty) return mPass;
    mHint = mFirstHint;
    return {&mHint, mPass.candidates, mPass.nesting};
}

void LayerWalk::Evaluate(const Piece& piece, double* values)
{
    const Pass pass = OwnPass();
    if (mIsAlike) [[likely]] {
        return EvaluateComponents(*mLayer, piece.first, piece.count, values, mTime, pass);
    }
    for (int i = 0; i < piece.count; ++i) {
        YFCurveNode* part = PartOf(*mProperty, *mLayer, piece.first + i);
        values[i] = NeutralValue(*mLayer);
        if (part == mLayer) {
            EvaluateOwn(*mLayer, values + i, mTime, pass);
        } else if (part != nullptr) {
            EvaluateComponent(*part, *mLayer, values + i, mTime, pass);
        }
    }
}

void LayerWalk::Accumulate(const Piece& piece, double* total, const double* values) const
{
    const LayerBlend blend = Blend();
    if (IsWhole(blend)) [[likely]] {
        return blend.Accumulate(total, values, piece.count);
    }
    for (int i = 0; i < piece.count; ++i) {
        if (Has(piece.first + i)) blend.Accumulate(total + i, values + i, 1);
    }
}

void LayerWalk::Combine(double* total)
{
    double values[kMaximumComponents];
    if (mIsAlike && mCount <= kMaximumComponents) [[likely]] {
        EvaluateComponents(*mLayer, 0, mCount, values, mTime, OwnPass());
        return Blend().Accumulate(total, values, mCount);
    }
    for (int first = 0; first < mCount; first += kMaximumComponents) {
        const Piece piece{first, std::min(mCount - first, kMaximumComponents)};
        Evaluate(piece, values);
        Accumulate(piece, total + first, values);
    }
}

bool LayerWalk::Undo(const Piece& piece, double* total, const double* values) const
{
    const LayerBlend blend = Blend();
    if (IsWhole(blend)) return blend.Undo(total, values, piece.count);
    for (int i = 0; i < piece.count; ++i) {
        if (Has(piece.first + i)) blend.Undo(total + i, values + i, 1);
    }
    return true;
}

void LayerWalk::Share(const Piece& piece, double* share, const double* wanted, const double* below) const
{
    const LayerBlend blend = Blend();
    if (IsWhole(blend)) return blend.Share(share, wanted, below, piece.count);
    for (int i = 0; i < piece.count; ++i) {
        if (Has(piece.first + i)) blend.Share(share + i, wanted + i, below + i, 1);
    }
}

}  // namespace yfc
