#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/scene/scene.h"

/// \file
/// What a glTF file says of nodes and their animation, checked and decoded, before it becomes a scene.

namespace ymotion {

enum class GltfPath
{
    Translation,
    Rotation,
    Scale
};

enum class GltfInterpolation
{
    Step,
    Linear,
    CubicSpline
};

struct GltfNode
{
    std::string name;
    int parent = -1;
    std::vector<int> children;
    std::array<double, 3> translation{};
    std::array<double, 4> rotation{0, 0, 0, 1};  ///< a unit quaternion, x, y, z, w
    std::array<double, 3> scale{1, 1, 1};
    bool endSite = false;   ///< marked as one by this program
    bool isJoint = false;   ///< of a skin
    bool animated = false;  ///< by any of the animations
    bool isThing = false;   ///< a mesh, a camera or a light
};

/// The motion of one property of a node.
struct GltfTrack
{
    int node = 0;
    GltfPath path = GltfPath::Translation;
    GltfInterpolation interpolation = GltfInterpolation::Linear;
    std::vector<float> times;   ///< seconds, ascending, at least one
    std::vector<float> values;  ///< of each key: with cubic splines in-tangent, value and out-tangent

    std::size_t Components() const { return path == GltfPath::Rotation ? 4 : 3; }
    /// The values of a key.
    const float* Key(std::size_t key) const
    {
        return &values[Components() * (IsCubic() ? 3 * key + 1 : key)];
    }
    /// Slopes a second on the left and the right of a key of a cubic spline.
    const float* InTangent(std::size_t key) const { return Key(key) - Components(); }
    const float* OutTangent(std::size_t key) const { return Key(key) + Components(); }
    bool IsCubic() const { return interpolation == GltfInterpolation::CubicSpline; }
};

struct GltfDocument
{
    std::vector<GltfNode> nodes;
    std::vector<std::string> animations;    ///< their names, which may be empty
    std::size_t taken = 0;                  ///< the animation that the tracks are of
    std::vector<GltfTrack> tracks;          ///< one at most for each property of a node
    std::optional<FrameRate> rate;          ///< that this program wrote into the file
    std::vector<std::string> shearedNodes;  ///< whose matrix is no more than nearly what a scene has
    std::vector<LeftOut> leftOut;           ///< what a scene does not have
};

/// What to call an animation: its name, or "animation 3" where it has none.
std::string AnimationName(const std::vector<std::string>& names, std::size_t index);

/// Reads a file of either form.
/// \param animation  see `GltfReading`.
GltfDocument ParseGltf(std::string_view bytes, const std::string& name,
                       const std::optional<std::string>& folder, const std::string& animation);

}  // namespace ymotion
