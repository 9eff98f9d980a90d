#pragma once

#include "yfcurve/yfcurvenode.h"

/// \file
/// Layers that are made for an edit which may still fail.

namespace yfc {

/// A layer of a property, made where it is missing. One that was made goes again unless it is kept.
class LayerToKeep
{
  public:
    /// \param info  as it is, even where the node means another layer by it.
    LayerToKeep(YFCurveNode& property, const YFCurveLayerInfo& info)
        : mProperty(property), mLayer(property.LayerGet(info.GetLayerID())), mIsKept(mLayer != nullptr)
    {
        if (mLayer == nullptr) mLayer = property.CreateLayerAt(info);
    }
    ~LayerToKeep()
    {
        if (!mIsKept && mLayer != nullptr) mProperty.RemoveLayer(mLayer->GetLayerID(), true);
    }
    LayerToKeep(const LayerToKeep&) = delete;
    LayerToKeep& operator=(const LayerToKeep&) = delete;

    /// Null when it is missing and cannot be made.
    YFCurveNode* Get() const { return mLayer; }
    void Keep() { mIsKept = true; }

  private:
    YFCurveNode& mProperty;
    YFCurveNode* mLayer;
    bool mIsKept;
};

}  // namespace yfc
