#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"
#include "ymotion/scene/placement.h"
#include "ymotion/scene/scene.h"

/// \file
/// Where the joints of a character are in the world, and how they are turned.

namespace ymotion {

/// A joint in the axes of the world.
struct JointPose
{
    YgeVector position;      ///< in the file's measure of length
    YgeQuaternion rotation;  ///< from the axes of the world to those of the joint
};

/// The properties that place a joint in the axes of its parent; null where there is none. Translations count as
/// `PlacesAlong` says.
struct PlacingProperties
{
    YFCurveNode* translation = nullptr;
    YFCurveNode* rotation = nullptr;
    YFCurveNode* scale = nullptr;

    PlacingProperties(const Joint& joint, const YFCurveNode& node);
};

/// The poses of a scene over time, made from what plays: all layers, and rotations in the form that they
/// have.
///
/// What plays is copied when it is made: curves and nodes may be changed or deleted afterwards. The layers of
/// the scene have to stay, as their weights are read at each time.
class WorldPoses
{
  public:
    /// Throws `Failure` for a scene without a skeleton, with keys that are out of order, or with more layers
    /// than a clip can hold.
    explicit WorldPoses(const Scene& scene);

    /// One pose for each joint and end site of the skeleton, in its order; valid until the next call. Times
    /// outside the keys are extrapolated. A joint stands at its offset from its parent along every axis where no
    /// translation counts (see `PlacesAlong`); an end site is turned as its joint. Scales of joints above count for
    /// where it is. Times that follow each other closely are quickest.
    const std::vector<JointPose>& At(YTime time);

    /// The same without rotations, in less time: the origins are the positions.
    const std::vector<Placement>& PlacesAt(YTime time);

  private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// A component of a joint's translation, rotation or scale.
    struct Component
    {
        double rest = 0.0;  ///< where nothing plays
        std::size_t value = kNone;
    };
    using Components = std::array<Component, 3>;

    struct Limb
    {
        int parent = -1;
        eRotationOrder order = eRotationOrder::XYZ;
        Components translation;
        Components rotation;
        Components scale{{{1.0}, {1.0}, {1.0}}};
        // Of the time before: most joints turn about few axes, and many stand still.
        YgeVector angles;
        YgeVector factors{1.0, 1.0, 1.0};
        YgeQuaternion turn;
        Placement local;
    };

    /// Values that one player gives.
    struct Played
    {
        std::unique_ptr<YFCurveClip> clip;
        std::unique_ptr<YFCurvePlayer> player;
        std::size_t first = 0;
        std::size_t count = 0;
    };

    class Builder;

    void Play(std::unique_ptr<YFCurveClip> clip);
    YgeVector ValuesOf(const Components& components) const;
    void Place(Limb& limb);

    std::vector<Limb> mLimbs;
    std::vector<Played> mPlayed;
    std::vector<float> mValues;
    std::vector<Placement> mPlaces;
    std::vector<JointPose> mPoses;
    bool mHasPlayed = false;
};

/// The poses of a scene; nothing where `WorldPoses` throws `Failure`. For reports that leave the places of
/// joints out then.
std::optional<WorldPoses> PosesOf(const Scene& scene);

/// The last part of the path of a joint or end site: its name; "End Site", and "End Site 2" for the next one
/// of the same joint.
std::string JointName(const Skeleton& skeleton, std::size_t joint);

/// What to call a joint or end site in reports: its name; "Head/End Site".
std::string JointTitle(const Skeleton& skeleton, std::size_t joint);

}  // namespace ymotion
