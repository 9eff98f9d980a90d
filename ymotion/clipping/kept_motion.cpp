#include "ymotion/clipping/kept_motion.h"

#include <fmt/format.h>

#include "ymotion/compare/deviation.h"
#include "ymotion/compare/world_errors.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {

KeptMotion::KeptMotion(const Scene& scene)
{
    if (!scene.HasSkeleton()) return;
    mBefore.emplace(scene);
    mSpan = KeySpan(scene);
}

std::string KeptMotion::DistanceText(const Scene& scene)
{
    if (!mBefore || !mSpan) return {};
    WorldPoses after(scene);
    const std::int64_t step = FramesBetweenErrors(*mSpan, scene.rate);
    const WorldErrors errors =
        MeasureWorld(scene.skeleton, *mBefore, after, TimesToCompare(*mSpan, scene.rate, step, true));
    const JointError* worst = errors.Worst();
    if (worst == nullptr || worst->largest == 0) return "; all joints are where they were";
    return fmt::format("; joints are up to {:.2g} from where they were ({} at {} s), {:.2g} on average",
                       worst->largest, Quoted(worst->name), ShortSecondsText(worst->when), errors.Mean());
}

}  // namespace ymotion
