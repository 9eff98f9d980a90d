#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// The joints of a character at rest, as motion files describe them.

namespace ymotion {

enum class Axis : std::uint8_t
{
    X,
    Y,
    Z
};

inline constexpr std::array<Axis, 3> kAxes{Axis::X, Axis::Y, Axis::Z};
inline constexpr std::array<const char*, 3> kAxisNames{"X", "Y", "Z"};

enum class ChannelKind : std::uint8_t
{
    Translation,
    Rotation
};

/// One number that a file gives for a joint in every frame.
struct Channel
{
    ChannelKind kind = ChannelKind::Rotation;
    Axis axis = Axis::X;

    friend bool operator==(const Channel&, const Channel&) = default;
};

/// The channels that a joint can have.
inline constexpr std::size_t kMostChannels = 6;

/// "Xposition" and the like, as BVH and scene files call them.
const char* ChannelName(Channel channel);

/// The channel of that name in any case; nothing for other words.
std::optional<Channel> FindChannel(std::string_view name);

struct Joint
{
    std::string name;               ///< may be empty for an end site
    int parent = -1;                ///< index of a joint before this one; -1 for a root
    bool endSite = false;           ///< where the chain ends: has an offset, never moves, has no children
    std::array<float, 3> offset{};  ///< from the parent at rest, in the parent's axes
    std::vector<Channel> channels;  ///< in the file's order, none twice

    std::size_t Count(ChannelKind kind) const;
    bool Has(ChannelKind kind) const { return Count(kind) > 0; }
    bool Has(Channel channel) const;

    friend bool operator==(const Joint&, const Joint&) = default;
};

/// Joints and end sites, parents before children, in the order of the file; there may be several roots.
struct Skeleton
{
    std::vector<Joint> joints;

    std::size_t JointCount() const;
    std::size_t EndSiteCount() const { return joints.size() - JointCount(); }
    std::size_t ChannelCount() const;
};

/// The rotation order that the order of a joint's rotation channels means: the channel that is written
/// last turns a vector first. Axes without a channel come last.
/// \return  0 to 5: XYZ, XZY, YZX, YXZ, ZXY, ZYX, the first letter turning a vector first.
int RotationOrderOf(const Joint& joint);

/// The channels of a joint with those of its rotation in the places of before, but so that they mean an order.
/// \param whole  with all three, the new ones in front of its first one, or behind all others where it has none
std::vector<Channel> ChannelsInOrder(const Joint& joint, int order, bool whole);

/// Of the orders 0 to 5.
inline constexpr std::array<const char*, 6> kRotationOrderNames{"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX"};

/// "XYZ" for 0; orders outside 0 to 5 count as 0.
const char* RotationOrderName(int order);

}  // namespace ymotion
