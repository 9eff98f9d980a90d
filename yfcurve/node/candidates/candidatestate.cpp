// Snapshots of candidates.

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <iterator>
#include <memory>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurvecandidatestate.h"

using yfc::NodeData;

namespace yfc {

// Between a node and the record of its candidates.
struct CandidateSnapshot
{
    using State = YFCurveNodeCandidateState;
    static constexpr int kChildren = 4;

    static State Take(const YFCurveNode& top)
    {
        const auto records = std::make_shared<std::deque<State>>();
        State topState;
        WalkStack<TakenNode> waiting;
        waiting.Push({&top, &topState});
        while (!waiting.IsEmpty()) {
            const auto [node, state] = waiting.Take();
            TakeOwn(*state, *node);
            State* children = state;
            for (int i = 0; i < node->GetCount(); ++i) {
                if (i > 0 && i % kChildren == 0) {
                    State* const more = &records->emplace_back();
                    children->mMoreChildren = more;
                    children = more;
                }
                State* const child = &records->emplace_back();
                children->mChildren[i % kChildren] = child;
                waiting.Push({node->Get(i), child});
            }
            if (const YFCurveNode* layer = node->LayerGet()) {
                State* const behind = &records->emplace_back();
                state->mLayer = behind;
                waiting.Push({layer, behind});
            }
        }
        topState.mRecords = records;
        return topState;
    }

    /// Throws when memory runs out, with everything as it was.
    static void Restore(YFCurveNode& top, const State& topState)
    {
        std::vector<RestoredNode> all;
        WalkStack<RestoredNode> waiting;
        waiting.Push({&top, &topState});
        while (!waiting.IsEmpty()) {
            const RestoredNode base = waiting.Take();
            all.push_back(base);
            PushChildren(base, waiting);
            LayerSearch layers(*base.node);
            for (const State* behind = base.state->mLayer; behind != nullptr; behind = behind->mLayer) {
                YFCurveNode* const layer = layers.Find(behind->mLayerId);
                if (layer == nullptr || layer == base.node) continue;
                all.push_back({layer, behind});
                PushChildren(all.back(), waiting);
            }
        }
        for (const auto& [node, state] : all) RestoreOwn(*node, *state);
    }

    /// Calls a function with each state and how deep it is below the first, in the order of a dump.
    template<class Visit>
    static void ForEach(const State& top, int topLevel, const Visit& visit)
    {
        struct Place
        {
            const State* state;
            int level;
        };
        WalkStack<Place> waiting;
        waiting.Push({&top, topLevel});
        while (!waiting.IsEmpty()) {
            const auto [state, level] = waiting.Take();
            visit(*state, level);
            std::vector<const State*> below;
            for (const State* part = state; part != nullptr; part = part->mMoreChildren) {
                below.insert(below.end(), std::begin(part->mChildren), std::end(part->mChildren));
            }
            below.push_back(state->mLayer);
            for (auto next = below.rbegin(); next != below.rend(); ++next) {
                if (*next != nullptr) waiting.Push({*next, level + 1});
            }
        }
    }

  private:
    struct TakenNode
    {
        const YFCurveNode* node;
        State* state;
    };

    struct RestoredNode
    {
        YFCurveNode* node;
        const State* state;
    };

    static void TakeOwn(State& state, const YFCurveNode& node)
    {
        const NodeData& data = NodeData::Of(node);
        state.mTotalMethod = static_cast<std::uint32_t>(node.GetTotalCandidateMethod());
        state.mSpecificMethod = static_cast<std::uint32_t>(node.GetSpecificCandidateMethod());
        for (int i = 0; i < kStoredCandidates; ++i) state.mTotalValues[i] = data.totalCandidate[i];
        state.mTotalTime = data.totalCandidateTime;
        state.mLayerId = node.GetLayerID();
        if (!data.curve) return;
        const double value = data.curve->CandidateGet();
        state.mSpecificValue[0] = static_cast<float>(value);
        state.mSpecificValue[1] = static_cast<float>(value - static_cast<double>(state.mSpecificValue[0]));
        state.mSpecificTime = data.curve->CandidateGetTime();
    }

    static void RestoreOwn(YFCurveNode& node, const State& state)
    {
        NodeData& data = NodeData::Of(node);
        const bool total = state.mTotalMethod == YFCurveNode::YFCURVE_CANDIDATE_TOTAL;
        data.Set(kStateNoTotalCandidate, !total);
        data.Set(kStateSpecificCandidateHigh, (state.mSpecificMethod & 2) != 0);
        data.totalCandidateTime = total ? state.mTotalTime : YTIME_INFINITE;
        for (int i = 0; i < kStoredCandidates; ++i) data.totalCandidate[i] = state.mTotalValues[i];
        if (data.curve) {
            const double value =
                static_cast<double>(state.mSpecificValue[0]) + static_cast<double>(state.mSpecificValue[1]);
            data.curve->CandidateSet(state.mSpecificTime, value);
        }
    }

    static void PushChildren(const RestoredNode& restored, WalkStack<RestoredNode>& waiting)
    {
        int index = 0;
        for (const State* part = restored.state; part != nullptr; part = part->mMoreChildren) {
            for (const State* childState : part->mChildren) {
                YFCurveNode* const child = restored.node->Get(index++);
                if (child != nullptr && childState != nullptr) waiting.Push({child, childState});
            }
        }
    }
};

}  // namespace yfc

bool YFCurveNode::GetCandidateState(YFCurveNodeCandidateState& state) const
{
    return yfc::Guarded([&] {
        state = yfc::CandidateSnapshot::Take(*this);
        return true;
    });
}

void YFCurveNode::SetCandidateState(const YFCurveNodeCandidateState& state)
{
    yfc::Guarded([&] {
        yfc::CandidateSnapshot::Restore(*this, state);
        return true;
    });
}

void YFCurveNodeCandidateState::Dump(LineSink sink, void* object, int level) const
{
    constexpr int spacesPerLevel = 2;
    constexpr int mostSpaces = 100;
    const auto describe = [=](const YFCurveNodeCandidateState& state, int stateLevel) {
        std::array<char, 256> line = {};
        const auto value = [&](int i) { return static_cast<double>(state.mTotalValues[i]); };
        std::snprintf(
            line.data(), line.size(),
            "%*slayer %d: total %u at %.9g s: %.9g %.9g %.9g %.9g, specific %u at %.9g s: %.9g",
            std::min(stateLevel, mostSpaces / spacesPerLevel) * spacesPerLevel, "", state.mLayerId,
            state.mTotalMethod, state.mTotalTime.GetSecondDouble(), value(0), value(1), value(2), value(3),
            state.mSpecificMethod, state.mSpecificTime.GetSecondDouble(),
            static_cast<double>(state.mSpecificValue[0]) + static_cast<double>(state.mSpecificValue[1]));
        sink(line.data(), object);
    };
    yfc::Guarded([&] {
        yfc::CandidateSnapshot::ForEach(*this, level, describe);
        return true;
    });
}
