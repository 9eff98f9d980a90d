// How far a rotation may be off follows from how far it moves the joints below it. The first estimate gives each
// property of a chain a share of the tolerance, over its longest lever. Joints are then looked at where they come to
// be: what is above a joint may be off by more or by less until the joint is off by as much as it may.

#include "ymotion/reducing/world_reduction.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/compare/world_errors.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"

namespace ymotion {
namespace {

constexpr double kContactShare = 0.1;

/// The tolerance of each property's curves.
using Tolerances = std::map<const YFCurveNode*, double>;

/// The fit of curves with a tolerance for each property.
class PropertyFit : public YFCurveFilterFit
{
  public:
    explicit PropertyFit(int tangents) { SetTangents(tangents); }

    Tolerances tolerances;

  protected:
    /// A rotation that turns as quaternions is fitted as angles, in a node of its own below this one's call.
    bool FilterNode(YFCurveNode& node, bool recursive) override
    {
        const auto found = tolerances.find(&node);
        if (found == tolerances.end()) return YFCurveFilterFit::FilterNode(node, recursive);
        const double shown = GetTolerance();
        SetTolerance(found->second);
        const bool result = YFCurveFilterFit::FilterNode(node, recursive);
        SetTolerance(shown);
        return result;
    }
};

std::int64_t KeyCountBelow(const YFCurveNode& node)
{
    const YFCurve* curve = node.FCurveGet();
    std::int64_t keys = curve != nullptr ? curve->KeyGetCount() : 0;
    for (int i = 0; i < node.GetCount(); ++i) keys += KeyCountBelow(*node.Get(i));
    return keys;
}

/// A property of a joint.
struct Limb
{
    YFCurveNode* property = nullptr;
    YFCurveNodePtr before;
    std::size_t joint = 0;
    double lever = 1.0;  ///< what a unit of the curves moves the joints below by, at most
    double gain = 1.0;   ///< of the share, by what joints turned out to be off
    double share = 0.0;  ///< of the tolerance, as a distance
    std::int64_t keys = 0;
};

/// Where joints are at some times.
class Places
{
  public:
    Places(const Scene& scene, const std::vector<YTime>& times)
    {
        WorldPoses poses(scene);
        for (const YTime time : times) {
            for (const Placement& place : poses.PlacesAt(time)) mOrigins.push_back(place.origin);
        }
        mJoints = scene.skeleton.joints.size();
    }

    double Distance(std::size_t time, std::size_t joint, const Places& other, std::size_t otherJoint) const
    {
        const auto& a = mOrigins[time * mJoints + joint];
        const auto& b = other.mOrigins[time * mJoints + otherJoint];
        const double distance = std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
        return std::isfinite(distance) ? distance : 0.0;
    }

  private:
    std::vector<YgeVector> mOrigins;
    std::size_t mJoints = 0;
};

class Search
{
  public:
    Search(Scene& scene, const ReductionGoal& goal, const RoundDone& done)
        : mScene(scene),
          mGoal(goal),
          mDone(done),
          mTimes(Times(scene)),
          mBefore(scene, mTimes),
          mFigure(FindContacts(scene, mTimes))
    {
        FindLimbs();
        FindLevers();
    }

