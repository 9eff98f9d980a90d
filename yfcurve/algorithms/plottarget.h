#pragma once

#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// A property and its layers as plotting sees them: something to try values on. Times are the property's own,
/// behind its time warp.

namespace yfc {

/// Whether a node is a property: it holds a curve, or its children do and none has children of its own, or
/// layers that count.
bool IsProperty(const YFCurveNode& node);

/// Does something with each curve of one layer of a property.
template<class Operation>
void ForEachCurve(const YFCurveNode& layer, const Operation& operation)
{
    if (YFCurve* curve = layer.FCurveGet()) return operation(*curve);
    for (int i = 0; i < layer.GetCount(); ++i) {
        if (YFCurve* curve = layer.Get(i)->FCurveGet()) operation(*curve);
    }
}

/// A copy of a property with all its layers, which stands in for it while the property itself stays as it is.
/// The time warp is shared. Throws `std::bad_alloc`.
class PropertyCopy
{
  public:
    explicit PropertyCopy(const YFCurveNode& property);
    ~PropertyCopy() { mNode->SetParent(nullptr); }
    PropertyCopy(const PropertyCopy&) = delete;
    PropertyCopy& operator=(const PropertyCopy&) = delete;

    YFCurveNode& Get() const { return *mNode; }
    /// Keeps the layers up to an id alone. Those that were there go on counting as layers, though they add
    /// nothing.
    void CutAbove(int layerId);

  private:
    YFCurveNodePtr mNode;
};

/// The layers of a property, one of which holds whatever values are being tried.
class PlotTarget
{
  public:
    /// \param layer  the node or one on its chain.
    /// \param asOrientation  of a rotation that turns as a whole, angles count for the orientation they give.
    /// \param whole,above  where the node is a copy that has been cut, the property and its first layer that
    ///                     the copy does not have: what that and those behind it make of a total counts too.
    PlotTarget(YFCurveNode& node, YFCurveNode& layer, bool asOrientation, YFCurveNode* whole = nullptr,
               YFCurveNode* above = nullptr);

    int GetCount() const { return mCount; }
    YFCurveNode& GetLayer() const { return mLayer; }
    /// The layer's curve of a component; null when it has none.
    YFCurve* GetCurve(int component) const { return CurveOf(mNode, mLayer, component); }
    /// Whether angles count for the orientation that they give.
    bool ComparesOrientations() const { return mOrientations; }
    bool IsRotation() const { return mIsRotation; }

    /// What the layers evaluate to.
    void Evaluate(double* total, YTime time) { EvaluateLayers(mNode, total, time, {&mHint, false}); }
    /// What they would evaluate to with values on the layer.
    void EvaluateWith(double* total, const double* values, YTime time) const;
    /// What the layer has to hold for a total.
    /// \param near  angles to stay close to; null: the layer's own.
    void Solve(double* values, const double* total, YTime time, const double* near);
    /// How far two totals are apart at a time: the largest difference of a component, or degrees. Infinity
    /// where one is not a number.
    double Distance(const double* first, const double* second, YTime time) const;
    /// Makes of a total what the layers above make of it.
    void GoOn(double* total, YTime time) const;
    bool HasAbove() const { return mAbove != nullptr; }
    /// Why no values on the layer make the layers evaluate to what is wanted at a time.
    eYFCurvePlotStatus WhyUnreachable(YTime time) const;
    eRotationOrder GetOrder() const;

  private:
    double DistanceOf(const double* first, const double* second) const;

    YFCurveNode& mNode;
    YFCurveNode& mLayer;
    YFCurveNode* mWhole;
    YFCurveNode* mAbove;
    int mCount;
    bool mIsRotation;
    bool mOrientations;
    int mHint = 0;
};

}  // namespace yfc
