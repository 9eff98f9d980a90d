#include "ymotion/scene/skeleton.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "ymotion/text/ascii.h"

namespace ymotion {
namespace {

/// The kinds one after the other, the axes of each in their order.
constexpr std::array<const char*, kMostChannels> kChannelNames{"Xposition", "Yposition", "Zposition",
                                                               "Xrotation", "Yrotation", "Zrotation"};

}  // namespace

const char* ChannelName(Channel channel)
{
    const std::size_t first = channel.kind == ChannelKind::Translation ? 0 : 3;
    return kChannelNames[first + static_cast<std::size_t>(channel.axis)];
}

std::optional<Channel> FindChannel(std::string_view name)
{
    for (const ChannelKind kind : {ChannelKind::Translation, ChannelKind::Rotation}) {
        for (const Axis axis : {Axis::X, Axis::Y, Axis::Z}) {
            if (EqualsNoCase(name, ChannelName({kind, axis}))) return Channel{kind, axis};
        }
    }
    return std::nullopt;
}

std::size_t Joint::Count(ChannelKind kind) const
{
    return static_cast<std::size_t>(
        std::count_if(channels.begin(), channels.end(), [kind](Channel c) { return c.kind == kind; }));
}

bool Joint::Has(Channel channel) const
{
    return std::find(channels.begin(), channels.end(), channel) != channels.end();
}

std::size_t Skeleton::JointCount() const
{
    return static_cast<std::size_t>(
        std::count_if(joints.begin(), joints.end(), [](const Joint& joint) { return !joint.endSite; }));
}

std::size_t Skeleton::ChannelCount() const
{
    return std::accumulate(joints.begin(), joints.end(), std::size_t{0},
                           [](std::size_t sum, const Joint& joint) { return sum + joint.channels.size(); });
}

int RotationOrderOf(const Joint& joint)
{
    std::string order;
    for (auto channel = joint.channels.rbegin(); channel != joint.channels.rend(); ++channel) {
        if (channel->kind == ChannelKind::Rotation)
            order += kAxisNames[static_cast<std::size_t>(channel->axis)];
    }
    for (const char* axis : kAxisNames) {
        if (order.find(axis) == std::string::npos) order += axis;
    }
    const auto found = std::find(kRotationOrderNames.begin(), kRotationOrderNames.end(), order);
    return static_cast<int>(found - kRotationOrderNames.begin());
}

std::vector<Channel> ChannelsInOrder(const Joint& joint, int order, bool whole)
{
    std::vector<Channel> turns;
    const std::string_view letters = RotationOrderName(order);
    for (auto letter = letters.rbegin(); letter != letters.rend(); ++letter) {
        const Channel turn{ChannelKind::Rotation, static_cast<Axis>(*letter - 'X')};
        if (whole || joint.Has(turn)) turns.push_back(turn);
    }
    std::vector<Channel> channels;
    std::size_t places = joint.Count(ChannelKind::Rotation);
    auto next = turns.begin();
    for (const Channel channel : joint.channels) {
        if (channel.kind != ChannelKind::Rotation) {
            channels.push_back(channel);
            continue;
        }
        // Where there are more turns than places, the first place takes those that are left over.
        --places;
        while (turns.end() - next > static_cast<std::ptrdiff_t>(places)) channels.push_back(*next++);
    }
    channels.insert(channels.end(), next, turns.end());
    return channels;
}

const char* RotationOrderName(int order)
{
    return kRotationOrderNames[order >= 0 && order < 6 ? static_cast<std::size_t>(order) : 0];
}

}  // namespace ymotion
