#pragma once

#include "yfcurve/node/layers/evaluationpass.h"
#include "yfcurve/node/layers/layerblend.h"
#include "yfcurve/node/tree/nodedata.h"

/// \file
/// The one way along the layers of a property, for all that evaluates, solves, plots and merges them.
///
/// A layer is mostly a tree of the property's own shape. Where it is not, a child belongs to the component of
/// its name, and a child with a name that no component has to the component at its position.

namespace yfc {

/// Some components of a property. Each has its total for itself, or else all of a rotation are here.
struct Piece
{
    int first;
    int count;
};

/// The node on a layer that has the values of one of the property's components: a child, or the layer itself
/// when it holds a curve. Null when the layer has none.
YFCurveNode* PartOf(const YFCurveNode& property, const YFCurveNode& layer, int component);

/// That node's curve; null when there is none.
YFCurve* CurveOf(const YFCurveNode& property, const YFCurveNode& layer, int component);

/// Goes along a property's layers in the order in which they combine, each at its own time: that of the layer
/// before it, through its time warp, muted or not. Properties whose children have children are combined by
/// `EvaluateLayers`.
class LayerWalk
{
  public:
    /// Starts at the property itself.
    /// \param time  its local time.
    LayerWalk(YFCurveNode& property, YTime time, const Pass& pass) : LayerWalk(property, property, time, pass)
    {}
    /// Starts at a layer of the property.
    /// \param time  the layer's own.
    LayerWalk(const YFCurveNode& property, YFCurveNode& layer, YTime time, const Pass& pass)
        : mProperty(&property),
          mLayer(&layer),
          mTime(time),
          mPass(pass),
          mFirstHint(pass.last != nullptr ? *pass.last : 0),
          mComponents(property),
          mCount(NodeData::Of(property).curve ? 1 : mComponents.GetCount()),
          mIsAlike(&layer == &property || IsLayerAlike())
    {}

    bool IsAtEnd() const { return mLayer == nullptr; }
    void Next();
    /// Goes on to a layer, or to the end when it is none from here on.
    void GoTo(const YFCurveNode& layer);

    YFCurveNode& Layer() const { return *mLayer; }
    YTime Time() const { return mTime; }
    /// Whether the layer takes part: it is not muted.
    bool Counts() const { return !NodeData::Of(*mLayer).layerInfo.IsMuted(); }
    /// Whether the layer's children are the components, one by one.
    bool IsAlike() const { return mIsAlike; }

    /// Where the layer searches for keys.
    Pass OwnPass();
    /// The values that the layer itself has. Components that it has none for are neutral.
    void Evaluate(const Piece& piece, double* values);
    /// Combines values of the layer into a total of the layers below; what it has no part of, it leaves.
    void Accumulate(const Piece& piece, double* total, const double* values) const;
    /// Both, for all components.
    void Combine(double* total);
    /// See `LayerBlend::Undo` and `LayerBlend::Share`.
    bool Undo(const Piece& piece, double* total, const double* values) const;
    void Share(const Piece& piece, double* share, const double* wanted, const double* below) const;

  private:
    bool IsLayerAlike() const;
    LayerBlend Blend() const { return {*mLayer, mTime, mCount}; }
    bool IsWhole(const LayerBlend& blend) const { return mIsAlike || blend.TurnsAsWhole(); }
    bool Has(int component) const { return PartOf(*mProperty, *mLayer, component) != nullptr; }

    const YFCurveNode* mProperty;
    YFCurveNode* mLayer;
    YTime mTime;
    Pass mPass;
    int mFirstHint;  // the caller's before anything was evaluated, from where each layer searches
    int mHint = 0;
    Children mComponents;
    int mCount;
    bool mIsAlike;
};

}  // namespace yfc
