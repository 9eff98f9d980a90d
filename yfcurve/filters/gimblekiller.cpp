#include "yfcurve/yfcurvefiltergimblekiller.h"

#include <algorithm>

#include "yfcurve/filters/leastturning.h"
#include "yfcurve/filters/rotationkeys.h"
#include "yfcurve/node/nodedata.h"

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

constexpr double kPoleTolerance = 0.0005;
constexpr double kLargestPoleTolerance = 45.0;
constexpr YPropertyOptions kPoleToleranceOptions = {.minimum = 0.0,
                                                    .maximum = kLargestPoleTolerance,
                                                    .unit = "deg",
                                                    .help = "how near a pole counts as being there"};

double UsableTolerance(double degrees)
{
    return degrees > 0.0 ? std::min(degrees, kLargestPoleTolerance) : 0.0;
}

bool Refuse(YFCurveFilter& filter, int identifier, const Texts& texts)
{
    filter.GetError().SetLastError(identifier, texts[identifier]);
    return false;
}

using Choice = std::vector<yfc::EulerForm> (*)(const yfc::RotationKeys& keys, const ybase::AxisOrder& axes,
                                               double poleTolerance);

// What both filters do with a node; they differ in the choice of triples.
bool ApplyChoice(YFCurveFilter& filter, YFCurveNode& node, Choice choice, double poleTolerance,
                 const Texts& texts)
{
    if (!node.IsRotationLayerType()) return Refuse(filter, kNoRotation, texts);
    const std::optional<yfc::RotationCurves> curves = yfc::FindRotationCurves(node);
    if (!curves) return Refuse(filter, kNotThreeCurves, texts);
    if (yfc::IsRotationLocked(node)) return false;
    return yfc::Guarded([&] {
        yfc::RotationKeys keys(*curves, filter.GetStartTime(), filter.GetStopTime());
        if (keys.GetCount() == 0) return Refuse(filter, kNoKey, texts);
        const ybase::AxisOrder axes = ybase::AxesOf(static_cast<eRotationOrder>(node.GetRotationOrder()));
        if (!keys.SetForms(choice(keys, axes, UsableTolerance(poleTolerance)), axes))
            return Refuse(filter, kUnchanged, texts);
        keys.CopyTo(*curves);
        return true;
    });
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
    return yfc::LeastTurning(timed, keys.GetAnchor() ? &anchor : nullptr, axes, poleTolerance);
}

}  // namespace

// --- Key by key ----------------------------------------------------------------------------------------

YClassDefinition& YFCurveFilterGimbleKiller::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterGimbleKiller::mPoleTolerance>("PoleTolerance", kPoleTolerance,
                                                                kPoleToleranceOptions),
        YPropertyOf<&YFCurveFilterGimbleKiller::mRotationOrder>("RotationOrder", 0,
                                                                yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterGimbleKiller", &YFCurveFilter::StaticClass,
        {.summary = "undoes flips of a rotation at its poles, key by key",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterGimbleKiller>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterGimbleKiller::YFCurveFilterGimbleKiller() : YFCurveFilter("Gimble Killer", kMessages, 4)
{
    Reset();
}

void YFCurveFilterGimbleKiller::Reset()
{
    ResetProperties(StaticClass());
    YFCurveFilter::Reset();
}

bool YFCurveFilterGimbleKiller::Apply(YFCurve&)
{
    return Refuse(*this, kNotThreeCurves, kTexts);
}

bool YFCurveFilterGimbleKiller::Apply(YFCurve** curves, int count)
{
    if (count != 3) return Refuse(*this, kNotThreeCurves, kTexts);
    return yfc::ApplyToCurves(*this, curves, mRotationOrder);
}

bool YFCurveFilterGimbleKiller::Apply(YFCurveNode& node, bool)
{
    if (node.IsRotationLayerType()) mRotationOrder = node.GetRotationOrder();
    return ApplyChoice(*this, node, &KeyByKey, mPoleTolerance, kTexts);
}

// --- All keys together ---------------------------------------------------------------------------------

YClassDefinition& YFCurveFilterGimbleKiller2::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterGimbleKiller2::mPoleTolerance>("PoleTolerance", kPoleTolerance,
                                                                 kPoleToleranceOptions),
        YPropertyOf<&YFCurveFilterGimbleKiller2::mRotationOrder>("RotationOrder", 0,
                                                                 yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterGimbleKiller2", &YFCurveFilter::StaticClass,
        {.summary = "undoes flips of a rotation at its poles, all keys together",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterGimbleKiller2>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterGimbleKiller2::YFCurveFilterGimbleKiller2() : YFCurveFilter("Gimble Killer2", kMessages, 4)
{
    Reset();
}

void YFCurveFilterGimbleKiller2::Reset()
{
    ResetProperties(StaticClass());
    YFCurveFilter::Reset();
}

bool YFCurveFilterGimbleKiller2::Apply(YFCurve&)
{
    return Refuse(*this, kNotThreeCurves, kTexts2);
}

bool YFCurveFilterGimbleKiller2::Apply(YFCurve** curves, int count)
{
    if (count != 3) return Refuse(*this, kNotThreeCurves, kTexts2);
    return yfc::ApplyToCurves(*this, curves, mRotationOrder);
}

bool YFCurveFilterGimbleKiller2::Apply(YFCurveNode& node, bool)
{
    if (node.IsRotationLayerType()) mRotationOrder = node.GetRotationOrder();
    return ApplyChoice(*this, node, &Together, mPoleTolerance, kTexts2);
}
