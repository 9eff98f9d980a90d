// A mirror image in the plane of Y and Z keeps turns about X and reverses those about Y and Z, in any order,
// and keeps Y and Z of positions.

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/joint_names.h"
#include "ymotion/clipping/node_edit.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

bool IsLower(char c)
{
    return c >= 'a' && c <= 'z';
}

bool IsWordLetter(char c)
{
    return IsUpper(c) || IsLower(c) || (c >= '0' && c <= '9');
}

/// Whether the letter at a place is a word of its own, as the L of "LThumb", "hand_l", "L_Hand" and "HandL".
bool IsSideLetter(std::string_view name, std::size_t at)
{
    const bool begins = at == 0 || !IsWordLetter(name[at - 1]);
    const bool ends = at + 1 == name.size() || !IsWordLetter(name[at + 1]);
    if (begins) return ends || IsUpper(name[at + 1]);
    return ends && IsUpper(name[at]) && !IsUpper(name[at - 1]);
}

/// A name with one of two words for the other, wherever there is one of them.
std::vector<std::string> NamesExchanging(const std::string& name, const Pairs::value_type& words)
{
    std::vector<std::string> names;
    const auto replace = [&](const std::string& from, const std::string& to) {
        for (std::size_t at = name.find(from); at != std::string::npos; at = name.find(from, at + 1))
            names.push_back(std::string(name).replace(at, from.size(), to));
    };
    replace(words.first, words.second);
    replace(words.second, words.first);
    return names;
}

/// The names that the counterpart of a joint may have.
std::vector<std::string> OtherSideNames(const std::string& name, const Pairs& pairs)
{
    std::vector<std::string> names;
    Pairs words = pairs;
    for (const auto& pair : Pairs{{"Left", "Right"}, {"left", "right"}, {"LEFT", "RIGHT"}})
        words.push_back(pair);
    for (const auto& pair : words) {
        const std::vector<std::string> exchanged = NamesExchanging(name, pair);
        names.insert(names.end(), exchanged.begin(), exchanged.end());
    }
    constexpr std::string_view sides = "LRlr";
    constexpr std::string_view others = "RLrl";
    for (std::size_t at = 0; at < name.size(); ++at) {
        const std::size_t side = sides.find(name[at]);
        if (side == std::string_view::npos || !IsSideLetter(name, at)) continue;
        names.push_back(name);
        names.back()[at] = others[side];
    }
    return names;
}

/// Which joint shows the motion of which in the mirror. Where names occur several times, as those of several figures in
/// one file, the counterpart is the one that is nearest in the tree.
class Counterparts
{
  public:
    Counterparts(const Scene& scene, const Pairs& pairs) : mScene(scene), mOf(scene.skeleton.joints.size())
    {
        for (std::size_t i = 0; i < mOf.size(); ++i) {
            mOf[i] = i;
            if (!Joints()[i].endSite) mByName[Joints()[i].name].push_back(i);
        }
        for (const auto& pair : pairs) TakePair(pair);
        for (std::size_t i = 0; i < mOf.size(); ++i) {
            if (!Joints()[i].endSite && mOf[i] == i) FindCounterpart(i, pairs);
        }
        PairEndSites();
        for (std::size_t i = 0; i < mOf.size(); ++i) CheckParents(i);
    }

    std::size_t Of(std::size_t joint) const { return mOf[joint]; }

    /// What becomes of the places of joints.
    std::function<void(std::vector<Placement>&, YTime)> Exchange() const
    {
        return [of = mOf](std::vector<Placement>& places, YTime) {
            for (std::size_t i = 0; i < places.size(); ++i) {
                places[i].origin.x *= -1;
                if (of[i] < i) std::swap(places[i], places[of[i]]);
            }
        };
    }

    std::size_t PairCount() const
    {
        std::size_t count = 0;
        for (std::size_t i = 0; i < mOf.size(); ++i) count += !Joints()[i].endSite && mOf[i] > i ? 1u : 0u;
        return count;
    }

  private:
    const std::vector<Joint>& Joints() const { return mScene.skeleton.joints; }

