#pragma once

#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "web/engine/document.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/scene/world_pose.h"

/// \file
/// The document as it is, as it was opened, and as filters would make it: its curves, and its joints in the
/// world.

namespace editor {

enum class Version
{
    Current,
    Preview,
    Original
};

/// One version of a scene.
class SceneVersion
{
  public:
    /// The scene has to outlive it, and not to change but as `Changed` is told.
    explicit SceneVersion(Scene& scene) : mScene(scene) {}

    Scene& GetScene() const { return mScene; }
    /// The same curve in this version; null where there is none. Curves are gathered at the first call: no
    /// curve may come or go afterwards.
    const YFCurve* CurveOf(const Track& track);
    /// The same component on the base layer; nothing where there is none.
    std::optional<ymotion::SelectedCurve> BaseOf(const Track& track);
    /// Forgets what was worked out of the poses unless the state is that of the last call.
    void Changed(std::uint64_t state);

    /// x, y and z of each joint and end site; empty without a skeleton.
    std::vector<float> Positions(YTime time);
    /// x, y and z of one joint at each of the times.
    std::vector<float> Trail(int joint, const std::vector<YTime>& times);
    /// What stands when. Nothing for a scene without a skeleton or keys.
    const ymotion::StandingFigure& Figure();

  private:
    using Name = std::tuple<std::string, int, int>;  ///< path, layer and place

    void Gather();
    ymotion::WorldPoses& Poses();

    Scene& mScene;
    std::uint64_t mState = 0;
    bool mHasCurves = false;
    std::map<Name, std::pair<const YFCurveNode*, ymotion::SelectedCurve>> mCurves;
    std::unique_ptr<ymotion::WorldPoses> mPoses;
    std::optional<ymotion::StandingFigure> mFigure;
};

}  // namespace editor
