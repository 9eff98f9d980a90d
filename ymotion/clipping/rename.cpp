#include <algorithm>
#include <unordered_map>

#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/joint_names.h"
#include "ymotion/clipping/node_edit.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

/// Names are the old ones and the new ones as they were written; a "*" stands for the same text in both.
struct Renaming
{
    std::string from;
    std::string to;

    /// The new name; nothing for joints that are not meant.
    std::optional<std::string> Of(const std::string& name) const
    {
        const std::size_t star = from.find('*');
        if (star == std::string::npos || name == from) return name == from ? std::optional(to) : std::nullopt;
        const std::string_view front = std::string_view(from).substr(0, star);
        const std::string_view back = std::string_view(from).substr(star + 1);
        if (name.size() < front.size() + back.size()) return std::nullopt;
        if (!name.starts_with(front) || !name.ends_with(back)) return std::nullopt;
        const std::string any = name.substr(star, name.size() - front.size() - back.size());
        std::string renamed = to;
        if (const std::size_t place = to.find('*'); place != std::string::npos)
            renamed.replace(place, 1, any);
        return renamed;
    }
};

void Rename(Scene& scene, std::size_t index, const std::string& name)
{
    scene.skeleton.joints[index].name = name;
    YFCurveNode& old = *scene.jointNodes[index];
    YFCurveNodePtr renamed = MakeGroupNode(name.c_str());
    renamed->SetLayerType(old.GetLayerType());
    renamed->SetLayerInfo(old.GetLayerInfo());
    if (old.IsLockedByProperty()) renamed->SetLockedByProperty(true);
    for (YFCurveNode* child : TakeChildren(old)) AddTo(*renamed, YFCurveNodePtr(child));
    scene.jointNodes[index] = renamed.get();
    ReplaceChild(old, {renamed.release()});
}

using NewNames = std::vector<std::pair<std::size_t, std::string>>;

/// The new names of all joints that a renaming means: those whose names fit the pattern with a star, or the one that is
/// named.
NewNames NewNamesOf(const Scene& scene, const Renaming& renaming)
{
    if (renaming.from.find('*') == std::string::npos)
        return {{JointCalled(scene, renaming.from), renaming.to}};
    NewNames renamed;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite) continue;
        if (auto name = renaming.Of(joint.name)) renamed.emplace_back(i, std::move(*name));
    }
    if (renamed.empty()) FailNoJoint(scene, renaming.from);
    return renamed;
}

/// Throws `Failure` where joints with different names would come to have the same one, and for empty names. Joints that
/// had the same name before may have the same again.
void CheckNames(const Scene& scene, const NewNames& renamed)
{
    std::vector<std::string> names;
    for (const Joint& joint : scene.skeleton.joints) names.push_back(joint.name);
    for (const auto& [index, name] : renamed) {
        if (name.empty())
            throw Failure(fmt::format("{}: the new name of {} would be empty; choose another one", scene.file,
                                      QuotedName(names[index])));
        names[index] = name;
    }
    std::unordered_map<std::string, std::string> namesBefore;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite || namesBefore.try_emplace(names[i], joint.name).first->second == joint.name)
            continue;
        throw Failure(fmt::format("{}: {} is the name of another joint; choose another one", scene.file,
                                  QuotedName(names[i])));
    }
}

/// What a text "old=new" may mean: names may have a "=" in them as well.
std::vector<Renaming> Readings(const std::string& text)
{
    std::vector<Renaming> readings;
    for (std::size_t i = text.find('=', 1); i < text.size(); i = text.find('=', i + 1))
        readings.push_back({text.substr(0, i), text.substr(i + 1)});
    return readings;
}

bool HasStarsInPairs(const Renaming& renaming)
{
    const auto from = std::count(renaming.from.begin(), renaming.from.end(), '*');
    return from <= 1 && std::count(renaming.to.begin(), renaming.to.end(), '*') <= from;
}

bool MeansJoints(const Scene& scene, const Renaming& renaming)
{
    if (renaming.from.find('*') == std::string::npos)
        return !JointsCalled(scene.skeleton, renaming.from).empty();
    return std::any_of(scene.skeleton.joints.begin(), scene.skeleton.joints.end(), [&](const Joint& joint) {
        return !joint.endSite && renaming.Of(joint.name).has_value();
    });
}

/// The reading that means joints of the scene; the first one where none does. Throws `Failure` where several do.
const Renaming& MeantOf(const Scene& scene, const std::vector<Renaming>& readings)
{
    std::vector<const Renaming*> meant;
    for (const Renaming& reading : readings)
        if (MeansJoints(scene, reading)) meant.push_back(&reading);
    if (meant.size() < 2) return meant.empty() ? readings.front() : *meant.front();
    throw Failure(fmt::format(
        "{}: both {} and {} could be meant to get another name; give {} one without "
        "\"=\" first",
        scene.file, QuotedName(meant[0]->from), QuotedName(meant[1]->from), QuotedName(meant[0]->from)));
}

ClipChange RenameAll(Scene& scene, const std::vector<Renaming>& readings)
{
    CheckHasSkeleton(scene, "rename");
    NewNames renamed = NewNamesOf(scene, MeantOf(scene, readings));
    CheckNames(scene, renamed);
    std::erase_if(renamed,
                  [&](const auto& each) { return scene.skeleton.joints[each.first].name == each.second; });
    if (renamed.empty()) return {false, "nothing to do: that is its name"};
    for (const auto& [index, name] : renamed) CheckHasNoTimeWarp(scene, *scene.jointNodes[index]);
    for (const auto& [index, name] : renamed) Rename(scene, index, name);
    return {true, fmt::format("{} renamed", Counted(renamed.size(), "joint"))};
}

}  // namespace

ClipWork ParseRename(const std::string& value, const ClipSettings&)
{
    std::vector<Renaming> readings = Readings(value);
    if (readings.empty())
        throw Failure(fmt::format("rename: {} does not say what to call what; write OLD=NEW", Quoted(value)),
                      kExitUsage);
    std::erase_if(readings, [](const Renaming& reading) { return !HasStarsInPairs(reading); });
    if (readings.empty()) {
        throw Failure(
            fmt::format("rename: {} has more stars than there are texts for them; write one in OLD and "
                        "one in NEW",
                        Quoted(value)),
            kExitUsage);
    }
    return [readings](Scene& scene) { return RenameAll(scene, readings); };
}

}  // namespace ymotion
