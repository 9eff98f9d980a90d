#pragma once

#include <array>
#include <optional>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurve.h"

/// \file
/// The node of a transform, such as a joint, for the filters that see it as a whole.

class YFCurveNode;

namespace yfc {

/// The properties of a transform; null where the node has none with a curve for each of three axes. They are
/// found by data type (the local ones first), then by the names "T", "R" and "S".
struct TransformNodes
{
    YFCurveNode* translation = nullptr;
    YFCurveNode* rotation = nullptr;
    YFCurveNode* scaling = nullptr;

    std::array<YFCurveNode*, 3> All() const { return {translation, rotation, scaling}; }
    bool IsEmpty() const { return translation == nullptr && rotation == nullptr && scaling == nullptr; }
};

TransformNodes FindTransform(const YFCurveNode& node);

/// The curves of X, Y and Z of such a property.
using AxisCurves = std::array<YFCurve*, 3>;

AxisCurves CurvesOf(const YFCurveNode& property);

/// Values about or along X, Y and Z.
YgeRVector ValuesAt(const AxisCurves& curves, YTime time, int& hint);

bool HasKeys(const AxisCurves& curves);

/// The stretch of a span in which any of the curves has keys; nothing when it is empty.
struct KeyedSpan
{
    YTime start;
    YTime stop;
};
std::optional<KeyedSpan> SpanOfKeys(const std::vector<AxisCurves>& properties, YTime start, YTime stop);

/// The ends of a span and the ticks outside of it.
std::vector<YTime> TimesAround(const KeyedSpan& span);

/// Times from the start of a span to its end.
struct Sampling
{
    YTime period;      ///< positive
    bool onMultiples;  ///< those inside are whole multiples of the period
    bool exactEnd;     ///< the last one is the end itself
};
/// Empty for more than ten million times.
std::vector<YTime> SampleTimes(const KeyedSpan& span, const Sampling& sampling);

/// Puts sampled values in place of what the curves have over a span, as cubic auto keys. Keys outside of it
/// stay, and so does the shape there.
void ReplaceBySamples(const AxisCurves& curves, KeyedSpan span, const std::vector<YTime>& times,
                      const std::vector<YgeRVector>& values);

/// The same in a rotation in either form; its motion outside stays. May throw `std::bad_alloc`.
void ReplaceTurnsBySamples(YFCurveNode& rotation, KeyedSpan span, const std::vector<YTime>& times,
                           const std::vector<YgeRVector>& angles);

}  // namespace yfc
