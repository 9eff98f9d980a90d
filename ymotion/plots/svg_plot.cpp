#include "ymotion/plots/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "ymotion/plots/curve_drawing.h"
#include "ymotion/plots/ink.h"
#include "ymotion/plots/panel_head.h"
#include "ymotion/plots/paper.h"
#include "ymotion/plots/plot_axis.h"
#include "ymotion/text/html.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr double kLeft = 78;
constexpr double kRightMargin = 40;
constexpr double kTitleHeight = 72;
constexpr double kUpperLabels = 22;  // where the time is written above the panels, too
constexpr double kPanelGap = 14;
constexpr double kFoot = 54;

constexpr std::string_view kStyle =
    "text{font-family:system-ui,-apple-system,'Segoe UI',Roboto,'DejaVu "
    "Sans',Arial,sans-serif;font-size:12px;"
    "fill:#333}"
    ".title{font-size:18px;font-weight:600;fill:#111}"
    ".sub{font-size:12.5px;fill:#666}"
    ".head{font-size:13px;font-weight:600;fill:#222}"
    ".note{font-weight:400;fill:#666}"
    ".tick{font-size:11px;fill:#666}"
    ".frame{fill:#fff;stroke:#c9c9c9}"
    ".grid{stroke:#ececec;stroke-width:1}"
    ".zero{stroke:#bdbdbd;stroke-width:1}"
    ".curve{fill:none;stroke-width:1.8;stroke-linejoin:round;stroke-linecap:round}"
    ".edge{fill:none;stroke-width:3.6;stroke-linejoin:round;stroke-linecap:round}"
    ".dense{stroke-width:1;opacity:.75}"
    ".heavy{stroke-width:3.2;opacity:.55}"
    ".outside{fill:none;stroke-width:1.2;stroke-dasharray:4 4;opacity:.7}"
    ".handle{fill:none;stroke:#666;stroke-width:.8;opacity:.6}"
    ".end{fill:#666}";

/// Where the axis of a span ends: behind its start, also where both are the same to double precision.
double EndOfAxis(const TimeSpan& span)
{
    const double start = Seconds(span.start);
    return std::max(Seconds(span.stop), start + 1e-9 * std::max(1.0, std::abs(start)));
}

struct Extent
{
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();

    void Add(double value)
    {
        if (!std::isfinite(value)) return;
        least = std::min(least, value);
        greatest = std::max(greatest, value);
    }
};

/// The values that the curves of a panel take in the span.
Extent ValuesOf(const PlotPanel& panel, const TimeSpan& span)
{
    constexpr int kSamples = 500;
    std::vector<YTime> times;
    for (int i = 0; i <= kSamples; ++i) times.push_back(span.At(static_cast<double>(i) / kSamples));
    std::vector<float> values(times.size());
    Extent extent;
    for (const PlotCurve& plotted : panel.curves) {
        const KeySlice keys = KeysIn(*plotted.curve, span);
        for (int i = keys.first; i <= keys.last; ++i) extent.Add(plotted.curve->KeyGetValue(i));
        plotted.curve->Evaluate(times, values);
        for (const float value : values) extent.Add(value);
    }
    return extent;
}

/// What is too little to be called motion: rounding errors among it.
double SmallestMotion(const Extent& extent)
{
    return std::max(1e-3, 1e-4 * std::max(std::abs(extent.least), std::abs(extent.greatest)));
}

/// The values of a panel and some air.
Extent ExtentOf(const PlotPanel& panel, const TimeSpan& span)
{
    Extent extent = ValuesOf(panel, span);
    if (extent.least > extent.greatest) return {0.0, 1.0};
    if (panel.fromZero) extent.Add(0.0);
    // A curve that stands still is drawn as a line in the middle, not as its rounding errors.
    const double smallest = SmallestMotion(extent);
    const double air = 0.07 * (extent.greatest - extent.least) +
                       std::max(0.0, 0.5 * (smallest - (extent.greatest - extent.least)));
    return {extent.least - air, extent.greatest + air};
}

double PanelHeight(std::size_t panels)
{
    if (panels <= 1) return 400;
    if (panels == 2) return 260;
    return panels <= 6 ? 165 : 130;
}

/// Lays the picture out and draws everything around the curves.
class Painter
{
  public:
    explicit Painter(const Plot& plot)
        : mPlot(plot),
          mPanelHeight(PanelHeight(plot.panels.size())),
          mHasUpperLabels(plot.panels.size() > 6),
          mTitleHeight(plot.headless ? 0 : kTitleHeight),
          mRight(plot.width - kRightMargin),
          mTop(mTitleHeight + (mHasUpperLabels ? kUpperLabels : 0)),
          mTime(Seconds(plot.span.start), EndOfAxis(plot.span), kLeft, mRight),
          mTimeTicks(NiceTicks(mTime.From(), mTime.To(), std::max(5, static_cast<int>((mRight - kLeft) / 80)),
                               AxisUnit::Decimal))
    {
        for (const PlotPanel& panel : plot.panels) mHeads.push_back(HeadOf(panel, mRight - kLeft));
    }

