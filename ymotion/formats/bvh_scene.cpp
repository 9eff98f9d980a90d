#include <algorithm>
#include <new>

#include "ymotion/formats/bvh.h"
#include "ymotion/scene/storage_meter.h"

namespace ymotion {
namespace {

std::vector<YTime> FrameTimes(const BvhMotion& motion)
{
    std::vector<YTime> times(static_cast<std::size_t>(motion.frameCount));
    for (std::size_t i = 0; i < times.size(); ++i) {
        times[i] = TimeOfFrame(static_cast<std::int64_t>(i), motion.rate);
    }
    return times;
}

/// Channels for one go through the table: as many as a cache line of it holds, so that each line is fetched
/// once, and not for every channel anew.
constexpr std::size_t kColumnsAtOnce = 16;

/// Copies some channels from the table, one after the other.
void CopyColumns(const BvhMotion& motion, std::size_t first, std::size_t count, std::vector<float>& columns)
{
    const std::size_t stride = motion.skeleton.ChannelCount();
    const auto frames = static_cast<std::size_t>(motion.frameCount);
    columns.resize(count * frames);
    const float* row = motion.samples.data() + first;
    for (std::size_t frame = 0; frame < frames; ++frame, row += stride) {
        for (std::size_t i = 0; i < count; ++i) columns[i * frames + frame] = row[i];
    }
}

void AppendKeys(YFCurve& curve, const std::vector<YTime>& times, const float* values)
{
    const YFCurveModify bracket(curve, static_cast<int>(times.size()));
    for (const YTime time : times) {
        if (curve.KeyAppendFast(time, *values++) < 0) throw std::bad_alloc();
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
    const std::size_t channels = motion.skeleton.ChannelCount();
    std::vector<float> columns;
    std::size_t index = 0;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        for (const Channel channel : scene.skeleton.joints[i].channels) {
            const std::size_t column = index % kColumnsAtOnce;
            if (column == 0) CopyColumns(motion, index, std::min(kColumnsAtOnce, channels - index), columns);
            AppendKeys(*CurveOf(*scene.jointNodes[i], channel), times, &columns[column * times.size()]);
            ++index;
            scene.curveBytes = meter.Bytes();
        }
    }
    return scene;
}

}  // namespace ymotion
