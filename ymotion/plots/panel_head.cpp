#include "ymotion/plots/panel_head.h"

#include <utility>

#include "ymotion/plots/paper.h"

namespace ymotion {

PanelHead HeadOf(const PlotPanel& panel, double room)
{
    constexpr double kGap = 24;
    constexpr double kWidestLegendName = 190;
    PanelHead head;
    // Of the title the end is kept.
    head.title = Fitted(panel.title, 14.5, room, true);
    const double title = TextWidth(head.title, 14.5) + 6;
    if (title + TextWidth(panel.note, 13) <= room) {
        head.note = panel.note;
    } else {
        head.notesBelow = TwoLines(panel.note, 13, room);
    }
    for (const PlotCurve& curve : panel.curves) {
        if (curve.name.empty()) continue;
        LegendEntry entry{&curve, Fitted(curve.name, 12, kWidestLegendName, true), 0};
        entry.width = kLegendStroke + TextWidth(entry.name, 12) + kLegendGap;
        head.legendWidth += entry.width;
        head.legend.push_back(std::move(entry));
    }
    head.beside = title + TextWidth(head.note, 13) + kGap + head.legendWidth <= room;
    if (head.beside) return head;
    double x = room;
    for (const LegendEntry& entry : head.legend) {
        if (x + entry.width > room) {
            ++head.legendLines;
            x = 0;
        }
        x += entry.width;
    }
    return head;
}

}  // namespace ymotion
