// A recorded motion is fitted along its chains of joints, see chain_fit.cpp. Of others each curve is fitted by itself.
// How far a rotation may be off then follows from how far it moves the joints below it. The first estimate gives each
// property of a chain a share of the tolerance, over its longest lever. Joints are then looked at where they come to
// be: what is above a joint may be off by more or by less until the joint is off by as much as it may.

#include "ymotion/reducing/world_reduction.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "ybaselib/rotation/degrees.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/compare/world_errors.h"
#include "ymotion/reducing/chain_fit.h"
#include "ymotion/reducing/reduction_wish.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/vectors.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr const char* kNoHeight = "the figure has no height; give the tolerance in the file's units";

/// The tolerance of each property's curves.
using Tolerances = std::map<const YFCurveNode*, double>;

/// Gives a property the curves that it is to have.
void PutCurves(YFCurveNode& property, const std::array<YFCurvePtr, 3>& curves)
{
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurvePtr& curve = curves[static_cast<std::size_t>(axis)];
        if (curve != nullptr) property.Get(axis)->FCurveGet()->CopyFrom(*curve);
    }
}

/// What a search for few keys has found: curves, or the tolerance of each property's own fit.
struct FoundFit
{
    std::shared_ptr<const FittedCurves> curves;
    Tolerances tolerances;
};

/// Gives each property what was found for it.
class PropertyFit : public YFCurveFilterFit
{
  public:
    explicit PropertyFit(int tangents) { SetTangents(tangents); }

    FoundFit found;

    bool TakesJumpsForMotion() const override { return false; }  // recordings are unrolled

  protected:
    /// What is not to be fitted stays. A rotation that turns as quaternions is fitted as angles, in nodes that are met
    /// while the fit of its own node goes on.
    bool FilterNode(YFCurveNode& node, bool recursive) override
    {
        if (mIsFitting) return YFCurveFilterFit::FilterNode(node, recursive);
        if (found.curves != nullptr) return Replace(node);
        const auto own = found.tolerances.find(&node);
        if (own == found.tolerances.end()) return Untouched();
        const double shown = GetTolerance();
        SetTolerance(own->second);
        mIsFitting = true;
        const bool result = YFCurveFilterFit::FilterNode(node, recursive);
        mIsFitting = false;
        SetTolerance(shown);
        return result;
    }

  private:
    bool Replace(YFCurveNode& node)
    {
        const auto own = found.curves->find(&node);
        if (own == found.curves->end()) return Untouched();
        PutCurves(node, own->second);
        return true;
    }

    bool mIsFitting = false;
};

/// A property of a joint.
struct Limb
{
    YFCurveNode* property = nullptr;
    YFCurveNodePtr before;
    std::size_t joint = 0;
    double lever = 1.0;  ///< how far a unit of the curves moves the joints below, at most
    double gain = 1.0;   ///< factor of the share, from how far joints turned out to be off
    double mostGain = std::numeric_limits<double>::infinity();
    double share = 0.0;  ///< the part of the tolerance that it may use, as a distance
    std::int64_t keys = 0;
};

/// The properties that place the joints of a scene and have keys.
std::vector<Limb> KeyedLimbs(const Scene& scene)
{
    std::vector<Limb> limbs;
    for (std::size_t joint = 0; joint < scene.skeleton.joints.size(); ++joint) {
        if (scene.jointNodes[joint] == nullptr) continue;
        const PlacingProperties placing(scene.skeleton.joints[joint], *scene.jointNodes[joint]);
        for (YFCurveNode* property : {placing.translation, placing.rotation, placing.scale}) {
            if (property == nullptr || KeyCountBelow(*property) == 0) continue;
            Limb& limb = limbs.emplace_back();
            limb.property = property;
            limb.joint = joint;
            limb.keys = KeyCountBelow(*property);
        }
    }
    return limbs;
}

void CheckSkeleton(const Scene& scene)
{
    if (scene.HasSkeleton()) return;
    throw Failure(
        fmt::format("{}: has no skeleton, so there are no joints to look at; 'yfcurve filter --apply "
                    "fit:Tolerance=...' reduces curves",
                    scene.file));
}

