#pragma once

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "tests/curve/same_edit.h"
#include "yfcurve/yfcurvemanipulator.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// What the tests of the manipulator share.

namespace manipulatortest {

using yfc::test::Bits;
using yfc::test::Keys;
using yfc::test::Sec;

/// A node with the given keys at 0, 1, 2 ... seconds.
inline YFCurveNodePtr NodeOf(const std::vector<YFCurveKey>& keys)
{
    YFCurveNodePtr node(new YFCurveNode("node", "node", nullptr, 1, YFCurveLayerInfo::Base));
    node->FCurveSet(yfc::test::MakeCurve(keys).release(), true);
    return node;
}

/// A node of `count` auto keys, key i with the value i.
inline YFCurveNodePtr Samples(int count)
{
    std::vector<YFCurveKey> keys;
    for (int i = 0; i < count; ++i) keys.push_back(yfc::test::AutoKey(static_cast<float>(i)));
    return NodeOf(keys);
}

/// Marks the node and the keys from `first` to `last`.
inline void Mark(YFCurveManipulator& manipulator, YFCurveNode& node, int first, int last)
{
    manipulator.Add(&node);
    manipulator.MarkCurveNodeForManip(true, nullptr);
    manipulator.MarkKeysForManip(true, &node, first, last);
}

/// Times and values that are spanned; inverted when there are none.
struct Range
{
    YTime start = YTIME_INFINITE, stop = YTIME_MINUS_INFINITE;
    double low = std::numeric_limits<double>::max(), high = std::numeric_limits<double>::lowest();

    void Include(YTime time, double value)
    {
        start = std::min(start, time);
        stop = std::max(stop, time);
        low = std::min(low, value);
        high = std::max(high, value);
    }
    bool operator==(const Range&) const = default;
};

inline Range SelectionRange(const YFCurveManipulator& manipulator)
{
    Range range;
    manipulator.GetSelectionRange(range.start, range.stop, range.low, range.high);
    return range;
}

/// The key that was selected last, and what it is of.
struct LastSelected
{
    YFCurveNode* node = nullptr;
    YFCurve* curve = nullptr;
    int index = 0;

    explicit LastSelected(const YFCurveManipulator& of) { of.GetLastSelectedKey(node, curve, index); }
};

}  // namespace manipulatortest
