#include "yfcurve/node/tree/animationkeep.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

namespace yfc {

struct AnimationKeep::KeptNode
{
    KeptNode(YFCurveNode& kept, bool withKeys)
        : node(&kept),
          curve(kept.FCurveGet()),
          layer(kept.LayerGet()),
          timeWarp(kept.TimeWarpGet()),
          names(NodeData::Of(kept).names),
          name(names->name),
          timeWarpName(names->timeWarpName),
          children(NodeData::Of(kept).children),
          own(NodeData::Of(kept))
    {
        if (!node) throw std::bad_alloc();
        if (curve != nullptr) draft = std::make_unique<YFCurveDraft>(*curve, withKeys);
        Hold(layer);
        Hold(timeWarp);
    }

    ~KeptNode()
    {
        LetGo(timeWarp);
        LetGo(layer);
    }

    KeptNode(const KeptNode&) = delete;
    KeptNode& operator=(const KeptNode&) = delete;

    // All of it was linked before: linking it again takes no memory.
    void PutBack()
    {
        if (!node) return;  // a listener has ended it
        NodeData& data = NodeData::Of(*node);
        if (data.layer.Get() != layer.Get()) LinkPrepared(*node, layer.Get(), true);
        if (data.timeWarp.Get() != timeWarp.Get()) data.timeWarp.Relink(timeWarp.Get(), true);
        for (int i = data.children.GetCount() - 1; i >= 0; --i) {
            if (children.Find(data.children[i]) < 0) node->Delete(i);
        }
        if (curve == nullptr && node->FCurveGet() != nullptr) node->FCurveReplace(nullptr);
        if (draft && node->FCurveGet() == curve) draft->PutBack();
        data.names = names;
        std::swap(names->name, name);
        std::swap(names->timeWarpName, timeWarpName);
        own.PutBack(data);
    }

    static void Hold(const YSpObject<YFCurveNode>& linked)
    {
        if (linked) linked->IncReferenceCount();
    }

    static void LetGo(const YSpObject<YFCurveNode>& linked)
    {
        if (linked && linked->DecReferenceCount() < 1) linked->Destroy();
    }

    // What a node has in itself.
    struct Own
    {
        explicit Own(const NodeData& data)
            : layerInfo(data.layerInfo),
              stateFlags(data.stateFlags),
              nodeFlags(data.nodeFlags),
              rotationOrder(data.rotationOrder),
              objectLayer(data.objectLayer),
              totalCandidateTime(data.totalCandidateTime)
        {
            std::copy(std::begin(data.totalCandidate), std::end(data.totalCandidate), totalCandidate);
        }

        void PutBack(NodeData& data) const
        {
            data.layerInfo = layerInfo;
            data.stateFlags = stateFlags;
            data.nodeFlags = nodeFlags;
            data.rotationOrder = rotationOrder;
            data.objectLayer = objectLayer;
            data.totalCandidateTime = totalCandidateTime;
            std::copy(std::begin(totalCandidate), std::end(totalCandidate), data.totalCandidate);
        }

        YFCurveLayerInfo layerInfo;
        std::uint32_t stateFlags;
        std::uint32_t nodeFlags;
        std::int32_t rotationOrder;
        YSpObject<YFCurveNode> objectLayer;
        YTime totalCandidateTime;
        float totalCandidate[kStoredCandidates];
    };

    const YSpObject<YFCurveNode> node;
    YFCurve* const curve;
    const YSpObject<YFCurveNode> layer;
    const YSpObject<YFCurveNode> timeWarp;
    const std::shared_ptr<NameInfo> names;
    YString name;
    YString timeWarpName;
    const YArrayTemplate<YFCurveNode*> children;
    const Own own;
    std::unique_ptr<YFCurveDraft> draft;
};

AnimationKeep::AnimationKeep() = default;

AnimationKeep::~AnimationKeep()
{
    while (!mNodes.empty()) mNodes.pop_back();  // a layer after those behind it
}

void AnimationKeep::Keep(YFCurve& curve)
{
    mCurves.push_back(std::make_unique<YFCurveDraft>(curve));
}

void AnimationKeep::Keep(YFCurveNode& top, EKeys keys)
{
    const auto keepOne = [&](YFCurveNode& node) {
        auto kept = std::make_unique<KeptNode>(node, keys == EKeys::Kept);
        mNodes.push_back(std::move(kept));
        return EWalk::Into;
    };
    WalkBelow(top, ChildOf, keepOne, [&](YFCurveNode& node) {
        for (YFCurveNode* layer = node.LayerGet(); layer != nullptr; layer = layer->LayerGet())
            WalkTree(*layer, keepOne);
    });
}

void AnimationKeep::PutBack()
{
    for (const auto& draft : mCurves) draft->PutBack();
    for (const auto& kept : mNodes) kept->PutBack();
}

}  // namespace yfc
