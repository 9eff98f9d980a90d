#pragma once

#include <cstdint>
#include <memory>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Saving the candidates of a curve node, to put them back later.

class YFCurveNode;

namespace yfc {
struct CandidateSnapshot;
}

/// The candidates of a node, its children and the layers behind it, as they were at one moment: what
/// `YFCurveNode::GetCandidateState` fills and `YFCurveNode::SetCandidateState` puts back.
///
/// A new state says that there is no candidate. Copies are cheap: they refer to the same states of children
/// and layers, which are never changed and which end with the last copy.
class YFCURVE_EXPORT YFCurveNodeCandidateState
{
  public:
    YFCurveNodeCandidateState() = default;

    YTime GetCandidateTotalTime() const { return mTotalTime; }
    /// The time that the node's total candidate is for.
    void SetCandidateTotalTime(YTime time) { mTotalTime = time; }

    YTime GetCandidateSpecificTime() const { return mSpecificTime; }
    /// The time that the candidate of the node's own curve is for.
    void SetCandidateSpecificTime(YTime time) { mSpecificTime = time; }

    /// Receives one line of a dump, without a line feed, valid during the call.
    using LineSink = void (*)(const char* line, void* object);

    /// Describes the state, then its children and its layers one level deeper, a line each with the times in
    /// seconds.
    /// \param level  how far to indent the first line: two spaces for each level, 100 at most.
    void Dump(LineSink sink, void* object, int level = 0) const;

  private:
    friend struct yfc::CandidateSnapshot;

    std::uint32_t mTotalMethod = 1;     // YFCurveNode::eCandidateMethod
    std::uint32_t mSpecificMethod = 1;  // the node's two-bit number
    float mTotalValues[4] = {};
    YTime mTotalTime;
    float mSpecificValue[2] = {};          // the value in single precision, and what that leaves of it
    YTime mSpecificTime = YTIME_INFINITE;  // infinity: none
    const YFCurveNodeCandidateState* mChildren[4] = {};
    const YFCurveNodeCandidateState* mLayer = nullptr;
    std::int32_t mLayerId = 0;
    const YFCurveNodeCandidateState* mMoreChildren = nullptr;  // as its children, those from the fifth on
    std::shared_ptr<const void> mRecords;  // all that these pointers lead to; in the state of the top alone
};
