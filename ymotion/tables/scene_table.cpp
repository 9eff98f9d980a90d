#include "ymotion/tables/scene_table.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "ymotion/scene/curve_selection.h"
#include "ymotion/tables/value_table.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

std::unique_ptr<ValueTable> MakeTable(const Scene& scene, const SceneTable& table)
{
    if (table.world) {
        return MakeWorldTable(scene, table.patterns,
                              table.euler ? WorldRotation::Euler : WorldRotation::Quaternions);
    }
    const std::vector<SelectedCurve> curves = SelectCurves(scene, table.patterns);
    return table.layers ? MakeLayerTable(scene, curves) : MakeCurveTable(curves);
}

/// The first frame that is not before a time from 0 up.
std::int64_t FrameFrom(YTime time, FrameRate rate)
{
    const std::int64_t frame = LastFrame(time, rate);
    return TimeOfFrame(frame, rate) < time ? frame + 1 : frame;
}

/// The time with the other sign; the last time for the first one, whose negative does not exist.
YTime Mirrored(YTime time)
{
    return time == YTime(std::numeric_limits<std::int64_t>::min()) ? YTIME_INFINITE : -time;
}

/// The frames of a span, both included; none where the second is less than the first.
std::pair<std::int64_t, std::int64_t> FramesIn(const TimeSpan& span, FrameRate rate)
{
    const auto& [start, stop] = span;
    return {start < YTIME_ZERO ? -LastFrame(Mirrored(start), rate) : FrameFrom(start, rate),
            stop < YTIME_ZERO ? -FrameFrom(Mirrored(stop), rate) : LastFrame(stop, rate)};
}

}  // namespace

void WriteTable(const Scene& scene, const SceneTable& table, TableFormat format, Output& out)
{
    const std::unique_ptr<ValueTable> values = MakeTable(scene, table);
    const FrameRate rate = table.rate.value_or(scene.rate);
    TableWriter writer(out, format);
    writer.Begin(scene, rate, table.frames, values->Heads());
    std::vector<float> row;
    const auto write = [&](std::optional<std::int64_t> frame, YTime time) {
        StopIfAsked();
        row.clear();
        values->AppendRow(row, time);
        writer.Row(frame, time, row);
    };
    if (table.frames) {
        const auto [first, last] = FramesIn(table.span, rate);
        for (std::int64_t frame = first; frame <= last; ++frame) write(frame, TimeOfFrame(frame, rate));
    } else {
        const std::int64_t last = LastFrame(table.span.Length(), rate);
        for (std::int64_t i = 0; i <= last; ++i) write(std::nullopt, TimeOfFrame(table.span.start, i, rate));
    }
    writer.End();
}

}  // namespace ymotion