/// Where joints are at some times.
class Places
{
  public:
    Places(const Scene& scene, const std::vector<YTime>& times) : mJoints(scene.skeleton.joints.size())
    {
        WorldPoses poses(scene);
        mOrigins.reserve(times.size() * mJoints);
        for (const YTime time : times) {
            StopIfAsked();
            for (const Placement& place : poses.PlacesAt(time)) mOrigins.push_back(place.origin);
        }
    }

    const YgeVector& At(std::size_t time, std::size_t joint) const
    {
        return mOrigins[time * mJoints + joint];
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
          mFigure(FindContacts(scene, mTimes)),
          mLimbs(KeyedLimbs(scene))
    {
        if (mLimbs.empty()) {
            throw Failure(fmt::format("{}: nothing to reduce: no joint has keys", scene.file));
        }
        CheckGoal();
        FindStanding();
        FindLevers();
        Remember();
    }

    ~Search()
    {
        for (const Limb& limb : mLimbs) limb.property->CopyFrom(limb.before.get());
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    Reduction Find()
    {
        if (mGoal.keys) {
            FindForKeys();
        } else if (!FollowChains(mGoal.tolerance)) {
            Adjust(mGoal.tolerance, kRounds);
        }
        if (!mHasBest) {
            throw Failure(
                fmt::format("{}: no fewer keys keep every joint that near; allow for a larger distance or "
                            "more keys",
                            mScene.file));
        }
        const auto make = [tangents = mGoal.tangents, tolerance = mBestTolerance, found = mBest] {
            auto fit = std::make_unique<PropertyFit>(tangents);
            fit->SetTolerance(tolerance);
            fit->found = found;
            return fit;
        };
        FilterStep step{
            "reduce", fmt::format("{:.6g} in the world", mBestTolerance), make(), {}, Asked(), make, true};
        return {std::move(step), mBestTolerance, mBestKeys};
    }

  private:
    std::vector<std::pair<std::string, std::string>> Asked() const
    {
        std::vector<std::pair<std::string, std::string>> asked;
        if (mGoal.keys) asked.emplace_back("Keys", fmt::format("{}", *mGoal.keys));
        asked.emplace_back("Tolerance", fmt::format("{:.6g}", mBestTolerance));
        asked.emplace_back("Contacts", mGoal.contacts ? "true" : "false");
        asked.emplace_back("Tangents", TangentNames().at(static_cast<std::size_t>(mGoal.tangents)));
        return asked;
    }

    static constexpr int kRounds = 12;
    static constexpr int kChainRounds = 24;  ///< most of which change little and take little time

    static std::vector<YTime> Times(const Scene& scene)
    {
        const TimeSpan span = KeySpan(scene).value_or(TimeSpan{});
        return TimesToCompare(span, scene.rate, FramesBetweenErrors(span, scene.rate), true);
    }

    void CheckGoal() const
    {
        if (!mGoal.keys) {
            if (mGoal.tolerance > 0.0 && std::isfinite(mGoal.tolerance)) return;
            throw Failure("the tolerance is not a distance above 0; give one in the file's units",
                          kExitUsage);
        }
        if (!(mFigure.height > 0.0)) {
            throw Failure(fmt::format("{}: {}, not a number of keys", mScene.file, kNoHeight));
        }
        if (*mGoal.keys < LeastKeys()) FailTooFew(LeastKeys());
    }

    [[noreturn]] void FailTooFew(std::int64_t least) const
    {
        std::int64_t locked = 0;
        for (const Limb& limb : mLimbs) locked += LockedKeys(limb);
        throw Failure(fmt::format(
            "{}: {} too few; the curves that move joints need {} at least{}", mScene.file,
            Counted(*mGoal.keys, "key is", "keys are"), least,
            locked > 0 ? fmt::format(", as {} locked; unlock them", Counted(locked, "key is", "keys are"))
                       : ""));
    }

    static std::int64_t LockedKeys(const Limb& limb)
    {
        std::int64_t locked = 0;
        for (int axis = 0; axis < limb.property->GetCount(); ++axis) {
            const YFCurveNode& component = *limb.property->Get(axis);
            const YFCurve* curve = component.FCurveGet();
            if (curve != nullptr && curve->IsLocked()) locked += KeyCountBelow(component);
        }
        return locked;
    }

    /// All keys of curves that are locked, and one at either end of each of the others.
    std::int64_t LeastKeys() const
    {
        std::int64_t least = 0;
        for (const Limb& limb : mLimbs) {
            least += LockedKeys(limb);
            for (int axis = 0; axis < limb.property->GetCount(); ++axis) {
                const YFCurve* curve = limb.property->Get(axis)->FCurveGet();
                if (curve != nullptr && !curve->IsLocked()) least += std::min(curve->KeyGetCount(), 2);
            }
        }
        return least;
    }

    void Remember()
    {
        for (Limb& limb : mLimbs) {
            limb.before.reset(limb.property->Clone());
            if (limb.before == nullptr) throw std::bad_alloc();
        }
    }

    /// Whether a joint is moved by the properties of another one.
    bool IsBelow(std::size_t joint, std::size_t above) const
    {
        int at = static_cast<int>(joint);
        while (at > static_cast<int>(above)) at = mScene.skeleton.joints[static_cast<std::size_t>(at)].parent;
        return at == static_cast<int>(above);
    }

    /// How far joints below a limb's are from it, at most.
    double LongestBelow(const Limb& limb) const
    {
        constexpr std::size_t every = 16;
        double longest = 0.0;
        for (std::size_t joint = limb.joint + 1; joint < mScene.skeleton.joints.size(); ++joint) {
            if (!IsBelow(joint, limb.joint)) continue;
            StopIfAsked();
            for (std::size_t time = 0; time < mTimes.size(); time += every) {
                const double distance = Distance(mBefore.At(time, joint), mBefore.At(time, limb.joint));
                if (std::isfinite(distance)) longest = std::max(longest, distance);
            }
        }
        return longest;
    }

    /// The lever assumed for a rotation that moves no joint: no error in the world can be measured for it.
    double SupposedBone(const Limb& limb) const
    {
        const Joint& joint = mScene.skeleton.joints[limb.joint];
        const auto& [x, y, z] = joint.offset;
        double bone = 0.1 * mFigure.height;
        if (joint.parent >= 0) bone = std::max(bone, std::hypot(double{x}, double{y}, double{z}));
        return bone > 0.0 && std::isfinite(bone) ? bone : ybase::kDegreesPerRadian;
    }

    /// Whether a layer above replaces what a limb's property does, so that no joint shows it.
    bool IsHidden(const Limb& limb) const
    {
        for (const YFCurveNode* above = limb.property->LayerGet(); above != nullptr;
             above = above->LayerGet()) {
            const bool hides = std::all_of(mTimes.begin(), mTimes.end(), [above](YTime time) {
                return above->CheckLayerMode(time, 0) == YFCurveNode::YFCURVE_LAYERCASE_HIDES_REFERENCE;
            });
            if (hides) return true;
        }
        return false;
    }

    /// Scales move what is below as far as translations do times its distance.
    void FindLevers()
    {
        for (Limb& limb : mLimbs) {
            if (IsHidden(limb)) limb.mostGain = 1.0;
            if (limb.property->GetDataType() == YDataType::Get(eDataType::LocalTranslation)) continue;
            double longest = LongestBelow(limb);
            if (longest > 0.0) {
                longest = std::max(longest, 0.02 * mFigure.height);
            } else {
                longest = SupposedBone(limb);
                limb.mostGain = 1.0;
            }
            limb.lever = longest;
            if (limb.property->IsRotationLayerType()) limb.lever *= ybase::kRadiansPerDegree;
        }
    }

    void Fit()
    {
        PropertyFit fit(mGoal.tangents);
        for (Limb& limb : mLimbs) {
            StopIfAsked();
            fit.found.tolerances[limb.property] = limb.share / limb.lever;
            limb.property->CopyFrom(limb.before.get());
            fit.Apply(*limb.property, true);
            limb.keys = KeyCountBelow(*limb.property);
        }
        mTried = fit.found;
    }

    /// How far each joint is off, as a part of the tolerance; of feet that stand, as a part of theirs.
    std::vector<double> Errors(double tolerance) const
    {
        const std::size_t joints = mScene.skeleton.joints.size();
        WorldPoses poses(mScene);
        std::vector<double> errors(joints, 0.0);
        for (std::size_t time = 0; time < mTimes.size(); ++time) {
            StopIfAsked();
            const std::vector<Placement>& after = poses.PlacesAt(mTimes[time]);
            for (std::size_t joint = 0; joint < joints; ++joint) {
                double off = PlaceError(mBefore.At(time, joint), after[joint].origin) / tolerance;
                if (!mStanding.empty() && mStanding[time * joints + joint]) off /= kContactShare;
                errors[joint] = std::max(errors[joint], off);
            }
        }
        return errors;
    }

    void FindStanding()
    {
        if (!mGoal.contacts) return;
        const std::size_t joints = mScene.skeleton.joints.size();
        mStanding.resize(mTimes.size() * joints);
        for (const Foot& foot : mFigure.feet) {
            for (const Contact& contact : foot.contacts) {
                const auto first = std::lower_bound(mTimes.begin(), mTimes.end(), contact.start);
                const auto end = std::upper_bound(first, mTimes.end(), contact.stop);
                for (auto time = first; time != end; ++time) {
                    mStanding[static_cast<std::size_t>(time - mTimes.begin()) * joints + foot.joint] = true;
                }
            }
        }
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
                limb.gain = std::min(limb.gain, limb.mostGain);
            }
            ShareByKeys(tolerance);
            TellRound();
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

    /// The squares of the errors along a chain add up, and the number of keys of a property falls with the root of its
    /// error: so the fewest keys are left where the square of each share is proportional to the number of keys.
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
        if (!std::isfinite(tolerance)) return;
        const std::int64_t keys = Keys();
        if (mGoal.keys && keys > *mGoal.keys) return;
        const bool isBetter = mGoal.keys ? tolerance < mBestTolerance : keys < mBestKeys;
        if (mHasBest && !isBetter) return;
        mBest = mTried;
        mHasBest = true;
        mBestKeys = keys;
        mBestTolerance = tolerance;
    }

    void TellRound()
    {
        std::size_t total = mChains ? kChainRounds + kRounds : kRounds;
        if (mGoal.keys) total = kBudgetTries * kBudgetRounds;
        mRoundsDone = std::min(mRoundsDone + 1, total);
        if (mDone) mDone(mRoundsDone, total);
    }

    // --- Along chains --------------------------------------------------------------------------------------

    /// Fits along chains with a tolerance, in so many rounds at most, and puts the curves in place.
    /// \return  how far joints are off then, as a part of the tolerance that they may have.
    double FitChains(double tolerance, int rounds)
    {
        ChainFit fit(*mChains, tolerance, mGoal.tangents);
        for (int round = 0; round < rounds; ++round) {
            fit.DoRound();
            TellRound();
            if (fit.Worst() <= 1.0) break;
        }
        mTried = {std::make_shared<const FittedCurves>(fit.MakeCurves()), {}};
        for (Limb& limb : mLimbs) {
            limb.property->CopyFrom(limb.before.get());
            const auto own = mTried.curves->find(limb.property);
            if (own != mTried.curves->end()) PutCurves(*limb.property, own->second);
            limb.keys = KeyCountBelow(*limb.property);
        }
        const std::vector<double> errors = Errors(tolerance);
        return *std::max_element(errors.begin(), errors.end());
    }

    void ReadChains()
    {
        mChains =
            ChainMotion::Of(mScene, mGoal.contacts ? mFigure.feet : std::vector<Foot>{}, mFigure.height);
    }

    /// \return  whether that has led to a fit that serves and makes use of the tolerance.
    bool FollowChains(double tolerance)
    {
        constexpr double wellUsed = 0.8;
        ReadChains();
        if (!mChains) return false;
        const double used = FitChains(tolerance, kChainRounds);
        if (used > 1.0) return false;
        Keep(tolerance);
        return used >= wellUsed;
    }

    // --- For a number of keys ------------------------------------------------------------------------------

    /// \return  whether a tolerance leaves as few keys.
    bool FitForKeys(double tolerance)
    {
        if (!mChains) {
            Adjust(tolerance, kBudgetRounds);
            return mHasBest && mBestTolerance <= tolerance;
        }
        Keep(tolerance * FitChains(tolerance, kBudgetRounds));
        return Keys() <= *mGoal.keys;
    }

    static constexpr int kBudgetTries = 8;
    static constexpr int kBudgetRounds = 4;

    /// Along chains, whose tolerances have a limit; where that is not enough, curve by curve, and in the end wherever
    /// that leaves the joints.
    void FindForKeys()
    {
        const double least = 1e-5 * mFigure.height;
        const double usual = 0.3 * mFigure.height;
        ReadChains();
        HalveTolerances(least, usual);
        if (mHasBest) return;
        if (mChains) {
            mChains.reset();
            HalveTolerances(least, usual);
        }
        if (mHasBest) return;
        FitLoosely();
        if (mHasBest && mBestTolerance > usual) HalveTolerances(usual, mBestTolerance);
    }

    /// The fewest keys with which curves keep their steps and ends.
    void FitLoosely()
    {
        constexpr double anywhere = 1e6;
        for (Limb& limb : mLimbs) limb.share = anywhere * mFigure.height;
        Fit();
        if (Keys() > *mGoal.keys) FailTooFew(Keys());
        const std::vector<double> errors = Errors(mFigure.height);
        Keep(mFigure.height * *std::max_element(errors.begin(), errors.end()));
    }

    /// Halves a range of the tolerance, as a power, between what is too small and what serves.
    void HalveTolerances(double least, double most)
    {
        double low = std::log(least);
        double high = std::log(most);
        for (int i = 0; i < kBudgetTries; ++i) {
            const double tolerance = std::exp(0.5 * (low + high));
            if (FitForKeys(tolerance)) {
                high = std::log(tolerance);
            } else {
                low = std::log(tolerance);
            }
        }
    }

    Scene& mScene;
    const ReductionGoal& mGoal;
    const RoundDone& mDone;
    const std::vector<YTime> mTimes;
    const Places mBefore;
    const StandingFigure mFigure;
    std::vector<Limb> mLimbs;
    std::vector<bool> mStanding;         ///< for each time, of each joint; empty where it does not matter
    std::optional<ChainMotion> mChains;  ///< of a recorded motion
    FoundFit mTried;
    FoundFit mBest;
    bool mHasBest = false;
    double mBestTolerance = 0.0;
    std::int64_t mBestKeys = 0;
    std::size_t mRoundsDone = 0;
};

}  // namespace

std::int64_t KeysToReduce(const Scene& scene)
{
    CheckSkeleton(scene);
    std::int64_t keys = 0;
    for (const Limb& limb : KeyedLimbs(scene)) keys += limb.keys;
    return keys;
}

Reduction FindReduction(Scene& scene, const ReductionGoal& goal, const RoundDone& done)
{
    CheckSkeleton(scene);
    CheckPlays(scene, scene.layers.Base(),
               "reduce what joints do not show with 'yfcurve filter --apply fit:Tolerance=...'");
    std::string unrolled = UnrollRecordings(scene);
    Reduction reduction = Search(scene, goal, done).Find();
    reduction.step.told = std::move(unrolled);
    return reduction;
}

double FigureHeight(const Scene& scene)
{
    CheckSkeleton(scene);
    const TimeSpan span = KeySpan(scene).value_or(TimeSpan{});
    const std::vector<YTime> times = TimesToCompare(span, scene.rate, FramesBetweenErrors(span, scene.rate));
    const double height = FindContacts(scene, times).height;
    if (height > 0.0 && std::isfinite(height)) return height;
    throw Failure(fmt::format("{}: {}", scene.file, kNoHeight));
}

}  // namespace ymotion
