#pragma once

#include <cmath>
#include <vector>

#include "tests/node/layer_model.h"
#include "ymotion/formats/bvh.h"

/// \file
/// Where joints are in the world, worked out from the numbers of a BVH file alone.

namespace plainkinematics {

using layermodel::Quaternion;
using Vector = layermodel::Triple;

inline Quaternion AxisTurn(ymotion::Axis axis, float degrees)
{
    Vector angles{};
    angles[static_cast<std::size_t>(axis)] = double{degrees};
    return layermodel::OfAngles(angles, 0);
}

inline Vector Turned(const Quaternion& turn, const Vector& v)
{
    const Quaternion turned = turn * Quaternion{v[0], v[1], v[2], 0.0} * layermodel::Reverse(turn);
    return {turned.x, turned.y, turned.z};
}

inline double Distance(const Vector& a, const Vector& b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

struct Pose
{
    Vector position;
    Quaternion turn;
};

/// Joints and end sites of one frame: channels apply in the order in which they stand, each in the frame that
/// the ones before it left.
inline std::vector<Pose> PosesFromFile(const ymotion::BvhMotion& motion, std::size_t frame)
{
    const float* number = motion.samples.data() + frame * motion.skeleton.ChannelCount();
    std::vector<Pose> poses;
    for (const ymotion::Joint& joint : motion.skeleton.joints) {
        Vector local{double{joint.offset[0]}, double{joint.offset[1]}, double{joint.offset[2]}};
        Quaternion turn;
        for (const ymotion::Channel& channel : joint.channels) {
            if (channel.kind == ymotion::ChannelKind::Translation) {
                local[static_cast<std::size_t>(channel.axis)] = double{*number++};
            } else {
                turn = turn * AxisTurn(channel.axis, *number++);
            }
        }
        if (joint.parent >= 0) {
            const Pose& parent = poses[static_cast<std::size_t>(joint.parent)];
            local = Turned(parent.turn, local);
            for (std::size_t i = 0; i < 3; ++i) local[i] += parent.position[i];
            turn = parent.turn * turn;
        }
        poses.push_back({local, turn});
    }
    return poses;
}

}  // namespace plainkinematics
