#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurvelayer.h"

/// \file
/// The values that `YMotion` (ymotion.h) takes and gives. They are plain: a change of one changes no scene.
///
/// Texts are UTF-8 as files have them: names may hold any characters, those that steer terminals included.
/// Pointers to nodes and curves lead into the scene and stay valid until the scene is loaded anew or ends, or
/// what they point at is removed.

class YFCurve;
class YFCurveNode;

/// A joint of the skeleton, or an end site: the end of a chain, which never moves and has no children.
struct YMotionJoint
{
    std::string name;        ///< may be empty for an end site
    int parent = -1;         ///< number of a joint before this one; -1 for a root
    bool isEndSite = false;  ///< it has no node then
    float offset[3] = {};    ///< from the parent at rest, in the parent's axes and the file's own units
    /// Has the properties "Lcl Translation" and "Lcl Rotation" (degrees, `GetRotationOrder`) as far as the
    /// joint is animated, and its child joints. A translation is in place of the offset, not added to it.
    YFCurveNode* node = nullptr;
};

/// Where a joint or an end site is in the world, and how it is turned, at one time.
struct YMotionPose
{
    double position[3] = {};                    ///< in the file's own units
    double rotation[4] = {0.0, 0.0, 0.0, 1.0};  ///< x, y, z and w of a unit quaternion
};

/// A layer of the scene. The base layer has the id 0 and is lowest; ids ascend with the stack and are for
/// good.
struct YMotionLayer
{
    int id = 0;
    std::string name;     ///< of its own, and not empty
    bool muted = false;   ///< the mute button; a layer that is not muted is silent where another one is solo
    bool solo = false;    ///< several may be
    bool locked = false;  ///< takes no keys
    eLayerMode mode = YFCURVE_LAYER_ADDITIVE;  ///< the base layer is additive
    eWeightRotationAccumulationMode rotationMode = YFCURVE_LAYER_ROTATION_BY_LAYER;
    eAnimLayerScaleAccumulationMode scalingMode = YFCURVE_LAYER_SCALING_MULTIPLY;
    /// The weight over time, 0 to 1, for keys and for the default value; null for the base layer, which
    /// counts in full. `YMotion::SetLayer` does not look at it.
    YFCurve* weight = nullptr;
};

/// A curve of the base layer and where it hangs.
struct YMotionCurve
{
    std::string path;  ///< "Hips/LeftUpLeg/Lcl Rotation/X"
    YFCurve* curve = nullptr;
    YFCurveNode* property = nullptr;  ///< that it is a component of: "Lcl Rotation"
};

/// A parameter of a filter, as `YMotion::Filter` takes it: "CutOffFreq=7".
struct YMotionParameter
{
    std::string name;
    std::string type;          ///< "Double", "Time", "Bool", "Integer", "Enum" or "Vector3D"
    std::string defaultValue;  ///< or words, where it goes by the frames of the scene: "the scene's rate"
    std::string range;         ///< "0 .. 1", "> 0", "round|square"; empty where there is no bound
    std::string unit;          ///< "s", "Hz", "frames"; empty where there is none
    std::string help;          ///< what it does, in a few words
    bool isNeeded = false;  ///< one of those of which one has to be given, as the filter does nothing without
};

/// A filter that there is.
struct YMotionFilter
{
    std::string name;     ///< "key-reducer"
    std::string summary;  ///< what it does, in a sentence
    std::vector<YMotionParameter> parameters;
};

/// Parts of a scene that a filter refused for one reason.
struct YMotionRefusal
{
    std::string message;  ///< the filter's own
    std::size_t count = 0;
    std::string first;  ///< path of the first of them
};

/// What one filter did. It goes through a scene in places: curves, properties or joints, as it works on.
struct YMotionStepReport
{
    std::string name;
    std::size_t changed = 0;
    std::size_t unchanged = 0;
    std::size_t refused = 0;
    std::size_t locked = 0;
    std::size_t skipped = 0;  ///< what the filter is not for, as a rotation filter is not for a translation
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    std::vector<YMotionRefusal> refusals;
    std::string warning;  ///< why the motion makes the result no good; empty for nothing
};

/// How far a property is from what it was, taken at every frame, or at every n-th of more than 100,000. For a
/// rotation that is the angle between the two orientations; for others the length of the difference.
struct YMotionPropertyReport
{
    std::string path;
    YFCurveNode* property = nullptr;
    std::string unit;  ///< "degrees", "units" (the file's own); empty for what has none
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    double largest = 0.0;  ///< infinite where a number has become none
    double rootMeanSquare = 0.0;
    YTime time{YTIME_ZERO};  ///< of the largest
};

