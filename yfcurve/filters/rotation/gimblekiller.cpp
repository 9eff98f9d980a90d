#include "yfcurve/yfcurvefiltergimblekiller.h"

#include <algorithm>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/filters/rotation/rotationkeys.h"
#include "yfcurve/filters/rotation/triplechoice.h"
#include "yfcurve/yfcurvenode.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kUnchanged = 1;
constexpr int kNotThreeCurves = 2;
constexpr int kNoRotation = 3;
constexpr const char* kMessages[] = {"No key", "Left unchanged", "Not 3 curve", "Not rotation node"};

// The texts of one of the filters, by identifier.
using Texts = const char* const[4];

constexpr Texts kTexts = {
    "Gimble Killer, No key to be filtered.", "Gimble Killer, No key were changed by filter.",
    "Gimble Killer, Works only on 3 curves.", "Gimble Killer, Works only on rotation CurveNodes."};
constexpr Texts kTexts2 = {
    "Gimble Killer2, No key to be filtered.", "Gimble Killer2, No key were changed by filter.",
    "Gimble Killer2, Works only on 3 curves.", "Gimble Killer2, Works only on rotation CurveNodes."};

constexpr double kLargestPoleTolerance = 45.0;
constexpr YPropertyOptions kPoleToleranceOptions = {.minimum = 0.0,
                                                    .maximum = kLargestPoleTolerance,
                                                    .unit = "degrees",
                                                    .help = "how near a pole counts as being there"};

double UsableTolerance(double degrees)
{
    return degrees > 0.0 ? std::min(degrees, kLargestPoleTolerance) : 0.0;
}

struct Ending
{
    eFilterOutcome outcome = eFilterOutcome::Refused;
    int identifier = YError::NoError;
    const char* text = nullptr;  // null: that of the identifier
};

using Choice = std::vector<yfc::EulerForm> (*)(const yfc::RotationKeys& keys, const ybase::AxisOrder& axes,
                                               double poleTolerance);

// What both filters do with a node; they differ in the choice of triples.
Ending ApplyChoice(YFCurveFilter& filter, YFCurveNode& node, Choice choice, double poleTolerance)
{
    if (!node.IsRotationLayerType()) return {eFilterOutcome::DoesNotApply, kNoRotation};
    const std::optional<yfc::RotationCurves> curves = yfc::FindRotationCurves(node);
    if (!curves) return {eFilterOutcome::DoesNotApply, kNotThreeCurves};
    if (yfc::IsRotationLocked(node)) return {eFilterOutcome::Locked};
    if (yfc::GoesOnAmongKeys(node, filter.GetStartTime(), filter.GetStopTime()))
        return {eFilterOutcome::Refused, kUnchanged, yfc::kGoesOnText};
    return yfc::Guarded([&]() -> Ending {
        yfc::RotationKeys keys(node, filter.GetStartTime(), filter.GetStopTime());
        if (keys.GetCount() == 0) return {eFilterOutcome::NothingToDo, kNoKey};
        const ybase::AxisOrder axes = ybase::AxesOf(static_cast<eRotationOrder>(node.GetRotationOrder()));
        if (!keys.SetForms(choice(keys, axes, UsableTolerance(poleTolerance)), axes))
            return {eFilterOutcome::NothingToDo, kUnchanged};
        keys.CopyTo(*curves);
        return {eFilterOutcome::Changed};
    });
}

const char* TextOf(const Ending& ending, const Texts& texts)
{
    if (ending.text != nullptr || ending.identifier == YError::NoError) return ending.text;
    return texts[ending.identifier];
}

std::vector<yfc::EulerForm> KeyByKey(const yfc::RotationKeys& keys, const ybase::AxisOrder& axes,
                                     double poleTolerance)
{
    std::vector<yfc::EulerForm> forms;
    std::optional<YgeRVector> previous = keys.GetAnchor();
    if (previous && !yfc::IsUsable(*previous)) previous.reset();
    for (int key = 0; key < keys.GetCount(); ++key) {
        const YgeRVector angles = keys.GetAngles(key);
        forms.push_back(yfc::NearestForm(angles, previous.value_or(angles), axes, poleTolerance));
        if (yfc::IsUsable(angles)) previous = forms.back().angles;
    }
    return forms;
}

