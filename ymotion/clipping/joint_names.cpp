#include "ymotion/clipping/joint_names.h"

#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

/// "'/Hips/Head' or '/Hips #2/Head'", whole, as their beginnings tell them apart.
std::string ChoiceOf(const Scene& scene, const std::vector<std::size_t>& joints)
{
    constexpr std::size_t kShown = 4;
    constexpr std::size_t kColumns = 400;
    const std::vector<std::string> paths = JointPaths(scene.skeleton);
    std::vector<std::string> shown;
    for (const std::size_t joint : joints) {
        if (shown.size() == kShown) break;
        shown.push_back(QuotedName("/" + paths[joint], kColumns));
    }
    const std::string choice = fmt::format("{}", fmt::join(shown, " or "));
    return joints.size() > kShown ? choice + ", ..." : choice;
}

}  // namespace

std::vector<std::string> JointPaths(const Skeleton& skeleton)
{
    std::vector<std::string> paths;
    std::unordered_map<std::string, int> counts;
    std::unordered_set<std::string> taken;
    for (const Joint& joint : skeleton.joints) {
        std::string path;
        if (joint.parent >= 0) path = paths[static_cast<std::size_t>(joint.parent)] + "/";
        path += joint.endSite ? std::string("end site") : joint.name;
        int& count = counts[path];
        ++count;
        std::string unique = count == 1 ? path : fmt::format("{} #{}", path, count);
        while (!taken.insert(unique).second) unique = fmt::format("{} #{}", path, ++count);
        paths.push_back(std::move(unique));
    }
    return paths;
}

std::vector<std::size_t> JointsCalled(const Skeleton& skeleton, const std::string& text)
{
    std::vector<std::size_t> named;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i)
        if (!skeleton.joints[i].endSite && skeleton.joints[i].name == text) named.push_back(i);
    if (!named.empty() || text.find('/') == std::string::npos) return named;
    const std::vector<std::string> paths = JointPaths(skeleton);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (skeleton.joints[i].endSite) continue;
        const std::string path = "/" + paths[i];
        if (text.front() == '/' ? path == text : path.ends_with("/" + text)) named.push_back(i);
    }
    return named;
}

std::size_t JointCalled(const Scene& scene, const std::string& text)
{
    const std::vector<std::size_t> joints = JointsCalled(scene.skeleton, text);
    if (joints.empty()) FailNoJoint(scene, text);
    if (joints.size() == 1) return joints.front();
    throw Failure(fmt::format("{}: {} is the name of {} joints; write which: {}", scene.file,
                              QuotedName(text), joints.size(), ChoiceOf(scene, joints)));
}

void FailNoJoint(const Scene& scene, const std::string& text)
{
    std::vector<std::string> names;
    for (const Joint& joint : scene.skeleton.joints)
        if (!joint.endSite) names.push_back(joint.name);
    throw Failure(fmt::format("{}: there is no joint {}{}", scene.file, QuotedName(text),
                              DidYouMean(text, names, "'yfcurve info' lists them")));
}

}  // namespace ymotion