/// How far a joint or end site is in the world from where it was, at the same times.
struct YMotionJointReport
{
    std::size_t joint = 0;  ///< of `YMotion::GetJoints`
    double largest = 0.0;   ///< in the file's own units; infinite where a number has become none
    double mean = 0.0;
    YTime time{YTIME_ZERO};  ///< of the largest
};

/// How far a foot slides along the ground while it stands. When it does is found in the motion of before, by
/// speed and height: contacts of a tenth of a second at least. Feet are known by their names, or as the
/// lowest ends of chains.
struct YMotionFootReport
{
    std::size_t joint = 0;  ///< of `YMotion::GetJoints`: the ball of the foot, or what comes nearest to it
    std::size_t contacts = 0;
    double seconds = 0.0;      ///< for which it stands
    double slideBefore = 0.0;  ///< of all contacts together, in the file's own units
    double slideAfter = 0.0;
    double largestSlide = 0.0;  ///< of one contact afterwards
    YTime time{YTIME_ZERO};     ///< at which that contact begins
};

/// What came of work in the world.
struct YMotionWorldReport
{
    std::vector<YMotionJointReport> joints;  ///< all of them; none without a skeleton
    std::vector<YMotionFootReport> feet;     ///< those that were found
};

/// What filters did, and to what.
struct YMotionFilterReport : YMotionWorldReport
{
    std::vector<YMotionStepReport> steps;           ///< in the order given
    std::vector<YMotionPropertyReport> properties;  ///< all that were chosen, in the order of the tree
};

/// A curve that two scenes have, or a rotation, where their values differ.
struct YMotionValueDifference
{
    std::string path;
    std::string layer;           ///< empty for the base layer
    bool isOrientation = false;  ///< the difference is an angle in degrees, and the values are 0
    YTime time{YTIME_ZERO};      ///< of the largest difference
    double difference = 0.0;     ///< infinite where one of the values is not finite
    double here = 0.0;
    double there = 0.0;
};

/// A curve that only one of two scenes has.
struct YMotionCurveName
{
    std::string path;
    std::string layer;  ///< empty for the base layer
};

/// Something else in which two scenes differ: "frame rate", "30" and "24". Empty on the side that lacks it.
struct YMotionSettingDifference
{
    std::string what;
    std::string here;
    std::string there;
};

/// How far a joint or end site that two scenes have is apart in the world.
struct YMotionJointDifference
{
    std::string
        path;  ///< names from the root down: "Hips/Spine/Head"; of an end site "Hips/Spine/Head/End Site"
    double largest = 0.0;  ///< in the files' own units; infinite where one of the places is not finite
    double mean = 0.0;
    YTime time{YTIME_ZERO};  ///< of the largest
};

/// Where the joints of two scenes are apart in the world.
struct YMotionWorldDifference
{
    std::size_t jointsCompared = 0;              ///< that both have, end sites among them
    std::vector<YMotionJointDifference> joints;  ///< that are apart
    std::vector<std::string> onlyHere;           ///< paths of joints
    std::vector<std::string> onlyThere;

    bool IsEmpty() const { return joints.empty() && onlyHere.empty() && onlyThere.empty(); }
};

/// How two scenes differ. They play and look alike where all lists are empty.
struct YMotionDifference
{
    std::size_t curvesCompared = 0;  ///< that both have, weights of layers among them
    std::size_t keysCompared = 0;
    std::vector<YMotionValueDifference> values;
    std::vector<YMotionCurveName> onlyHere;
    std::vector<YMotionCurveName> onlyThere;
    std::vector<YMotionSettingDifference> settings;
    /// Where orientations are compared: the joints that are apart in the world. It tells what comes of the
    /// rest.
    std::vector<YMotionJointDifference> joints;

    bool IsEmpty() const
    {
        return values.empty() && onlyHere.empty() && onlyThere.empty() && settings.empty();
    }
};

