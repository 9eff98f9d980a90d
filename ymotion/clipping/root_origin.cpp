#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/text/number_text.h"

namespace ymotion {
namespace {

ClipChange MoveToOrigin(Scene& scene)
{
    CheckHasSkeleton(scene, "move to the origin");
    const YgeVector start = RootPoseAt(scene, SpanOf(scene).start).position;
    if (start.x == 0 && start.z == 0)
        return {false, "nothing to do: the root starts above the origin already"};
    MoveRoots(scene, {0, -start.x, -start.z});
    const auto move = [start](std::vector<Placement>& places, YTime) {
        for (Placement& place : places) {
            place.origin.x -= start.x;
            place.origin.z -= start.z;
        }
    };
    return {
        true,
        fmt::format("moves by {:.6g} along X and {:.6g} along Z{}", -start.x, -start.z, GroundNote(scene)),
        {{}, move}};
}

}  // namespace

ClipWork ParseRootOrigin(const std::string&, const ClipSettings&)
{
    return MoveToOrigin;
}

}  // namespace ymotion
