#pragma once

#include <memory>
#include <vector>

#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// Edits of several curves, and of trees, that are made whole or not at all.

namespace yfc {

/// What curves and nodes have before an edit, to be put back if it runs out of memory half way. The edit may
/// add children, curves and layers; layers that it takes out, and time warps, live on as long as they are
/// kept.
class AnimationKeep
{
  public:
    /// Whether the keys are kept. An edit that can only run out of memory before the first of them changes
    /// does not need it.
    enum class EKeys
    {
        Kept,
        StayAnyway
    };

    AnimationKeep();
    /// Lets go of what is kept, which ends layers and time warps that nothing links any more.
    ~AnimationKeep();
    AnimationKeep(const AnimationKeep&) = delete;
    AnimationKeep& operator=(const AnimationKeep&) = delete;

    /// These throw `std::bad_alloc`.
    void Keep(YFCurve& curve);
    /// Keeps a node, all nodes below it, and the layers behind each of them.
    void Keep(YFCurveNode& top, EKeys keys = EKeys::Kept);

    /// Takes no memory.
    void PutBack();

  private:
    struct KeptNode;

    std::vector<std::unique_ptr<YFCurveDraft>> mCurves;
    std::vector<std::unique_ptr<KeptNode>> mNodes;  // each before its children, and before its next layer
};

/// Runs an edit of what is kept. \return  what it returns, or `refusal`, with everything as it was.
template<class Result, class Edit>
Result PuttingBack(AnimationKeep& keep, Result refusal, const Edit& edit)
{
    return GuardedOr(refusal, [&] {
        try {
            return edit();
        } catch (const std::bad_alloc&) {
            keep.PutBack();
            throw;
        }
    });
}

/// The same for a curve or a node, with what is below it and its layers.
template<class Result, class Target, class Edit>
Result Safely(Target& target, Result refusal, const Edit& edit)
{
    return GuardedOr(refusal, [&] {
        AnimationKeep keep;
        keep.Keep(target);
        return PuttingBack(keep, refusal, edit);
    });
}

}  // namespace yfc
