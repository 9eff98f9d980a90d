#include "ymotion/reducing/chain_motion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/vectors.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

// A curve whose values differ by no more than this counts as still: degrees for angles, the file's units for
// translations.
constexpr double kStillExtent = 1e-3;

/// Whether a fit may put other keys in place of a curve's.
bool IsFree(const YFCurve& curve)
{
    return !curve.IsLocked() && !curve.MovesOutside(true) && !curve.MovesOutside(false);
}

/// Whether a curve ends as it begins, slopes included, so that it plays again and again without a seam.
bool IsLoop(const YFCurve& curve)
{
    const int last = curve.KeyGetCount() - 1;
    return curve.KeyGetValue(0) == curve.KeyGetValue(last) &&
           curve.KeyGetRightDerivative(0) == curve.KeyGetLeftDerivative(last);
}

/// Whether motion is sampled in a curve, none of whose keys is a step.
bool IsRecorded(const YFCurve& curve)
{
    if (!YFCurveFilterFit::IsRecording(curve) || IsLoop(curve)) return false;
    for (int key = 0; key < curve.KeyGetCount(); ++key) {
        if (curve.KeyGetInterpolation(key) == YFCURVE_INTERP_CONSTANT) return false;
    }
    return true;
}

bool IsFinite(const YFCurve& curve)
{
    for (int key = 0; key < curve.KeyGetCount(); ++key) {
        if (!std::isfinite(curve.KeyGetValue(key))) return false;
    }
    return true;
}

bool HaveSameTimes(const YFCurve& a, const YFCurve& b)
{
    if (a.KeyGetCount() != b.KeyGetCount()) return false;
    for (int key = 0; key < a.KeyGetCount(); ++key) {
        if (a.KeyGetTime(key) != b.KeyGetTime(key)) return false;
    }
    return true;
}

RecordedTimes TimesOf(const YFCurve& curve)
{
    RecordedTimes result;
    for (int key = 0; key < curve.KeyGetCount(); ++key) {
        const YTime time = curve.KeyGetTime(key);
        if (key > 0) result.times.push_back(result.times.back() + (time - result.times.back()) / 2);
        result.times.push_back(time);
    }
    for (const YTime time : result.times) {
        result.seconds.push_back((time - result.times.front()).GetSecondDouble());
    }
    return result;
}

/// Takes in the joints of a scene, as long as all is recorded.
class MotionReader
{
  public:
    MotionReader(const Scene& scene, ChainMotion& motion) : mScene(scene), mMotion(motion) {}

    bool Read()
    {
        for (std::size_t joint = 0; joint < mScene.skeleton.joints.size(); ++joint) {
            if (!ReadJoint(joint)) return false;
        }
        constexpr std::size_t mostPlaces = 2'000'000;
        if (mRecorded == nullptr) return false;
        mMotion.times = TimesOf(*mRecorded);
        if (mMotion.times.Count() * mMotion.joints.size() > mostPlaces) return false;
        ReadValues();
        ReadPlaces();
        if (!mIsFinite) return false;
        constexpr std::size_t mostSteps = 20'000'000;
        std::size_t pairs = 0;
        for (std::size_t joint = 0; joint < mMotion.joints.size(); ++joint) {
            FindMoved(joint);
            pairs += mMotion.joints[joint].nearest.size() + mMotion.joints[joint].farther.size();
        }
        return pairs * mMotion.times.Count() <= mostSteps;
    }

  private:
    bool ReadJoint(std::size_t index)
    {
        const Joint& source = mScene.skeleton.joints[index];
        ChainJoint& joint = mMotion.joints.emplace_back();
        joint.parent = source.parent;
        joint.endSite = source.endSite;
        if (mScene.jointNodes[index] == nullptr) return true;
        const PlacingProperties placing(source, *mScene.jointNodes[index]);
        if (placing.scale != nullptr) return false;
        joint.rotation = placing.rotation;
        joint.translation = placing.translation;
        if (joint.rotation != nullptr) joint.order = joint.rotation->GetRotationOrder();
        return ReadProperty(joint.rotation, joint.angles) && ReadProperty(joint.translation, joint.moves);
    }

    bool ReadProperty(const YFCurveNode* property, std::array<ChainCurve, 3>& curves)
    {
        if (property == nullptr) return true;
        if (!PlaysByCurves(*property)) return false;
        for (int axis = 0; axis < 3; ++axis) {
            const YFCurveNode* node = property->Get(axis);
            const YFCurve* curve = node == nullptr ? nullptr : node->FCurveGet();
            if (curve == nullptr) return false;
            curves[static_cast<std::size_t>(axis)].curve = curve;
            const std::optional<ValueRange> range = KeyRange(*curve);
            if (!range) continue;
            if (!IsFree(*curve) || !IsFinite(*curve)) return false;
            if (!(double{range->Extent()} > kStillExtent)) continue;
            if (!IsRecorded(*curve)) return false;
            if (mRecorded == nullptr) mRecorded = curve;
            if (!HaveSameTimes(*curve, *mRecorded)) return false;
        }
        return true;
    }

