#include <new>

#include "host/bvh.h"
#include "host/storage_meter.h"

namespace host {
namespace {

std::vector<YTime> FrameTimes(const BvhMotion& motion)
{
    std::vector<YTime> times(static_cast<std::size_t>(motion.frameCount));
    for (std::size_t i = 0; i < times.size(); ++i) {
        times[i] = TimeOfFrame(static_cast<std::int64_t>(i), motion.rate);
    }
    return times;
}

/// \param column  the channel's first sample; the next frame's is `stride` further.
void AppendKeys(YFCurve& curve, const std::vector<YTime>& times, const float* column, std::size_t stride)
{
    const YFCurveModify bracket(curve, static_cast<int>(times.size()));
    for (const YTime time : times) {
        if (curve.KeyAppendFast(time, *column) < 0) throw std::bad_alloc();
        column += stride;
    }
}

}  // namespace

Scene SceneOfBvh(const BvhMotion& motion)
{
    Scene scene;
    scene.skeleton = motion.skeleton;
    scene.rate = motion.rate;
    scene.frameTime = motion.frameTime;
    MakeJointNodes(scene);
    if (motion.samples.empty()) return scene;
    StorageMeter meter;
    const std::vector<YTime> times = FrameTimes(motion);
    const std::size_t stride = motion.skeleton.ChannelCount();
    const float* column = motion.samples.data();
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        for (const Channel channel : scene.skeleton.joints[i].channels) {
            AppendKeys(*CurveOf(*scene.jointNodes[i], channel), times, column++, stride);
            scene.curveBytes = meter.Bytes();
        }
    }
    return scene;
}

}  // namespace host
