#include <algorithm>
#include <new>
#include <span>

#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/filters/transform/transformnode.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterconstantkeyreducer.h"
#include "yfcurve/yfcurvefiltermatrixconverter.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kUnchanged = 1;
constexpr int kInvalidApply = 2;
constexpr int kMissing = 3;
constexpr const char* kInvalidApplyMessage =
    "Invalid Apply method.  Use YFCurveFilterMatrixConverter::Apply(YFCurveNode&, bool)";
constexpr const char* kMissingMessage =
    "Missing at least a transform YFCurve.  pCurveNode must possess T(x, y, z), R(x, y, z), S(x, y, z) "
    "YFCurves";
constexpr const char* kMessages[] = {"No key", "Left unchanged", kInvalidApplyMessage, kMissingMessage};

constexpr YEnumName kOrderNames[] = {{YFCurveFilterMatrixConverter::NodeRotateOrder, "Node"},
                                     {0, "XYZ"},
                                     {1, "XZY"},
                                     {2, "YZX"},
                                     {3, "YXZ"},
                                     {4, "ZXY"},
                                     {5, "ZYX"}};

eRotationOrder OrderOf(int setting, const YFCurveNode& rotation)
{
    return static_cast<eRotationOrder>(setting >= 0 && setting <= 5 ? setting : rotation.GetRotationOrder());
}

std::vector<YgeRVector> Sample(const yfc::AxisCurves& curves, const std::vector<YTime>& times)
{
    std::vector<YgeRVector> values;
    values.reserve(times.size());
    int hint = 0;
    for (const YTime time : times) values.push_back(yfc::ValuesAt(curves, time, hint));
    return values;
}

// What a rotation plays, if its keys are in an order; in the form of angles the curves are the same in any.
std::vector<YgeRVector> SampleTurns(const YFCurveNode& rotation, eRotationOrder order,
                                    const std::vector<YTime>& times)
{
    const YFCurveNodePtr ordered(rotation.SingleLayerCopy());
    if (!ordered) throw std::bad_alloc();
    ordered->SetRotationOrder(static_cast<int>(order));
    std::vector<YgeRVector> angles;
    angles.reserve(times.size());
    int hint = 0;
    for (const YTime time : times) angles.push_back(yfc::PlayedAngles(*ordered, time, hint));
    return angles;
}

// By way of matrices, even where the orders are the same: angles come out in their least turns.
YgeRVector Converted(const YgeRVector& angles, eRotationOrder source, eRotationOrder destination)
{
    return YgeRVector(YgeMatrix(angles, source), destination);
}

// Unrolls samples while nothing else depends on them: jumps by whole turns between the first or the last two
// would get into the slopes with which the ends of a span are joined to what is outside.
// \param before  the angles that the first sample continues; null for none.
void UnrollSamples(std::vector<YgeRVector>& angles, const std::vector<YTime>& times, eRotationOrder order,
                   const YgeRVector* before)
{
    YFCurve samples[3];
    yfc::AxisCurves curves = {&samples[0], &samples[1], &samples[2]};
    if (before != nullptr) angles.front() = V2VRef(angles.front(), *before, order);
    for (int axis = 0; axis < 3; ++axis) {
        YFCurve& curve = samples[axis];
        curve.KeyModifyBegin(static_cast<int>(times.size()) + 1);
        if (before != nullptr)
            curve.KeyAppendFast(times.front() - YTIME_ONE_TICK, static_cast<float>((*before)[axis]));
        for (std::size_t i = 0; i < times.size(); ++i)
            curve.KeyAppendFast(times[i], static_cast<float>(angles[i][axis]));
        curve.KeyModifyEnd();
    }
    YFCurveFilterUnroll unroll;
    if (before != nullptr) unroll.SetStartTime(times.front());
    yfc::ApplyToCurves(unroll, curves.data(), static_cast<int>(order));
    int hint = 0;
    for (std::size_t i = 0; i < times.size(); ++i) angles[i] = yfc::ValuesAt(curves, times[i], hint);
}

void ReduceConstantKeys(std::span<YFCurveNode* const> properties, const yfc::KeyedSpan& span)
{
    YFCurveFilterConstantKeyReducer reducer;
    reducer.SetStartTime(span.start);
    reducer.SetStopTime(span.stop);
    for (YFCurveNode* property : properties) reducer.Apply(*property, true);
}

}  // namespace

YClassDefinition& YFCurveFilterMatrixConverter::StaticClass()
{
    using Filter = YFCurveFilterMatrixConverter;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mResamplingPeriod>(
            "ResamplingPeriod", YTIME_ZERO,
            {.minimum = 0.0, .unit = "s", .help = "from key to key; 0 is one frame"}),
        YPropertyOf<&Filter::mResamplingOnFrameRateMultiple>("ResamplingOnFrameRateMultiple", true,
                                                             {.help = "whether keys are at multiples of it"}),
        YPropertyOf<&Filter::mApplyUnroll>("ApplyUnroll", true, {.help = "whether angles are unrolled"}),
        YPropertyOf<&Filter::mApplyConstantKeyReducer>("ApplyConstantKeyReducer", true,
                                                       {.help = "whether flat stretches lose their keys"}),
        YPropertyOf<&Filter::mGenerateLastKeyExactlyAtEndTime>("GenerateLastKeyExactlyAtEndTime", true,
                                                               {.help = "whether the end has a key"}),
        YPropertyOf<&Filter::mResampleTranslation>("ResampleTranslation", true,
                                                   {.help = "whether the translation is sampled too"}),
        YPropertyOf<&Filter::mSrcRotateOrder>("SrcRotateOrder", NodeRotateOrder,
                                              {.help = "rotation order of the keys", .names = kOrderNames}),
        YPropertyOf<&Filter::mDestRotateOrder>(
            "DestRotateOrder", NodeRotateOrder,
            {.help = "rotation order to convert to", .names = kOrderNames})};
    static constinit YClassDefinition definition(
        "YFCurveFilterMatrixConverter", &YFCurveFilter::StaticClass,
        {.summary = "samples a transform in another rotation order",
         .worksOn = "joints with a translation, a rotation and a scaling",
         .properties = properties,
         .create = &YCreateObject<Filter>,
         .tag = static_cast<int>(eFilterScope::Transform)});
    return definition;
}

