#include "ymotion/filtering/filter_places.h"

#include <unordered_map>

#include <fmt/format.h>

#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvefiltertrs.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

std::size_t CurveCount(const YFCurveNode& node)
{
    std::size_t count = node.FCurveGet() != nullptr ? 1 : 0;
    for (int i = 0; i < node.GetCount(); ++i) count += CurveCount(*node.Get(i));
    return count;
}

/// A rotation that turns as quaternions is only filtered as a whole: single curves do not say how it turns.
Place RotationPlace(const ChosenProperty& property)
{
    return {property.path, property.node, property.curves, {property.node}, true, property.whole};
}

std::vector<Place> CurvePlaces(const std::vector<ChosenProperty>& chosen)
{
    std::vector<Place> places;
    for (const ChosenProperty& property : chosen) {
        if (TurnsAsQuaternions(*property.node)) {
            places.push_back(RotationPlace(property));
            places.back().count = property.curves.size();
            continue;
        }
        for (std::size_t i = 0; i < property.curves.size(); ++i) {
            places.push_back({property.paths[i], nullptr, {property.curves[i]}, {property.node}});
        }
    }
    return places;
}

std::vector<Place> PropertyPlaces(const std::vector<ChosenProperty>& chosen)
{
    std::vector<Place> places;
    for (const ChosenProperty& property : chosen) {
        if (TurnsAsQuaternions(*property.node)) {
            places.push_back(RotationPlace(property));
            continue;
        }
        YFCurveNode* node = property.whole ? property.node : nullptr;
        places.push_back({property.path, node, property.curves, {property.node}, true});
    }
    return places;
}

std::vector<Place> JointPlaces(const std::vector<ChosenProperty>& chosen)
{
    // A joint's children may stand between its properties.
    std::unordered_map<const YFCurveNode*, std::size_t> placeOf;
    std::vector<Place> places;
    for (const ChosenProperty& property : chosen) {
        YFCurveNode* joint = property.node->GetParent();
        const auto [known, isNew] = placeOf.try_emplace(joint, places.size());
        if (isNew) places.push_back({PathOf(*joint), joint, {}, {}});
        Place& place = places[known->second];
        place.curves.insert(place.curves.end(), property.curves.begin(), property.curves.end());
        place.properties.push_back(property.node);
        place.whole = place.whole && property.whole;
    }
    for (Place& place : places) {
        std::size_t properties = 0;
        for (int i = 0; i < place.node->GetCount(); ++i)
            properties += IsProperty(*place.node->Get(i)) ? 1 : 0;
        place.whole = place.whole && properties == place.properties.size();
    }
    return places;
}

/// Those of the chosen joints that hang on no other chosen joint that moves. A joint below one that moves is counted by
/// it, as one that moves along.
std::vector<Place> BranchPlaces(const std::vector<ChosenProperty>& chosen)
{
    std::vector<Place> joints = JointPlaces(chosen);
    std::unordered_map<const YFCurveNode*, Place*> moving;
    for (Place& joint : joints) {
        if (YFCurveFilterTRS::Moves(*joint.node)) moving.emplace(joint.node, &joint);
    }
    const auto isBelow = [&](const Place& joint) {
        Place* topmost = nullptr;
        for (const YFCurveNode* above = joint.node->GetParent(); above != nullptr; above = above->GetParent())
            if (const auto found = moving.find(above); found != moving.end()) topmost = found->second;
        if (topmost != nullptr) ++topmost->along;
        return topmost != nullptr;
    };
    std::vector<bool> stays;
    for (const Place& joint : joints) stays.push_back(!isBelow(joint));
    std::vector<Place> topmost;
    for (std::size_t i = 0; i < joints.size(); ++i)
        if (stays[i]) topmost.push_back(std::move(joints[i]));
    return topmost;
}

bool IsOfJoints(eFilterScope scope)
{
    return scope == eFilterScope::Transform || scope == eFilterScope::Branch;
}

}  // namespace

std::vector<ChosenProperty> Choose(const Scene& scene, const std::vector<std::string>& patterns,
                                   const Layer& layer)
{
    std::vector<ChosenProperty> chosen;
    for (const SelectedCurve& selected : SelectCurves(scene, patterns)) {
        const YFCurveNode* node = layer.IsBase() ? selected.node : NodeOnLayer(selected, layer);
        if (node == nullptr || node->FCurveGet() == nullptr) continue;
        YFCurveNode* property =
            layer.IsBase() ? selected.property : selected.property->LayerGet(layer.GetLayerID());
        if (chosen.empty() || chosen.back().node != property)
            chosen.push_back({property, PathOf(*selected.property), {}, {}, false});
        chosen.back().curves.push_back(node->FCurveGet());
        chosen.back().paths.push_back(PathOf(*selected.node));
    }
    if (chosen.empty() && !layer.IsBase())
        throw Failure(
            fmt::format("{}: nothing of what is chosen is on the layer {}; put it on that layer first",
                        scene.file, Quoted(layer.Name())));
    for (ChosenProperty& property : chosen) {
        property.whole = property.curves.size() == CurveCount(*property.node);
    }
    return chosen;
}

std::string WhyBaseLayerAlone(const YFCurveFilter& filter)
{
    const YClassDefinition& definition = *filter.GetClassDefinition();
    if (IsOfJoints(filter.GetScope()))
        return "works on whole joints, of which another layer has single properties";
    if (definition.IsDerivedFrom(YFCurveFilterEulerToQuat::StaticClass()) ||
        definition.IsDerivedFrom(YFCurveFilterQuatToEuler::StaticClass()))
        return "changes how rotations turn on all their layers at once";
    return {};
}

std::vector<Place> PlacesOf(const std::vector<ChosenProperty>& chosen, eFilterScope scope)
{
    switch (scope) {
        case eFilterScope::Property:
            return PropertyPlaces(chosen);
        case eFilterScope::Transform:
            return JointPlaces(chosen);
        case eFilterScope::Branch:
            return BranchPlaces(chosen);
        case eFilterScope::Curve:
            break;
    }
    return CurvePlaces(chosen);
}

std::size_t PartCount(const std::vector<ChosenProperty>& chosen, eFilterScope scope)
{
    std::size_t parts = 0;
    for (const Place& place : PlacesOf(chosen, scope)) parts += place.count;
    return parts;
}

}  // namespace ymotion