    ~Search()
    {
        for (const Limb& limb : mLimbs) limb.property->SingleLayerCopyFrom(limb.before.get());
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    Reduction Find()
    {
        if (mGoal.keys) {
            FindForKeys();
        } else {
            Adjust(mGoal.tolerance, kRounds);
        }
        if (mBest.empty()) {
            throw Failure(
                fmt::format("{}: no fewer keys keep every joint that near; allow for a larger distance or "
                            "more keys",
                            mScene.file));
        }
        const auto make = [tangents = mGoal.tangents, tolerance = mBestTolerance, tolerances = mBest] {
            auto fit = std::make_unique<PropertyFit>(tangents);
            fit->SetTolerance(tolerance);
            fit->tolerances = tolerances;
            return fit;
        };
        FilterStep step{"fit", fmt::format("{:.6g} in the world", mBestTolerance), make(), {}, make};
        return {std::move(step), mBestTolerance, mBestKeys};
    }

  private:
    static constexpr int kRounds = 12;

    static std::vector<YTime> Times(const Scene& scene)
    {
        const TimeSpan span = KeySpan(scene).value_or(TimeSpan{});
        return TimesToCompare(span, scene.rate, FramesBetweenErrors(span, scene.rate), true);
    }

    void FindLimbs()
    {
        for (std::size_t joint = 0; joint < mScene.skeleton.joints.size(); ++joint) {
            YFCurveNode* node = mScene.jointNodes[joint];
            for (int i = 0; node != nullptr && !mScene.skeleton.joints[joint].endSite && i < node->GetCount();
                 ++i) {
                YFCurveNode* property = node->Get(i);
                if (!IsProperty(*property) || KeyCountBelow(*property) == 0) continue;
                Limb limb;
                limb.property = property;
                limb.before.reset(property->SingleLayerCopy());
                if (limb.before == nullptr) throw std::bad_alloc();
                limb.joint = joint;
                mLimbs.push_back(std::move(limb));
            }
        }
    }

    /// Whether a joint is moved by the properties of another one.
    bool IsBelow(std::size_t joint, std::size_t above) const
    {
        int at = static_cast<int>(joint);
        while (at > static_cast<int>(above)) at = mScene.skeleton.joints[static_cast<std::size_t>(at)].parent;
        return at == static_cast<int>(above);
    }

    /// Scales move what is below as far as translations do times its distance.
    void FindLevers()
    {
        constexpr std::size_t every = 16;
        for (Limb& limb : mLimbs) {
            if (limb.property->GetDataType() == YDataType::Get(eDataType::LocalTranslation)) continue;
            double longest = 0.0;
            for (std::size_t joint = limb.joint + 1; joint < mScene.skeleton.joints.size(); ++joint) {
                if (!IsBelow(joint, limb.joint)) continue;
                for (std::size_t time = 0; time < mTimes.size(); time += every) {
                    longest = std::max(longest, mBefore.Distance(time, joint, mBefore, limb.joint));
                }
            }
            // What moves nothing in the world is turned as if it moved a fiftieth of the figure.
            longest = std::max(longest, 0.02 * mFigure.height);
            limb.lever = limb.property->IsRotationLayerType() ? longest * std::numbers::pi / 180.0 : longest;
        }
    }

    void Fit()
    {
        PropertyFit fit(mGoal.tangents);
        for (Limb& limb : mLimbs) {
            fit.tolerances[limb.property] = limb.share / limb.lever;
            limb.property->SingleLayerCopyFrom(limb.before.get());
            fit.Apply(*limb.property, true);
            limb.keys = KeyCountBelow(*limb.property);
        }
        mTried = fit.tolerances;
    }

    /// How far each joint is off, as a part of the tolerance; of feet that stand, as a part of theirs.
    std::vector<double> Errors(double tolerance) const
    {
        const Places after(mScene, mTimes);
        std::vector<double> errors(mScene.skeleton.joints.size(), 0.0);
        for (std::size_t time = 0; time < mTimes.size(); ++time) {
            for (std::size_t joint = 0; joint < errors.size(); ++joint) {
                const double off = mBefore.Distance(time, joint, after, joint) / tolerance;
                errors[joint] = std::max(errors[joint], off);
                if (mGoal.contacts && Stands(joint, mTimes[time])) {
                    errors[joint] = std::max(errors[joint], off / kContactShare);
                }
            }
        }
        return errors;
    }

    bool Stands(std::size_t joint, YTime time) const
    {
        return std::any_of(mFigure.feet.begin(), mFigure.feet.end(), [&](const Foot& foot) {
            return foot.joint == joint &&
                   std::any_of(foot.contacts.begin(), foot.contacts.end(), [&](const Contact& contact) {
                       return time >= contact.start && time <= contact.stop;
                   });
        });
    }

    /// Looks for the shares that make the most of a tolerance.
    void Adjust(double tolerance, int rounds)
    {
        constexpr double begin = 1.0;
        constexpr double aim = 0.97;
        for (Limb& limb : mLimbs) {
            limb.gain = begin;
            limb.share = begin * tolerance;
        }
        for (int round = 0; round < rounds; ++round) {
            Fit();
            const std::vector<double> errors = Errors(tolerance);
            if (*std::max_element(errors.begin(), errors.end()) <= 1.0) Keep(tolerance);
            for (Limb& limb : mLimbs) {
                const double worst = WorstBelow(limb, errors);
                const double factor = worst > 0.0 ? aim / worst : 2.0;
                limb.gain *= std::clamp(factor > 1.0 ? std::sqrt(factor) : factor, 0.3, 2.0);
            }
            ShareByKeys(tolerance);
            if (mDone) mDone(++mRoundsDone, mGoal.keys ? kBudgetTries * kBudgetRounds : kRounds);
        }
    }

    double WorstBelow(const Limb& limb, const std::vector<double>& ofJoints) const
    {
        double worst = 0.0;
        for (std::size_t joint = limb.joint; joint < ofJoints.size(); ++joint) {
            if (IsBelow(joint, limb.joint)) worst = std::max(worst, ofJoints[joint]);
        }
        return worst;
    }

    /// Errors of a chain add up as squares do, and keys fall with the root of the error: the fewest are left where
    /// the square of each share is as the keys.
    void ShareByKeys(double tolerance)
    {
        std::vector<double> keys(mScene.skeleton.joints.size(), 0.0);
        for (std::size_t joint = 0; joint < keys.size(); ++joint) {
            for (const Limb& limb : mLimbs) {
                if (IsBelow(joint, limb.joint)) keys[joint] += static_cast<double>(limb.keys);
            }
        }
        for (Limb& limb : mLimbs) {
            limb.share =
                limb.gain * tolerance * std::sqrt(static_cast<double>(limb.keys) / WorstBelow(limb, keys));
        }
    }

    std::int64_t Keys() const
    {
        std::int64_t keys = 0;
        for (const Limb& limb : mLimbs) keys += limb.keys;
        return keys;
    }

    /// Of fits that serve, the one with the fewest keys; for a number of keys, with the smallest tolerance.
    void Keep(double tolerance)
    {
        const std::int64_t keys = Keys();
        if (mGoal.keys && keys > *mGoal.keys) return;
        const bool isBetter = mGoal.keys ? tolerance < mBestTolerance : keys < mBestKeys;
        if (!mBest.empty() && !isBetter) return;
        mBest = mTried;
        mBestKeys = keys;
        mBestTolerance = tolerance;
    }

    static constexpr int kBudgetTries = 8;
    static constexpr int kBudgetRounds = 4;

    /// Halves the range of the tolerance, as a power, between what is too small and what serves.
    void FindForKeys()
    {
        double low = std::log(1e-5 * mFigure.height);
        double high = std::log(0.3 * mFigure.height);
        for (int i = 0; i < kBudgetTries; ++i) {
            const double tolerance = std::exp(0.5 * (low + high));
            Adjust(tolerance, kBudgetRounds);
            const bool serves = !mBest.empty() && mBestTolerance <= tolerance;
            (serves ? high : low) = std::log(tolerance);
        }
    }

    Scene& mScene;
    const ReductionGoal& mGoal;
    const RoundDone& mDone;
    const std::vector<YTime> mTimes;
    const Places mBefore;
    const StandingFigure mFigure;
    std::vector<Limb> mLimbs;
    Tolerances mTried;
    Tolerances mBest;
    double mBestTolerance = 0.0;
    std::int64_t mBestKeys = 0;
    std::size_t mRoundsDone = 0;
};

}  // namespace

Reduction FindReduction(Scene& scene, const ReductionGoal& goal, const RoundDone& done)
{
    if (!scene.HasSkeleton()) {
        throw Failure(
            fmt::format("{}: has no skeleton, so there are no joints to look at; 'yfcurve filter --apply "
                        "fit:Tolerance=...' reduces curves",
                        scene.file));
    }
    return Search(scene, goal, done).Find();
}

double FigureHeight(const Scene& scene)
{
    const TimeSpan span = KeySpan(scene).value_or(TimeSpan{});
    const std::vector<YTime> times = TimesToCompare(span, scene.rate, FramesBetweenErrors(span, scene.rate));
    return FindContacts(scene, times).height;
}

}  // namespace ymotion