YFCurveFilterMatrixConverter::YFCurveFilterMatrixConverter()
    : YFCurveFilterOf("FCurve Matrix Converter", kMessages, 4)
{
    Reset();
}

bool YFCurveFilterMatrixConverter::Apply(YFCurve&)
{
    return DoesNotApply(kInvalidApply, "MatrixConverter, invalid apply method.");
}

bool YFCurveFilterMatrixConverter::FilterCurves(YFCurve**, int)
{
    return DoesNotApply(kInvalidApply, "MatrixConverter, invalid apply method.");
}

bool YFCurveFilterMatrixConverter::FilterNode(YFCurveNode& node, bool)
{
    const yfc::TransformNodes transform = yfc::FindTransform(node);
    const std::array<YFCurveNode*, 3> properties = transform.All();
    if (std::find(properties.begin(), properties.end(), nullptr) != properties.end())
        return DoesNotApply(kMissing, "MatrixConverter, Missing curve.");
    const auto isLocked = [](const YFCurveNode* property) { return yfc::IsRotationLocked(*property); };
    if (node.IsNodeLocked() || std::any_of(properties.begin(), properties.end(), isLocked)) return Locked();

    const yfc::AxisCurves translation = yfc::CurvesOf(*transform.translation);
    const yfc::AxisCurves rotation = yfc::CurvesOf(*transform.rotation);
    const yfc::AxisCurves scaling = yfc::CurvesOf(*transform.scaling);
    const YTime period = mResamplingPeriod == YTIME_ZERO ? yfc::OneFrame() : mResamplingPeriod;
    const eRotationOrder source = OrderOf(mSrcRotateOrder, *transform.rotation);
    const eRotationOrder destination = OrderOf(mDestRotateOrder, *transform.rotation);
    // The layers behind turn in the order of the property, with keys that this does not sample.
    YFCurveNode* const layer = transform.rotation->LayerGet();
    if (destination != OrderOf(NodeRotateOrder, *transform.rotation) && layer != nullptr &&
        !yfc::RotationLayers(*layer).empty())
        return Refuse(kUnchanged, "MatrixConverter, The layers of a rotation cannot change their order.");
    // Keys that stayed would be read in the new order.
    const bool takesAll = source != destination;
    const auto span =
        yfc::SpanOfKeys({translation, rotation, scaling}, takesAll ? YTIME_MINUS_INFINITE : GetStartTime(),
                        takesAll ? YTIME_INFINITE : GetStopTime());
    std::vector<YTime> times;
    if (span && period > YTIME_ZERO) {
        times = yfc::SampleTimes(*span, {.period = period,
                                         .onMultiples = mResamplingOnFrameRateMultiple,
                                         .exactEnd = mGenerateLastKeyExactlyAtEndTime});
    }
    constexpr const char* unchanged = "MatrixConverter, No key were changed by filter.";
    if (!span) return NothingToDo(kUnchanged, unchanged);
    if (times.empty()) return Refuse(kUnchanged, unchanged);
    std::vector<YgeRVector> angles = SampleTurns(*transform.rotation, source, times);
    const YgeRVector before = angles.front();
    for (YgeRVector& triple : angles) triple = Converted(triple, source, destination);
    // Nothing is continued where no keys are before.
    const bool continues = span->start > transform.rotation->GetFirstKeyTime();
    if (mApplyUnroll) UnrollSamples(angles, times, destination, continues ? &before : nullptr);

    for (const yfc::AxisCurves& curves : {translation, rotation, scaling})
        for (YFCurve* curve : curves) curve->KeyModifyBegin();
    if (mResampleTranslation) yfc::ReplaceBySamples(translation, *span, times, Sample(translation, times));
    yfc::ReplaceTurnsBySamples(*transform.rotation, *span, times, angles);
    yfc::ReplaceBySamples(scaling, *span, times, Sample(scaling, times));
    transform.rotation->SetRotationOrder(static_cast<int>(destination));
    const std::array<YFCurveNode*, 3> sampled{transform.rotation, transform.scaling, transform.translation};
    const std::size_t count = mResampleTranslation ? 3 : 2;
    if (mApplyConstantKeyReducer) ReduceConstantKeys(std::span(sampled).first(count), *span);
    for (const yfc::AxisCurves& curves : {translation, rotation, scaling})
        for (YFCurve* curve : curves) curve->KeyModifyEnd();
    return true;
}
