#include <new>

#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

ClipChange Shift(Scene& scene, const WrittenTime& written)
{
    const YTime shift = written.At(scene.rate);
    if (shift == YTIME_ZERO) return {false, "nothing to do: that is no shift"};
    const std::vector<YFCurve*> curves = CurvesToMove(scene);
    const TimeSpan span = SpanOf(scene);
    CheckReach(scene, (span.start + shift).GetSecondDouble());
    CheckReach(scene, (span.stop + shift).GetSecondDouble());
    for (YFCurve* curve : curves) {
        if (curve->KeyGetCount() > 0 && !curve->KeyMoveOf(false, shift, 0.0f)) throw std::bad_alloc();
    }
    return {true,
            fmt::format("starts at {} s instead of {} s", ShortSecondsText(span.start + shift),
                        ShortSecondsText(span.start)),
            {[shift](YTime time) { return time - shift; }, {}}};
}

}  // namespace

ClipWork ParseShift(const std::string& value, const ClipSettings&)
{
    const std::optional<WrittenTime> shift = ParseTime(value);
    if (!shift) throw Failure(fmt::format("shift: {} is not {}", Quoted(value), kTimeForms), kExitUsage);
    return [shift = *shift](Scene& scene) { return Shift(scene, shift); };
}

}  // namespace ymotion