    /// Pairs joints by name or path or, where the texts are no joints, accepts them as marks of left and right
    /// (Lf=Rt) if they pair at least one joint.
    void TakePair(const std::pair<std::string, std::string>& pair)
    {
        const std::vector<std::size_t> left = JointsCalled(mScene.skeleton, pair.first);
        const std::vector<std::size_t> right = JointsCalled(mScene.skeleton, pair.second);
        if (!left.empty() && !right.empty()) {
            bool paired = left == right;
            const bool isByFigure = left.size() > 1 || right.size() > 1;
            for (const std::size_t joint : left) {
                std::vector<std::size_t> others = right;
                if (isByFigure)
                    std::erase_if(others, [&](std::size_t other) { return !MayExchange(joint, other); });
                paired = (mOf[joint] == joint && Pair(joint, others)) || paired;
            }
            if (paired) return;
            throw Failure(fmt::format("{}: {} or {} is in another pair already; name each joint once",
                                      mScene.file, QuotedName(pair.first), QuotedName(pair.second)));
        }
        const bool helps = std::any_of(mByName.begin(), mByName.end(), [&](const auto& joint) {
            const std::vector<std::string> names = NamesExchanging(joint.first, pair);
            return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                return name != joint.first && mByName.contains(name);
            });
        });
        if (helps) return;
        throw Failure(
            fmt::format("{}: {} and {} are no two joints, and tell no two joints apart; 'yfcurve info' "
                        "lists their names",
                        mScene.file, QuotedName(pair.first), QuotedName(pair.second)));
    }

    void FindCounterpart(std::size_t joint, const Pairs& pairs)
    {
        for (const std::string& name : OtherSideNames(Joints()[joint].name, pairs)) {
            const auto found = mByName.find(name);
            if (found == mByName.end()) continue;
            std::vector<std::size_t> others = found->second;
            std::erase_if(others, [&](std::size_t other) { return !MayExchange(joint, other); });
            if (Pair(joint, others)) return;
        }
    }

    /// Pairs a joint with the best of several, unless all of them have partners: the one that shares most
    /// of what is above it, counterparts counted as the same.
    bool Pair(std::size_t joint, const std::vector<std::size_t>& others)
    {
        std::optional<std::size_t> best;
        std::size_t mostShared = 0;
        for (const std::size_t other : others) {
            if (other == joint || mOf[other] != other) continue;
            const std::size_t shared = SharedDepth(joint, other);
            if (best && shared <= mostShared) continue;
            best = other;
            mostShared = shared;
        }
        if (!best) return false;
        mOf[joint] = *best;
        mOf[*best] = joint;
        return true;
    }

    std::vector<std::size_t> WayDownTo(std::size_t joint) const
    {
        std::vector<std::size_t> way;
        for (int at = static_cast<int>(joint); at >= 0; at = Joints()[static_cast<std::size_t>(at)].parent)
            way.insert(way.begin(), static_cast<std::size_t>(at));
        return way;
    }

    /// Whether two joints may be counterparts: joints of one figure, or of two figures whose roots are exchanged.
    bool MayExchange(std::size_t joint, std::size_t other) const
    {
        const std::size_t root = WayDownTo(joint).front();
        const std::size_t otherRoot = WayDownTo(other).front();
        return (joint == root && other == otherRoot) || otherRoot == mOf[root];
    }

    /// How many of the joints above one, from the root down, are those above another one or their counterparts.
    std::size_t SharedDepth(std::size_t joint, std::size_t other) const
    {
        const std::vector<std::size_t> way = WayDownTo(joint);
        const std::vector<std::size_t> otherWay = WayDownTo(other);
        std::size_t depth = 0;
        while (depth + 1 < std::min(way.size(), otherWay.size()) &&
               (way[depth] == otherWay[depth] || mOf[way[depth]] == otherWay[depth]))
            ++depth;
        return depth;
    }

    std::vector<std::size_t> EndSitesOf(std::size_t joint) const
    {
        std::vector<std::size_t> sites;
        for (std::size_t i = joint + 1; i < mOf.size(); ++i) {
            if (Joints()[i].endSite && Joints()[i].parent == static_cast<int>(joint)) sites.push_back(i);
        }
        return sites;
    }

    void PairEndSites()
    {
        for (std::size_t i = 0; i < mOf.size(); ++i) {
            if (Joints()[i].endSite || mOf[i] < i) continue;
            const std::vector<std::size_t> here = EndSitesOf(i);
            const std::vector<std::size_t> there = EndSitesOf(mOf[i]);
            if (here.size() != there.size()) Fail(i, "have different numbers of end sites");
            for (std::size_t site = 0; site < here.size(); ++site) {
                mOf[here[site]] = there[site];
                mOf[there[site]] = here[site];
            }
        }
    }

    void CheckParents(std::size_t joint) const
    {
        const int parent = Joints()[joint].parent;
        const int other = Joints()[mOf[joint]].parent;
        const int expected = parent < 0 ? -1 : static_cast<int>(mOf[static_cast<std::size_t>(parent)]);
        if (other != expected) Fail(joint, "do not hang on counterparts");
    }

    [[noreturn]] void Fail(std::size_t joint, const char* why) const
    {
        const std::string& name = Joints()[joint].name;
        const std::string& other = Joints()[mOf[joint]].name;
        if (name == other) {
            throw Failure(
                fmt::format("{}: {} has no counterpart on the other side; name it with --pairs {}=NAME, "
                            "or take it out with --drop",
                            mScene.file, QuotedName(name), name));
        }
        throw Failure(
            fmt::format("{}: {} and {} {}, so that neither can show the motion of the other; take what "
                        "differs out with --drop, or pair others with --pairs",
                        mScene.file, QuotedName(name), QuotedName(other), why));
    }

    const Scene& mScene;
    std::vector<std::size_t> mOf;
    std::unordered_map<std::string, std::vector<std::size_t>> mByName;
};

