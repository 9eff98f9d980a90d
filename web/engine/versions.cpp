#include "web/engine/versions.h"

#include "ymotion/compare/deviation.h"
#include "ymotion/text/failure.h"

namespace editor {

using namespace ymotion;

namespace {

void Append(std::vector<float>& numbers, const YgeVector& place)
{
    for (const double part : {place.x, place.y, place.z}) numbers.push_back(static_cast<float>(part));
}

}  // namespace

void SceneVersion::Gather()
{
    if (mHasCurves) return;
    ForEachCurve(mScene, [&](const PlacedCurve& curve) {
        mCurves.emplace(Name{curve.path, curve.layer, curve.place}, std::pair(curve.node, curve.base));
    });
    mHasCurves = true;
}

const YFCurve* SceneVersion::CurveOf(const Track& track)
{
    if (track.isWeight) {
        const Layer* layer = mScene.layers.Find(track.layer);
        return layer == nullptr ? nullptr : layer->WeightCurve();
    }
    Gather();
    const auto found = mCurves.find({track.path, track.layer, track.place});
    return found == mCurves.end() ? nullptr : found->second.first->FCurveGet();
}

std::optional<SelectedCurve> SceneVersion::BaseOf(const Track& track)
{
    if (track.isWeight) return std::nullopt;
    Gather();
    const auto found = mCurves.find({track.path, 0, track.place});
    return found == mCurves.end() ? std::nullopt : std::optional(found->second.second);
}

void SceneVersion::Changed(std::uint64_t state)
{
    if (state == mState) return;
    mState = state;
    mPoses.reset();
    mFigure.reset();
}

WorldPoses& SceneVersion::Poses()
{
    if (!mPoses) mPoses = std::make_unique<WorldPoses>(mScene);
    return *mPoses;
}

std::vector<float> SceneVersion::Positions(YTime time)
{
    std::vector<float> positions;
    if (!mScene.HasSkeleton()) return positions;
    for (const Placement& place : Poses().PlacesAt(time)) Append(positions, place.origin);
    return positions;
}

std::vector<float> SceneVersion::Trail(int joint, const std::vector<YTime>& times)
{
    if (joint < 0 || static_cast<std::size_t>(joint) >= mScene.skeleton.joints.size())
        throw Failure("there is no such joint; choose another one");
    std::vector<float> positions;
    for (const YTime time : times)
        Append(positions, Poses().PlacesAt(time)[static_cast<std::size_t>(joint)].origin);
    return positions;
}

const StandingFigure& SceneVersion::Figure()
{
    if (mFigure) return *mFigure;
    mFigure.emplace();
    const std::optional<TimeSpan> span = KeySpan(mScene);
    if (!mScene.HasSkeleton() || !span) return *mFigure;
    const std::int64_t every = FramesBetweenErrors(*span, mScene.rate);
    mFigure = FindContacts(mScene, TimesToCompare(*span, mScene.rate, every));
    return *mFigure;
}

}  // namespace editor
