#include "yfcurve/filters/transform/transformnode.h"

#include <algorithm>

#include "ybaselib/ydatatype.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace yfc {
namespace {

constexpr std::int64_t kMostTimes = 10'000'000;

YFCurveNode* FindProperty(const YFCurveNode& node, eDataType local, eDataType global, const char* name)
{
    YFCurveNode* const candidates[] = {node.Find(YDataType::Get(local)), node.Find(YDataType::Get(global)),
                                       node.Get(node.Find(name))};
    for (YFCurveNode* found : candidates) {
        if (found != nullptr && FindRotationCurves(*found)) return found;
    }
    return nullptr;
}

YFCurve CurveOf(const std::vector<YTime>& times, const std::vector<YgeRVector>& values, int axis)
{
    YFCurve samples;
    samples.KeyModifyBegin(static_cast<int>(times.size()));
    for (std::size_t i = 0; i < times.size(); ++i)
        samples.KeyAppendFast(times[i], static_cast<float>(values[i][axis]));
    samples.KeyModifyEnd();
    return samples;
}

}  // namespace

TransformNodes FindTransform(const YFCurveNode& node)
{
    return {FindProperty(node, eDataType::LocalTranslation, eDataType::Translation, "T"),
            FindProperty(node, eDataType::LocalRotation, eDataType::Rotation, "R"),
            FindProperty(node, eDataType::LocalScaling, eDataType::Scaling, "S")};
}

AxisCurves CurvesOf(const YFCurveNode& property)
{
    return {property.Get(0)->FCurveGet(), property.Get(1)->FCurveGet(), property.Get(2)->FCurveGet()};
}

YgeRVector ValuesAt(const AxisCurves& curves, YTime time, int& hint)
{
    return {curves[0]->Evaluate(time, &hint), curves[1]->Evaluate(time, &hint),
            curves[2]->Evaluate(time, &hint)};
}

bool HasKeys(const AxisCurves& curves)
{
    return std::any_of(curves.begin(), curves.end(), [](YFCurve* curve) { return curve->KeyGetCount() > 0; });
}

std::optional<KeyedSpan> SpanOfKeys(const std::vector<AxisCurves>& properties, YTime start, YTime stop)
{
    KeyedSpan span{YTIME_INFINITE, YTIME_MINUS_INFINITE};
    for (const AxisCurves& curves : properties) {
        for (const YFCurve* curve : curves) {
            if (curve->KeyGetCount() == 0) continue;
            span.start = std::min(span.start, curve->KeyGetTime(0));
            span.stop = std::max(span.stop, curve->KeyGetTime(curve->KeyGetCount() - 1));
        }
    }
    span = {std::max(span.start, start), std::min(span.stop, stop)};
    return span.start <= span.stop ? std::optional(span) : std::nullopt;
}

std::vector<YTime> SampleTimes(const KeyedSpan& span, const Sampling& sampling)
{
    std::vector<YTime> times;
    // In double precision, as the whole range of time has more ticks than a time can count.
    const double length = static_cast<double>(span.stop.Get()) - static_cast<double>(span.start.Get());
    if (length / static_cast<double>(sampling.period.Get()) > static_cast<double>(kMostTimes)) return times;
    times.push_back(span.start);
    const FrameGrid grid(sampling.period);
    YTime next = sampling.onMultiples ? grid.FirstAfter(span.start) : grid.On(span.start, 1);
    for (; next <= span.stop && next > times.back(); next = grid.On(next, 1)) times.push_back(next);
    if (sampling.exactEnd && times.back() < span.stop) times.push_back(span.stop);
    return times;
}

std::vector<YTime> TimesAround(const KeyedSpan& span)
{
    return {span.start - YTIME_ONE_TICK, span.start, span.stop, span.stop + YTIME_ONE_TICK};
}

void ReplaceBySamples(const AxisCurves& curves, KeyedSpan span, const std::vector<YTime>& times,
                      const std::vector<YgeRVector>& values)
{
    const bool coversAll = std::all_of(curves.begin(), curves.end(), [&](const YFCurve* curve) {
        return FirstKeyFrom(*curve, span.start) == 0 &&
               LastKeyUntil(*curve, span.stop) == curve->KeyGetCount() - 1;
    });
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve samples = CurveOf(times, values, axis);
        YFCurve& curve = *curves[static_cast<std::size_t>(axis)];
        const YFCurveModify modify(curve);
        if (coversAll) {
            YFCurvePieces::Assemble(curve, {{&samples, 0, samples.KeyGetCount() - 1}}, false);
            continue;
        }
        curve.Replace(samples, times.front(), times.back(), true, true);
        if (times.back() < span.stop) curve.Delete(times.back() + YTIME_ONE_TICK, span.stop);
    }
}

void ReplaceTurnsBySamples(YFCurveNode& rotation, KeyedSpan span, const std::vector<YTime>& times,
                           const std::vector<YgeRVector>& angles)
{
    const AxisCurves curves = CurvesOf(rotation);
    if (!IsQuaternionRotation(rotation)) return ReplaceBySamples(curves, span, times, angles);
    ExchangeSpan(curves, SynchronizedTurns(rotation, TimesAround(span)),
                 {CurveOf(times, angles, 0), CurveOf(times, angles, 1), CurveOf(times, angles, 2)},
                 span.start, span.stop);
}

}  // namespace yfc