    std::string Paint()
    {
        double height = mTop - kPanelGap + kFoot;
        for (const PanelHead& head : mHeads) height += head.Height() + mPanelHeight + kPanelGap;
        Begin(height);
        double top = mTop;
        for (std::size_t i = 0; i < mPlot.panels.size(); ++i) {
            StopIfAsked();
            PaintHead(mHeads[i], top + kPanelHead - 9);
            PaintPanel(mPlot.panels[i], i, top + mHeads[i].Height());
            top += mHeads[i].Height() + mPanelHeight + kPanelGap;
        }
        PaintTimeLabels(top - kPanelGap);
        mOut += "</svg>\n";
        return std::move(mOut);
    }

  private:
    void Begin(double height)
    {
        mOut += fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
            "role=\"img\">\n<title>{2}</title>\n<desc>{3}</desc>\n<style>{4}</style>\n"
            "<rect width=\"100%\" height=\"100%\" fill=\"#fafafa\"/>\n",
            Pixel(mPlot.width), Pixel(height), HtmlEscaped(mPlot.title), HtmlEscaped(mPlot.subtitle), kStyle);
        if (mPlot.headless) return;
        const double room = mPlot.width - kLeft;
        Text(kLeft, 32, "title", "start", Fitted(mPlot.title, 20, room, false));
        const std::string note = fmt::format("{}; {}", mPlot.subtitle, MarksNote());
        Text(kLeft, 53, "sub", "start", Fitted(note, 12.5, room, false));
    }

    /// What stands for keys in this picture.
    std::string_view MarksNote() const
    {
        double most = 0;
        bool sampled = false;
        for (const PlotPanel& panel : mPlot.panels) {
            for (const PlotCurve& plotted : panel.curves) {
                sampled = sampled || plotted.sampled;
                const PlotCurve marked = MarkedOf(plotted);
                if (marked.sampled) continue;
                const KeySlice keys = KeysIn(*marked.curve, mPlot.span);
                if (keys.Count() > 0) most = std::max(most, RoomBetween(*marked.curve, keys, mTime));
            }
        }
        if (most == 0) return sampled ? "what plays, without keys" : "no keys here";
        if (most < kRoomForMarks) return "keys are too close to be marked, a shorter span shows them";
        return most < kRoomForHandles ? "dots are keys"
                                      : "circles are keys, squares the handles of their tangents";
    }

    void Text(double x, double y, std::string_view style, std::string_view anchor, std::string_view text)
    {
        mOut += fmt::format("<text x=\"{}\" y=\"{}\" class=\"{}\" text-anchor=\"{}\">{}</text>\n", Pixel(x),
                            Pixel(y), style, anchor, HtmlEscaped(text));
    }

    void Line(std::string_view style, double x1, double y1, double x2, double y2)
    {
        mOut += fmt::format("<line class=\"{}\" x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"/>\n", style,
                            Pixel(x1), Pixel(y1), Pixel(x2), Pixel(y2));
    }

    /// A level line of a given thickness, as legends show it.
    void Stroke(double x1, double x2, double y, int width, std::string_view colour)
    {
        mOut +=
            fmt::format("<line x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\" stroke=\"{}\" stroke-width=\"{}\"/>\n",
                        Pixel(x1), Pixel(y), Pixel(x2), Pixel(y), colour, width);
    }

    void PaintPanel(const PlotPanel& panel, std::size_t index, double top)
    {
        const Extent extent = ExtentOf(panel, mPlot.span);
        const AxisScale value(extent.least, extent.greatest, top + mPanelHeight, top);
        mOut += fmt::format("<rect class=\"frame\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>\n",
                            Pixel(kLeft), Pixel(top), Pixel(mRight - kLeft), Pixel(mPanelHeight));
        PaintGrid(panel, value, top);
        // Pictures of other widths may be on the same page.
        const std::string id = fmt::format("{}-{}", Pixel(mPlot.width), index);
        mOut += fmt::format(
            "<clipPath id=\"panel{0}\"><rect x=\"{1}\" y=\"{2}\" width=\"{3}\" height=\"{4}\"/></clipPath>\n"
            "<g clip-path=\"url(#panel{0})\">\n",
            id, Pixel(kLeft), Pixel(top), Pixel(mRight - kLeft), Pixel(mPanelHeight));
        const PanelScales scales{mPlot.span, mTime, value};
        for (const PlotCurve& curve : panel.curves) DrawLine(mOut, curve, scales);
        for (const PlotCurve& curve : panel.curves) DrawHandles(mOut, curve, scales);
        mOut += "</g>\n";
        // Not clipped: the first and the last key stand on the frame.
        for (const PlotCurve& curve : panel.curves) DrawMarks(mOut, MarkedOf(curve), scales);
        PaintEndLabels(panel, value, top);
    }

    void PaintHead(const PanelHead& head, double y)
    {
        mOut +=
            fmt::format("<text x=\"{}\" y=\"{}\" class=\"head\">{} <tspan class=\"note\">{}</tspan></text>\n",
                        Pixel(kLeft), Pixel(y), HtmlEscaped(head.title), HtmlEscaped(head.note));
        double lower = y;
        for (const std::string& line : head.notesBelow) {
            lower += kLegendLine;
            Text(kLeft, lower, "note", "start", line);
        }
        if (!head.beside) y = lower;
        double x = head.beside ? mRight - head.legendWidth + kLegendGap : mRight;
        for (const LegendEntry& entry : head.legend) {
            if (!head.beside && x + entry.width > mRight) {
                x = kLeft;
                y += kLegendLine;
            }
            const Ink ink = InkOf(entry.curve->colour);
            if (ink.pale) Stroke(x - 1, x + 19, y - 4, 5, ink.text);
            Stroke(x, x + 18, y - 4, 3, ink.line);
            Text(x + kLegendStroke, y, "note", "start", entry.name);
            x += entry.width;
        }
    }

    void PaintGrid(const PlotPanel& panel, const AxisScale& value, double top)
    {
        const AxisUnit unit = panel.degrees ? AxisUnit::Degrees : AxisUnit::Decimal;
        for (const Tick& tick : mTimeTicks) {
            const double x = mTime.At(tick.value);
            Line("grid", x, top, x, top + mPanelHeight);
        }
        const int most = std::min(10, static_cast<int>(mPanelHeight / 23));
        double widest = 0;
        for (const Tick& tick : NiceTicks(value.From(), value.To(), most, unit)) {
            widest = std::max(widest, TextWidth(tick.label, 11));
            const double y = value.At(tick.value);
            Line(tick.value == 0.0 ? "zero" : "grid", kLeft, y, mRight, y);
            Text(kLeft - 7, y + 4, "tick", "end", tick.label);
        }
        const double middle = top + mPanelHeight / 2;
        const double beside = std::clamp(kLeft - 13 - widest, 11.0, 20.0);
        mOut += fmt::format(
            "<text x=\"{2}\" y=\"{0}\" transform=\"rotate(-90 {2} {0})\" text-anchor=\"middle\">{1}"
            "</text>\n",
            Pixel(middle), HtmlEscaped(panel.axis), Pixel(beside));
    }

    /// The names of the curves where they leave the panel, pushed apart where they meet.
    void PaintEndLabels(const PlotPanel& panel, const AxisScale& value, double top)
    {
        constexpr double kLine = 12;
        constexpr std::size_t kWidestEndLabel = 4;
        std::vector<std::pair<double, const PlotCurve*>> labels;
        for (const PlotCurve& curve : panel.curves) {
            int hint = 0;
            const double y = value.At(curve.curve->Evaluate(mPlot.span.stop, &hint));
            labels.emplace_back(std::clamp(y, top + 5, top + mPanelHeight - 5), &curve);
        }
        const bool wide = std::any_of(panel.curves.begin(), panel.curves.end(), [](const PlotCurve& curve) {
            return DisplayWidth(curve.name) > kWidestEndLabel;
        });
        if (wide || static_cast<double>(labels.size()) * kLine > mPanelHeight) return;
        std::sort(labels.begin(), labels.end());
        double lowest = top + mPanelHeight - 5;
        for (std::size_t i = 1; i < labels.size(); ++i) {
            labels[i].first = std::max(labels[i].first, labels[i - 1].first + kLine);
        }
        for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
            label->first = std::min(label->first, lowest);
            lowest = label->first - kLine;
        }
        for (const auto& [y, curve] : labels) {
            mOut += fmt::format("<text x=\"{}\" y=\"{}\" style=\"fill:{};font-weight:600\">{}</text>\n",
                                Pixel(mRight + 6), Pixel(y + 4), InkOf(curve->colour).text,
                                HtmlEscaped(curve->name));
        }
    }

    void PaintTimeLabels(double bottom)
    {
        for (const Tick& tick : mTimeTicks) {
            const double x = mTime.At(tick.value);
            Text(x, bottom + 17, "tick", "middle", tick.label);
            if (mHasUpperLabels) Text(x, mTitleHeight + 8, "tick", "middle", tick.label);
        }
        Text((kLeft + mRight) / 2, bottom + 39, "", "middle", "time (seconds)");
    }

    const Plot& mPlot;
    double mPanelHeight;
    bool mHasUpperLabels;  ///< in tall pictures
    double mTitleHeight;
    double mRight;  ///< end of the time axis
    double mTop;    ///< of the first panel's head
    AxisScale mTime;
    std::vector<Tick> mTimeTicks;
    std::vector<PanelHead> mHeads;
    std::string mOut;
};

}  // namespace

bool StandsStill(const PlotPanel& panel, const TimeSpan& span)
{
    const Extent extent = ValuesOf(panel, span);
    return !(extent.greatest - extent.least >= SmallestMotion(extent));
}

std::string SvgOf(const Plot& plot)
{
    return Painter(plot).Paint();
}

}  // namespace ymotion