/// Which component of a property a component of one of its layers belongs to.
int ComponentOf(const YFCurveNode& property, const YFCurveNode& layer, int index)
{
    const int byName = property.Find(layer.Get(index)->GetName());
    return byName >= 0 ? byName : index;
}

void MirrorProperty(YFCurveNode& property)
{
    const bool translates = property.GetDataType() == YDataType::Get(eDataType::LocalTranslation);
    if (!translates && !property.IsRotationLayerType()) return;
    for (const YFCurveNode* layer : LayersOf(property)) {
        for (int i = 0; i < layer->GetCount(); ++i) {
            const bool alongX = ComponentOf(property, *layer, i) == 0;
            YFCurve* curve = layer->Get(i)->FCurveGet();
            if (alongX == translates && curve != nullptr) ScaleValues(*curve, -1.0);
        }
    }
}

class Mirror
{
  public:
    Mirror(Scene& scene, const Counterparts& counterparts)
        : mScene(scene),
          mCounterparts(counterparts),
          mJointNodes(scene.jointNodes.begin(), scene.jointNodes.end())
    {}

    void Apply()
    {
        for (std::size_t i = 0; i < mScene.skeleton.joints.size(); ++i) {
            Joint& joint = mScene.skeleton.joints[i];
            joint.offset[0] = 0.0f - joint.offset[0];
            if (YFCurveNode* node = mScene.jointNodes[i]) MirrorJoint(*node);
        }
        for (std::size_t i = 0; i < mScene.skeleton.joints.size(); ++i) {
            if (mCounterparts.Of(i) > i) Exchange(i, mCounterparts.Of(i));
        }
    }

  private:
    void MirrorJoint(const YFCurveNode& node)
    {
        for (int i = 0; i < node.GetCount(); ++i) {
            YFCurveNode& property = *node.Get(i);
            if (mJointNodes.contains(&property)) continue;
            CheckUnlocked(mScene, property);
            MirrorProperty(property);
        }
    }

    /// Two joints exchange all but their names and child joints.
    void Exchange(std::size_t a, std::size_t b)
    {
        std::vector<Joint>& joints = mScene.skeleton.joints;
        std::swap(joints[a].offset, joints[b].offset);
        std::swap(joints[a].channels, joints[b].channels);
        if (mScene.jointNodes[a] == nullptr) return;
        YFCurveNode& nodeA = *mScene.jointNodes[a];
        YFCurveNode& nodeB = *mScene.jointNodes[b];
        std::vector<YFCurveNode*> childrenA = TakeChildren(nodeA);
        std::vector<YFCurveNode*> childrenB = TakeChildren(nodeB);
        const auto isProperty = [this](const YFCurveNode* child) { return !mJointNodes.contains(child); };
        const auto jointsA = std::stable_partition(childrenA.begin(), childrenA.end(), isProperty);
        const auto jointsB = std::stable_partition(childrenB.begin(), childrenB.end(), isProperty);
        const auto add = [](YFCurveNode& node, auto first, auto last) {
            for (; first != last; ++first) AddTo(node, YFCurveNodePtr(*first));
        };
        add(nodeA, childrenB.begin(), jointsB);
        add(nodeB, childrenA.begin(), jointsA);
        add(nodeA, jointsA, childrenA.end());
        add(nodeB, jointsB, childrenB.end());
    }

    Scene& mScene;
    const Counterparts& mCounterparts;
    std::unordered_set<const YFCurveNode*> mJointNodes;
};

ClipChange MirrorScene(Scene& scene, const Pairs& pairs)
{
    CheckHasSkeleton(scene, "mirror");
    const Counterparts counterparts(scene, pairs);
    const std::vector<Joint> before = scene.skeleton.joints;
    Mirror(scene, counterparts).Apply();
    std::size_t changed = 0;
    for (std::size_t i = 0; i < before.size(); ++i)
        changed += before[i].offset != scene.skeleton.joints[i].offset ? 1u : 0u;
    const std::size_t pairCount = counterparts.PairCount();
    std::string text =
        fmt::format("{} of left and right exchanged, {} on their own", Counted(pairCount, "pair"),
                    Counted(scene.skeleton.JointCount() - 2 * pairCount, "joint"));
    if (pairCount == 0) text += "; where names do not say left and right, --pairs does";
    if (changed > 0)
        text += fmt::format("; the skeleton is not the same on both sides, so {} change",
                            Counted(changed, "offset"));
    ClipChange change{true, text};
    change.intent.move = counterparts.Exchange();
    return change;
}

}  // namespace

ClipWork ParseMirror(const std::string&, const ClipSettings& settings)
{
    return [pairs = settings.pairs](Scene& scene) { return MirrorScene(scene, pairs); };
}

}  // namespace ymotion