/// How layers are merged, or motion is written into one.
struct YMotionPlotting
{
    /// See `YMotion`; whole properties. Empty for all.
    std::vector<std::string> nodes;
    /// Minus infinity is the first key of each property; for a plot of one that repeats its keys or runs on beyond
    /// them, that of the scene.
    YTime start{YTIME_MINUS_INFINITE};
    YTime stop{YTIME_INFINITE};  ///< infinity is the last one
    YTime period{YTIME_ZERO};    ///< motion is sampled at tenths of it; zero is a frame of the scene
    double tolerance = 0.001;    ///< how far the result may be off, in units or degrees; above 0
    bool smart = true;   ///< as few keys as keep the tolerance; else a key at every period. Not for merging
    bool exact = false;  ///< refuse what takes sampling. For merging alone
    bool keepLayers = false;  ///< keep merged layers in the scene, emptied
};

/// A property that was merged or plotted.
struct YMotionPlottedProperty
{
    std::string path;
    std::string unit;         ///< "degrees", "units" (the file's own); empty for what has none
    bool isResampled = true;  ///< false where keys were combined as they are
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    double largest = 0.0;    ///< difference from what played before, or was to play
    YTime time{YTIME_ZERO};  ///< of the largest
};

/// How a glTF file is read. Files of other formats are read alike with any of these.
struct YMotionReading
{
    std::string animation;    ///< by name, or by number from 1; empty for the first
    int rotationOrder = 0;    ///< of the Euler angles, 0 to 5 as of `YFCurveNode::GetRotationOrder`
    double tolerance = 0.01;  ///< degrees between the curves and the file's orientations; above 0
};

/// How a glTF file is written. Other formats do not look at it.
struct YMotionWriting
{
    bool sampled = false;  ///< a linear key for each frame, in place of few cubic ones
    bool mesh = true;      ///< with bones to look at
    double tolerance =
        0.01;  ///< degrees; positions keep what such an angle moves at the end of the skeleton; above 0
};

/// What a picture shows.
struct YMotionPlotOptions
{
    /// See `YMotion`. Empty for the translation of the first root and the rotations with the largest motion.
    std::vector<std::string> nodes;
    YTime start{YTIME_MINUS_INFINITE};  ///< minus infinity is the first key of the scene
    YTime stop{YTIME_INFINITE};         ///< infinity is the last one
    bool layers = false;                ///< a panel for each component, with the keys of every layer
    double width = 1120.0;              ///< in pixels, 300 to 10000; the height follows
};

/// Something that a person should know of a scene before using it, and where it is for the first time.
struct YMotionFinding
{
    bool isWrong = false;  ///< something is damaged or contradicts itself; otherwise it is just worth knowing
    std::string what;      ///< of which kind, in words that stay the same: "not finite", "between frames"
    std::string text;      ///< for people
    std::int64_t count = 0;  ///< how often; 0 for what is not counted
    std::string path;        ///< of a curve, a property or a joint, or the name of a layer; may be empty
    bool hasTime = false;
    YTime time{YTIME_ZERO};
    std::int64_t line = 0;  ///< of the file that was loaded, counted from 1; 0 where it is not known
};

/// What is in a table. The first column is the time in seconds, the others are named: "Hips/Lcl Rotation/X".
struct YMotionTable
{
    /// See `YMotion`. In the world the joints that have any of these curves.
    std::vector<std::string> nodes = {};
    YFrameRate rate{0, 1};              ///< rows a second; the invalid rate is the scene's
    YTime start{YTIME_MINUS_INFINITE};  ///< of the first row; minus infinity is the first key of the scene
    YTime stop{YTIME_INFINITE};         ///< no row is later; infinity is the last key
    bool frames = false;  ///< rows at whole frames from time 0 instead, with their numbers in a column
    bool layers = false;  ///< each layer of a property, and the weights, before what plays
    bool world = false;   ///< where joints are in the world and how they are turned, in place of curves
    bool euler = false;   ///< these rotations as degrees in the joint's order; else quaternions
};

/// How few keys are to be left. One of tolerance, ratio and keys says it.
struct YMotionReduction
{
    /// How far a joint may come away from its place: "0.1" in the file's units; "2mm", "1cm", "0.1in" or
    /// "0.01m" on a figure of that height; "0.5%" of the figure's height.
    std::string tolerance = {};
    std::string ratio = {};  ///< instead: at most that part of the keys that move joints, "5%" or "0.05"
    std::int64_t keys = 0;   ///< instead: at most so many of them
    bool contacts = false;   ///< feet that stand stay within a tenth of the tolerance
    std::string tangents =
        "smooth";         ///< or "broken", two slopes a key, or "auto", auto keys where they serve
    double height = 0.0;  ///< of the figure in metres, for "2mm" and the like; 0 is 1.7
};