    void ReadValues()
    {
        for (ChainJoint& joint : mMotion.joints) {
            for (std::array<ChainCurve, 3>* curves : {&joint.angles, &joint.moves}) {
                for (ChainCurve& curve : *curves) ReadValues(curve);
            }
        }
    }

    void ReadValues(ChainCurve& curve)
    {
        curve.source.assign(mMotion.times.Count(), 0.0);
        if (curve.curve == nullptr) return;
        int hint = 0;
        for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
            curve.source[t] = curve.curve->Evaluate(mMotion.times.times[t], &hint);
        }
        mIsFinite = mIsFinite && std::all_of(curve.source.begin(), curve.source.end(),
                                             [](double value) { return std::isfinite(value); });
        const auto [least, greatest] = std::minmax_element(curve.source.begin(), curve.source.end());
        curve.extent = *greatest - *least;
    }

    void ReadPlaces()
    {
        WorldPoses poses(mScene);
        for (ChainJoint& joint : mMotion.joints) joint.places.resize(mMotion.times.Count());
        for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
            StopIfAsked();
            const std::vector<Placement>& places = poses.PlacesAt(mMotion.times.times[t]);
            for (std::size_t joint = 0; joint < places.size(); ++joint) {
                const YgeVector& origin = places[joint].origin;
                mIsFinite = mIsFinite && std::isfinite(origin.x + origin.y + origin.z);
                mMotion.joints[joint].places[t] = places[joint];
            }
        }
    }

    bool AreTogether(std::size_t a, std::size_t b) const
    {
        const Placement& first = mMotion.joints[a].places.front();
        const Placement& second = mMotion.joints[b].places.front();
        return Distance(first.origin, second.origin) <= 1e-6 * mMotion.height;
    }

    /// Sorts the joints below one into its nearest and its farther ones. Those behind a joint in between that turns
    /// about three axes, and is at another place than both, are the farther ones: that joint can bring them back to
    /// their places.
    void FindMoved(std::size_t above)
    {
        ChainJoint& joint = mMotion.joints[above];
        for (std::size_t below = above + 1; below < mMotion.joints.size(); ++below) {
            bool isBroughtBack = false;
            int at = mMotion.joints[below].parent;
            for (; at > static_cast<int>(above); at = mMotion.joints[static_cast<std::size_t>(at)].parent) {
                const auto between = static_cast<std::size_t>(at);
                isBroughtBack =
                    isBroughtBack || (mMotion.joints[between].CountTurns() == 3 &&
                                      !AreTogether(between, below) && !AreTogether(between, above));
            }
            if (at != static_cast<int>(above) || AreTogether(above, below)) continue;
            (isBroughtBack ? joint.farther : joint.nearest).push_back(below);
            const bool moves = !isBroughtBack && joint.CountTurns() > 0;
            if (moves)
                mMotion.joints[below].mover = std::max(mMotion.joints[below].mover, static_cast<int>(above));
        }
    }

    const Scene& mScene;
    ChainMotion& mMotion;
    const YFCurve* mRecorded = nullptr;  // the first curve that changes; all others have keys at its times
    bool mIsFinite = true;
};

}  // namespace

bool ChainJoint::HasMoves() const
{
    return std::any_of(moves.begin(), moves.end(),
                       [](const ChainCurve& curve) { return curve.extent > kStillExtent; });
}

int ChainJoint::CountTurns() const
{
    return static_cast<int>(std::count_if(
        angles.begin(), angles.end(), [](const ChainCurve& curve) { return curve.extent > kStillExtent; }));
}

std::optional<ChainMotion> ChainMotion::Of(const Scene& scene, const std::vector<Foot>& feet, double height)
{
    ChainMotion motion;
    motion.height = height;
    if (!(height > 0.0) || !MotionReader(scene, motion).Read()) return std::nullopt;
    motion.standing.resize(motion.joints.size());
    for (const Foot& foot : feet) {
        std::vector<bool>& stands = motion.standing[foot.joint];
        stands.resize(motion.times.Count());
        for (std::size_t t = 0; t < stands.size(); ++t) {
            const YTime time = motion.times.times[t];
            stands[t] = std::any_of(
                foot.contacts.begin(), foot.contacts.end(),
                [time](const Contact& contact) { return contact.start <= time && time <= contact.stop; });
        }
    }
    return motion;
}

}  // namespace ymotion