std::vector<yfc::EulerForm> Together(const yfc::RotationKeys& keys, const ybase::AxisOrder& axes,
                                     double poleTolerance)
{
    std::vector<yfc::TimedAngles> timed;
    for (int key = 0; key < keys.GetCount(); ++key) timed.push_back({keys.GetTime(key), keys.GetAngles(key)});
    const yfc::TimedAngles anchor = {keys.GetAnchorTime(), keys.GetAnchor().value_or(YgeRVector())};
    return yfc::ChooseTriples(timed, keys.GetAnchor() ? &anchor : nullptr, axes, poleTolerance);
}

}  // namespace

// --- Key by key ----------------------------------------------------------------------------------------

YClassDefinition& YFCurveFilterGimbleKiller::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterGimbleKiller::mPoleTolerance>("PoleTolerance", yfc::kPoleTolerance,
                                                                kPoleToleranceOptions),
        YPropertyOf<&YFCurveFilterGimbleKiller::mRotationOrder>("RotationOrder", 0,
                                                                yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterGimbleKiller", &YFCurveFilter::StaticClass,
        {.summary = "undoes flips of a rotation at its poles, key by key",
         .worksOn = "whole rotations",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterGimbleKiller>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterGimbleKiller::YFCurveFilterGimbleKiller() : YFCurveFilterOf("Gimble Killer", kMessages, 4)
{
    Reset();
}

bool YFCurveFilterGimbleKiller::Apply(YFCurve&)
{
    return DoesNotApply(kNotThreeCurves, kTexts[kNotThreeCurves]);
}

bool YFCurveFilterGimbleKiller::FilterCurves(YFCurve** curves, int count)
{
    if (count != 3) return DoesNotApply(kNotThreeCurves, kTexts[kNotThreeCurves]);
    return yfc::ApplyToCurves(*this, curves, mRotationOrder);
}

bool YFCurveFilterGimbleKiller::FilterNode(YFCurveNode& node, bool)
{
    if (node.IsRotationLayerType()) mRotationOrder = node.GetRotationOrder();
    const Ending ending = ApplyChoice(*this, node, &KeyByKey, mPoleTolerance);
    return End(ending.outcome, ending.identifier, TextOf(ending, kTexts));
}

// --- All keys together ---------------------------------------------------------------------------------

YClassDefinition& YFCurveFilterGimbleKiller2::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterGimbleKiller2::mPoleTolerance>("PoleTolerance", yfc::kPoleTolerance,
                                                                 kPoleToleranceOptions),
        YPropertyOf<&YFCurveFilterGimbleKiller2::mRotationOrder>("RotationOrder", 0,
                                                                 yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterGimbleKiller2", &YFCurveFilter::StaticClass,
        {.summary = "undoes flips of a rotation at its poles, all keys together",
         .worksOn = "whole rotations",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterGimbleKiller2>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterGimbleKiller2::YFCurveFilterGimbleKiller2() : YFCurveFilterOf("Gimble Killer2", kMessages, 4)
{
    Reset();
}

bool YFCurveFilterGimbleKiller2::Apply(YFCurve&)
{
    return DoesNotApply(kNotThreeCurves, kTexts2[kNotThreeCurves]);
}

bool YFCurveFilterGimbleKiller2::FilterCurves(YFCurve** curves, int count)
{
    if (count != 3) return DoesNotApply(kNotThreeCurves, kTexts2[kNotThreeCurves]);
    return yfc::ApplyToCurves(*this, curves, mRotationOrder);
}

bool YFCurveFilterGimbleKiller2::FilterNode(YFCurveNode& node, bool)
{
    if (node.IsRotationLayerType()) mRotationOrder = node.GetRotationOrder();
    const Ending ending = ApplyChoice(*this, node, &Together, mPoleTolerance);
    return End(ending.outcome, ending.identifier, TextOf(ending, kTexts2));
}
