#include "yfcurve/yfcurvefilterunrolldof.h"

#include <cmath>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/filters/rotation/rotationkeys.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kUnchanged = 1;
constexpr int kNoRotation = 2;
constexpr int kUnexpected = 3;
constexpr const char* kMessages[] = {"No key", "Left unchanged", "Need rotation curvenode", "Unexepected"};
constexpr const char* kNoKeyText = "Unroll Filter DOF, No key to be filtered.";
constexpr const char* kUnchangedText = "Unroll Filter DOF, No key were changed by filter.";
constexpr const char* kNoRotationText = "Unroll Filter DOF, Works only on rotation CurveNodes.";

}  // namespace

YClassDefinition& YFCurveFilterUnrollDof::StaticClass()
{
    using Filter = YFCurveFilterUnrollDof;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mEnableMinX>("EnableMinX", false, {.help = "whether X has a lower limit"}),
        YPropertyOf<&Filter::mEnableMinY>("EnableMinY", false, {.help = "whether Y has a lower limit"}),
        YPropertyOf<&Filter::mEnableMinZ>("EnableMinZ", false, {.help = "whether Z has a lower limit"}),
        YPropertyOf<&Filter::mMinFreedom>("MinFreedom", {},
                                          {.unit = "degrees", .help = "lower limits of X, Y, Z"}),
        YPropertyOf<&Filter::mEnableMaxX>("EnableMaxX", false, {.help = "whether X has an upper limit"}),
        YPropertyOf<&Filter::mEnableMaxY>("EnableMaxY", false, {.help = "whether Y has an upper limit"}),
        YPropertyOf<&Filter::mEnableMaxZ>("EnableMaxZ", false, {.help = "whether Z has an upper limit"}),
        YPropertyOf<&Filter::mMaxFreedom>("MaxFreedom", {},
                                          {.unit = "degrees", .help = "upper limits of X, Y, Z"}),
        YPropertyOf<&Filter::mQualityTolerance, &YFCURVE_GetRotationFilterUnrollQuality>(
            "QualityTolerance",
            {.minimum = 0.0, .help = "least quality of a step whose end is a reference, with TestForPath"}),
        YPropertyOf<&Filter::mTestForPath, &YFCURVE_GetRotationFilterUnrollTestForPath>(
            "TestForPath", {.help = "whether steps of poor quality do not lead the keys after them"}),
        YPropertyOf<&Filter::mRotationOrder>("RotationOrder", 0, yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterUnrollDof", &YFCurveFilter::StaticClass,
        {.summary = "takes full turns and flips out of a rotation, inside limits of the angles",
         .worksOn = "whole rotations",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterUnrollDof>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterUnrollDof::YFCurveFilterUnrollDof() : YFCurveFilterOf("Unroll Filter DOF", kMessages, 4)
{
    Reset();
}

void YFCurveFilterUnrollDof::GetMinFreedom(double& x, double& y, double& z) const
{
    x = mMinFreedom[0];
    y = mMinFreedom[1];
    z = mMinFreedom[2];
}

void YFCurveFilterUnrollDof::GetMaxFreedom(double& x, double& y, double& z) const
{
    x = mMaxFreedom[0];
    y = mMaxFreedom[1];
    z = mMaxFreedom[2];
}

bool YFCurveFilterUnrollDof::Apply(YFCurve&)
{
    return DoesNotApply(kNoRotation, kNoRotationText);
}

bool YFCurveFilterUnrollDof::FilterCurves(YFCurve** curves, int count)
{
    if (count == 3) return yfc::ApplyToCurves(*this, curves, mRotationOrder);
    return DoesNotApply(kNoRotation, kNoRotationText);
}

yfc::AngleLimits YFCurveFilterUnrollDof::Limits() const
{
    const bool hasMinimum[] = {mEnableMinX, mEnableMinY, mEnableMinZ};
    const bool hasMaximum[] = {mEnableMaxX, mEnableMaxY, mEnableMaxZ};
    yfc::AngleLimits limits;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double& minimum = limits.minimum[axis];
        double& maximum = limits.maximum[axis];
        if (hasMinimum[axis] && !std::isnan(mMinFreedom[axis])) minimum = mMinFreedom[axis];
        if (hasMaximum[axis] && !std::isnan(mMaxFreedom[axis])) maximum = mMaxFreedom[axis];
        if (minimum > maximum) std::swap(minimum, maximum);
    }
    return limits;
}

bool YFCurveFilterUnrollDof::FilterNode(YFCurveNode& node, bool)
{
    const std::optional<yfc::RotationCurves> curves = yfc::FindRotationCurves(node);
    if (!node.IsRotationLayerType() || !curves) return DoesNotApply(kNoRotation, kNoRotationText);
    mRotationOrder = node.GetRotationOrder();
    if (yfc::IsRotationLocked(node)) return Locked();
    if (yfc::GoesOnAmongKeys(node, GetStartTime(), GetStopTime()))
        return Refuse(kUnexpected, yfc::kGoesOnText);
    return yfc::Guarded([&] { return UnrollKeys(node); });
}

bool YFCurveFilterUnrollDof::UnrollKeys(const YFCurveNode& rotation)
{
    yfc::RotationKeys keys(rotation, GetStartTime(), GetStopTime());
    if (keys.GetCount() == 0) return NothingToDo(kNoKey, kNoKeyText);
    const auto order = static_cast<eRotationOrder>(mRotationOrder);
    const ybase::AxisOrder axes = ybase::AxesOf(order);
    const yfc::AngleLimits limits = Limits();
    YgeRVector reference = keys.GetAnchor().value_or(YgeRVector());
    if (!yfc::IsUsable(reference)) reference = {};
    std::vector<yfc::EulerForm> forms;
    for (int key = 0; key < keys.GetCount(); ++key) {
        const YgeRVector angles = keys.GetAngles(key);
        forms.push_back(yfc::NearestForm(angles, reference, axes, yfc::kPoleTolerance, limits));
        if (!yfc::IsUsable(angles)) continue;
        const bool astray = mTestForPath && yfc::InterpolationQuality(reference, forms.back().angles, order) <
                                                mQualityTolerance;
        if (!astray) reference = forms.back().angles;
    }
    if (!keys.SetForms(forms, axes)) return NothingToDo(kUnchanged, kUnchangedText);
    keys.CopyTo(*yfc::FindRotationCurves(rotation));
    return true;
}
