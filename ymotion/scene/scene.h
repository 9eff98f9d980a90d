#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "ymotion/scene/frame_rate.h"
#include "ymotion/scene/layer.h"
#include "ymotion/scene/skeleton.h"

/// \file
/// What the program works on, whatever file it came from: a skeleton and the tree of its curves.
///
///     top node
///       Hips                      a joint, one for each joint of the skeleton
///         Lcl Translation           where the skeleton has channels for it, or it was added
///           X, Y, Z                   a curve each, without keys for an axis without a channel; shows the
///                                     joint's offset where there are none
///         Lcl Rotation              degrees; has the rotation order
///           X, Y, Z
///         Spine                     a child joint
///
/// A scene file that was saved without a skeleton gives any other tree. Properties may have layers, see
/// layer.h.

namespace ymotion {

enum class SceneFormat
{
    Bvh,
    SceneFile,
    Glb,
    Gltf
};

/// Whether it is glTF, as text or in its binary form.
constexpr bool IsGltf(SceneFormat format)
{
    return format == SceneFormat::Glb || format == SceneFormat::Gltf;
}

/// What a reader did not understand, or has no place for, and left out of a scene.
struct LeftOut
{
    int count = 0;
    const char* one = "";      ///< "key left out", for people
    const char* several = "";  ///< "keys left out"
    std::int64_t line = 0;     ///< of the first; 0 where a whole file has more than a scene can hold
};

struct Scene
{
    std::string file;                             ///< where it was read from, for people
    SceneFormat format = SceneFormat::SceneFile;  ///< that it was read from
    bool isPacked = false;                        ///< that file is packed by gzip
    std::vector<LeftOut> leftOut;                 ///< empty when the file is whole
    Skeleton skeleton;
    std::vector<YFCurveNode*> jointNodes;  ///< of each joint of the skeleton; null for end sites
    FrameRate rate;
    std::string frameTime;         ///< a frame's duration as the file writes it; empty when it does not
    std::uint64_t curveBytes = 0;  ///< what keys and attributes took when they were read
    std::vector<std::string>
        animations;             ///< that the file holds, for people; empty where formats have one alone
    std::size_t animation = 0;  ///< the one that was read
    std::string foreignFields;  ///< of a scene file, which this program does not know; see talo.h
    SceneLayers layers;         ///< outlives the nodes, which are bound to it
    YFCurveNodePtr root;

    /// Whether it is a character with joints, as BVH needs one.
    bool HasSkeleton() const { return !skeleton.joints.empty(); }

    /// Another rate than that of the file; keys stay where they are.
    void SetRate(FrameRate another)
    {
        rate = another;
        frameTime.clear();
    }
};

/// A stretch of time, both ends included.
struct TimeSpan
{
    YTime start;
    YTime stop;

    /// As much of it as time can count.
    YTime Length() const;
    /// The time at a part of it, from 0 (its start) to 1 (its stop), however long it is.
    YTime At(double part) const;
};

/// Makes a span one that has room for another one as well.
void Widen(std::optional<TimeSpan>& span, const std::optional<TimeSpan>& other);

/// The frames from the first to the last time of a span, both included; 0 without one.
std::int64_t FrameCount(const std::optional<TimeSpan>& span, FrameRate rate);

struct ValueRange
{
    float least;
    float greatest;

    float Extent() const { return greatest - least; }
};

/// Gives the scene a node tree without keys for its skeleton.
void MakeJointNodes(Scene& scene);

// The pieces of such a tree. They throw `std::bad_alloc` when memory runs out.

/// A node without type and curve: the top of a tree, or a joint.
YFCurveNodePtr MakeGroupNode(const char* name);
/// The node of a property, with its components and their curves.
YFCurveNodePtr MakePropertyNode(YDataType& type, const char* name);
/// Hands a node over to its parent.
YFCurveNode* AddTo(YFCurveNode& parent, YFCurveNodePtr child);

/// Whether a node stands for an animated property, with curves at or right below it; else it is a joint or
/// another group, with properties and other groups below it. Where the data type is not known, a node of
/// which every child holds a curve is one property.
bool IsProperty(const YFCurveNode& node);

/// Whether a node can be on layers of its own: a property, or a group of curves that are none by themselves.
bool TakesLayers(const YFCurveNode& node);

/// Whether a property, or one of its layers, is a rotation of three angles.
bool IsRotation(const YFCurveNode& property);

/// Whether it is a rotation of three angles that each have a curve.
bool HasThreeAngles(const YFCurveNode& property);

/// Whether a property, or one of its layers, is a rotation that turns evenly from key to key as quaternions
/// do: its curves alone do not say what plays between them.
bool TurnsAsQuaternions(const YFCurveNode& property);

/// The unit of a property's values: "degrees" for rotations, "units" for the file's own measure of length,
/// empty for what has none.
const char* UnitOf(const YFCurveNode& property);

/// The local translation or rotation of a joint; null where the tree has none.
YFCurveNode* PropertyOf(const YFCurveNode& joint, ChannelKind kind);

/// Whether a translation of a joint counts along an axis for where the joint is: where the skeleton has a channel for
/// it, and where it has keys: on the base layer, or on any where the skeleton has no channel for translations of the
/// joint at all. Elsewhere the joint stands at its offset.
bool PlacesAlong(const Joint& joint, const YFCurveNode& translation, Axis axis);

/// The curve of a channel of a joint; null where the tree has none.
YFCurve* CurveOf(const YFCurveNode& joint, Channel channel);

/// The least and the greatest key value; nothing without keys.
std::optional<ValueRange> KeyRange(const YFCurve& curve);

/// From the first to the last key of a curve; nothing without keys.
std::optional<TimeSpan> KeySpan(const YFCurve& curve);

/// From the first to the last key of all curves on all layers, and of the weights of layers that move something;
/// nothing without keys.
std::optional<TimeSpan> KeySpan(const Scene& scene);

/// The times of the keys of a property on all layers, and of the weights that it moves with; in order, each once.
std::vector<YTime> KeyTimesOf(const YFCurveNode& property);

}  // namespace ymotion
