#include "ymotion/plots/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "ymotion/plots/plot_axis.h"
#include "ymotion/plots/plot_colours.h"
#include "ymotion/text/html.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr double kLeft = 78;
constexpr double kRightMargin = 40;
constexpr double kTitleHeight = 72;
constexpr double kLegendLine = 18;
constexpr double kLegendStroke = 25;  // with the gap in front of the name
constexpr double kLegendGap = 16;
constexpr double kWidestLegendName = 190;
constexpr double kUpperLabels = 22;  // where the time is written above the panels, too
constexpr double kPanelHead = 30;
constexpr double kPanelGap = 14;
constexpr double kFoot = 54;

// Pixels between keys from which on they are drawn as curves, marked, and given handles.
constexpr double kRoomForSegments = 0.5;
constexpr double kRoomForBezier = 3.0;
constexpr double kRoomForMarks = 6.0;
constexpr double kRoomForHandles = 22.0;

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

/// A coordinate: a hundredth of a pixel is finer than any screen. Far outside the paper it ends somewhere
/// beyond the edge, since renderers compute in single precision; slopes too steep for numbers end there too.
std::string Pixel(double value)
{
    constexpr double kBeyond = 1e5;
    std::string text =
        fmt::format("{:.2f}", std::isnan(value) ? kBeyond : std::clamp(value, -kBeyond, kBeyond));
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

/// Light intensity of a part of an sRGB colour, and back.
double Linear(double part)
{
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double Encoded(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

/// A colour as the paper takes it. The contrasts are those of WCAG 2, against the background, #fafafa.
struct Ink
{
    std::string line;   ///< the colour itself
    std::string text;   ///< a shade of it with a contrast of 4.5 : 1, in which letters are read
    bool pale = false;  ///< whether a line in it would hardly be seen

    /// For thin things of less than a line's weight.
    const std::string& Thin() const { return pale ? text : line; }
};

Ink InkOf(const YFCurveColor& colour)
{
    constexpr double kBackground = 0.956 + 0.05;
    constexpr double kReadable = kBackground / 4.5 - 0.05;
    constexpr double kVisible = kBackground / 1.7 - 0.05;
    const double red = Linear(static_cast<double>(colour.red));
    const double green = Linear(static_cast<double>(colour.green));
    const double blue = Linear(static_cast<double>(colour.blue));
    const double luminance = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    const double factor = luminance > kReadable ? kReadable / luminance : 1.0;
    const auto shade = [factor](double part) { return static_cast<float>(Encoded(factor * part)); };
    return {ColourText(colour), ColourText({shade(red), shade(green), shade(blue)}), luminance > kVisible};
}

double Seconds(YTime time)
{
    return time.GetSecondDouble();
}

/// Where the axis of a span ends: behind its start, also where both are the same to double precision.
double EndOfAxis(const TimeSpan& span)
{
    const double start = Seconds(span.start);
    return std::max(Seconds(span.stop), start + 1e-9 * std::max(1.0, std::abs(start)));
}

/// The curve of which the keys are marked.
PlotCurve MarkedOf(const PlotCurve& plotted)
{
    PlotCurve marked = plotted;
    if (plotted.keys == nullptr) return marked;
    marked.curve = plotted.keys;
    marked.sampled = false;
    return marked;
}

/// A range of key indices, last included; empty when last < first.
struct KeySlice
{
    int first = 0;
    int last = -1;

    int Count() const { return last - first + 1; }
};

/// The keys inside a span.
KeySlice KeysIn(const YFCurve& curve, const TimeSpan& span)
{
    int hint = 0;
    const double start = curve.KeyFind(span.start, &hint);
    const double stop = curve.KeyFind(span.stop, &hint);
    const int first = std::max(0, static_cast<int>(std::ceil(start)));
    const int last = std::min(curve.KeyGetCount() - 1, static_cast<int>(std::floor(stop)));
    return {first, last};
}

/// Pixels from key to key, on average.
double RoomBetween(const YFCurve& curve, const KeySlice& keys, const AxisScale& time)
{
    if (keys.Count() < 2) return 1000;
    const YTime covered = curve.KeyGetTime(keys.last) - curve.KeyGetTime(keys.first);
    return time.Length(Seconds(covered)) / (keys.Count() - 1);
}

/// Draws one curve into a panel.
class CurveDrawer
{
  public:
    CurveDrawer(std::string& out, const PlotCurve& plotted, const TimeSpan& span, const AxisScale& time,
                const AxisScale& value)
        : mOut(out),
          mPlotted(plotted),
          mCurve(*plotted.curve),
          mSpan(span),
          mTime(time),
          mValue(value),
          mInk(InkOf(plotted.colour)),
          mInside(KeysIn(mCurve, span)),
          mRoom(RoomBetween(mCurve, mInside, time))
    {
        // The segments that enter and leave the picture belong to it.
        mDrawn = {std::max(0, mInside.first - 1), std::min(mCurve.KeyGetCount() - 1, mInside.last + 1)};
    }

    void DrawLine()
    {
        DrawOutside();
        if (mDrawn.Count() < 2) return;
        mPath = fmt::format("M{} {}", X(mDrawn.first), Y(mDrawn.first));
        const bool dense = mRoom < kRoomForSegments;
        if (!dense) {
            for (int i = mDrawn.first; i < mDrawn.last; ++i) AppendSegment(i);
        } else {
            AppendOutline();
        }
        if (mInk.pale)
            mOut += fmt::format("<path class=\"edge\" stroke=\"{}\" d=\"{}\"/>\n", mInk.text, mPath);
        mOut += fmt::format("<path class=\"curve{}\" stroke=\"{}\" d=\"{}\"><title>{}</title></path>\n",
                            mPlotted.heavy               ? " heavy"
                            : dense && !mPlotted.sampled ? " dense"
                                                         : "",
                            mInk.line, mPath, HtmlEscaped(mPlotted.path));
    }

    void DrawHandles()
    {
        if (mPlotted.sampled || mRoom < kRoomForHandles) return;
        mOut += "<path class=\"handle\" d=\"";
        std::string ends;
        for (int i = mDrawn.first; i < mDrawn.last; ++i) {
            if (!IsCubic(i)) continue;
            const Handles handles = HandlesOf(i);
            mOut += fmt::format("M{} {}L{} {}M{} {}L{} {}", X(i), Y(i), handles.rightX, handles.rightY,
                                X(i + 1), Y(i + 1), handles.leftX, handles.leftY);
            // Squares of three pixels around the ends.
            ends += fmt::format("M{} {}m-1.5 -1.5h3v3h-3zM{} {}m-1.5 -1.5h3v3h-3z", handles.rightX,
                                handles.rightY, handles.leftX, handles.leftY);
        }
        mOut += fmt::format("\"/>\n<path class=\"end\" d=\"{}\"/>\n", ends);
    }

    void DrawMarks()
    {
        if (mPlotted.sampled || mRoom < kRoomForMarks) return;
        const bool roomy = mRoom >= kRoomForHandles;
        mOut += fmt::format("<g fill=\"{}\" stroke=\"{}\" stroke-width=\"1.4\">\n",
                            roomy ? "#fff" : mInk.Thin(), mInk.Thin());
        for (int i = mInside.first; i <= mInside.last; ++i) {
            mOut += fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"{}\"/>\n", X(i), Y(i), roomy ? "3" : "1.2");
        }
        mOut += "</g>\n";
    }

  private:
    std::string X(int key) const { return Pixel(mTime.At(Seconds(mCurve.KeyGetTime(key)))); }
    std::string Y(int key) const { return PixelOf(mCurve.KeyGetValue(key)); }
    std::string PixelOf(double value) const { return Pixel(mValue.At(value)); }

    double Duration(int key) const { return Seconds(mCurve.KeyGetTime(key + 1) - mCurve.KeyGetTime(key)); }
    bool IsCubic(int key) const { return mCurve.KeyGetInterpolation(key) == YFCURVE_INTERP_CUBIC; }

    /// The handles of the segment that starts at a key, as paper coordinates.
    struct Handles
    {
        std::string rightX, rightY, leftX, leftY;
    };

    Handles HandlesOf(int key) const
    {
        const double duration = Duration(key);
        const double right = duration * static_cast<double>(mCurve.KeyGetRightTangeantWeight(key));
        const double left = duration * static_cast<double>(mCurve.KeyGetLeftTangeantWeight(key + 1));
        const double rise = right * static_cast<double>(mCurve.KeyGetRightDerivative(key));
        const double fall = left * static_cast<double>(mCurve.KeyGetLeftDerivative(key + 1));
        return {Pixel(mTime.At(Seconds(mCurve.KeyGetTime(key)) + right)),
                PixelOf(static_cast<double>(mCurve.KeyGetValue(key)) + rise),
                Pixel(mTime.At(Seconds(mCurve.KeyGetTime(key + 1)) - left)),
                PixelOf(static_cast<double>(mCurve.KeyGetValue(key + 1)) - fall)};
    }

    void AppendSegment(int key)
    {
        if (mCurve.KeyGetInterpolation(key) == YFCURVE_INTERP_CONSTANT) {
            const bool next = mCurve.KeyGetConstantMode(key) == YFCURVE_CONSTANT_NEXT;
            mPath += next ? fmt::format("V{}H{}", Y(key + 1), X(key + 1))
                          : fmt::format("H{}V{}", X(key + 1), Y(key + 1));
            return;
        }
        if (IsCubic(key) && mTime.Length(Duration(key)) >= kRoomForBezier) {
            const Handles handles = HandlesOf(key);
            mPath +=
                fmt::format("C{} {} {} {} ", handles.rightX, handles.rightY, handles.leftX, handles.leftY);
        } else {
            mPath += 'L';
        }
        mPath += fmt::format("{} {}", X(key + 1), Y(key + 1));
    }

    /// The least and the greatest key of every pixel column, in their order: what thousands of keys look
    /// like anyway, without their weight.
    void AppendOutline()
    {
        for (int i = mDrawn.first; i <= mDrawn.last;) {
            const double column = std::floor(mTime.At(Seconds(mCurve.KeyGetTime(i))));
            int least = i;
            int greatest = i;
            for (; i <= mDrawn.last && std::floor(mTime.At(Seconds(mCurve.KeyGetTime(i)))) == column; ++i) {
                if (mCurve.KeyGetValue(i) < mCurve.KeyGetValue(least)) least = i;
                if (mCurve.KeyGetValue(i) > mCurve.KeyGetValue(greatest)) greatest = i;
            }
            const auto [first, second] = std::minmax(least, greatest);
            mPath += fmt::format("L{} {}", X(first), Y(first));
            if (second != first) mPath += fmt::format("L{} {}", X(second), Y(second));
        }
    }

    /// What extrapolation makes of the time before the first and after the last key.
    void DrawOutside()
    {
        const std::optional<TimeSpan> keys = KeySpan(mCurve);
        const YTime first = keys ? keys->start : mSpan.stop;
        if (mSpan.start < first) DrawSampled({mSpan.start, std::min(first, mSpan.stop)});
        if (keys && mSpan.stop > keys->stop) DrawSampled({std::max(keys->stop, mSpan.start), mSpan.stop});
    }

    void DrawSampled(const TimeSpan& span)
    {
        const double width = mTime.Length(Seconds(span.Length()));
        const auto steps = static_cast<std::int64_t>(std::max(1.0, std::ceil(width / 2.0)));
        std::string path;
        int hint = 0;
        for (std::int64_t i = 0; i <= steps; ++i) {
            const YTime time = span.At(static_cast<double>(i) / static_cast<double>(steps));
            path += fmt::format("{}{} {}", i == 0 ? 'M' : 'L', Pixel(mTime.At(Seconds(time))),
                                PixelOf(mCurve.Evaluate(time, &hint)));
        }
        mOut += fmt::format("<path class=\"outside\" stroke=\"{}\" d=\"{}\"/>\n", mInk.Thin(), path);
    }

    std::string& mOut;
    const PlotCurve& mPlotted;
    const YFCurve& mCurve;
    const TimeSpan& mSpan;
    const AxisScale& mTime;
    const AxisScale& mValue;
    Ink mInk;
    KeySlice mInside;  ///< keys in the picture
    KeySlice mDrawn;   ///< and one more on either side
    double mRoom;
    std::string mPath;
};

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

/// About as wide as a text becomes, rather too wide than too narrow: fonts differ.
double TextWidth(std::string_view text, double size)
{
    constexpr std::string_view kNarrow = "iIjlft.,:;|'![]() /";
    constexpr std::string_view kBroad = "mwMW@%";
    double width = 0;
    double wide = static_cast<double>(DisplayWidth(text));
    for (const char c : text) {
        const bool ascii = static_cast<unsigned char>(c) < 0x80;
        if (!ascii) continue;
        const bool capital = c >= 'A' && c <= 'Z';
        const double narrowOrUsual = kNarrow.find(c) != std::string_view::npos ? 0.42 : 0.66;
        width += kBroad.find(c) != std::string_view::npos ? 1.0 : capital ? 0.76 : narrowOrUsual;
        wide -= 1;
    }
    return size * (width + 0.75 * wide);
}

/// The text, without its beginning or its end where it would be wider.
std::string Fitted(const std::string& text, double size, double room, bool keepsEnd)
{
    if (TextWidth(text, size) <= room) return text;
    auto columns = std::min(DisplayWidth(text), static_cast<std::size_t>(std::max(0.0, room) / (0.4 * size)));
    std::string fitted;
    do {
        fitted = keepsEnd ? EndOf(text, columns) : ClippedTo(text, columns);
    } while (columns-- > 1 && TextWidth(fitted, size) > room);
    return fitted;
}

struct LegendEntry
{
    const PlotCurve* curve = nullptr;
    std::string name;
    double width = 0;
};

/// What stands above a panel.
struct PanelHead
{
    std::string title;
    std::string note;                     ///< beside the title
    std::vector<std::string> notesBelow;  ///< lines of it where there is no room beside the title
    std::vector<LegendEntry> legend;
    double legendWidth = 0;
    bool beside = true;           ///< the legend stands to the right of the title, or else in lines below it
    std::size_t legendLines = 0;  ///< below the title and the note

    double Height() const
    {
        return kPanelHead + kLegendLine * static_cast<double>(notesBelow.size() + legendLines);
    }
};

/// Two lines at most, of which the second is cut where it would be wider.
std::vector<std::string> TwoLines(const std::string& text, double size, double room)
{
    std::size_t split = 0;
    for (std::size_t blank = text.find(' '); blank != std::string::npos; blank = text.find(' ', blank + 1)) {
        if (TextWidth(text.substr(0, blank), size) <= room) split = blank;
    }
    if (split == 0 || TextWidth(text, size) <= room) return {Fitted(text, size, room, false)};
    return {text.substr(0, split), Fitted(text.substr(split + 1), size, room, false)};
}

PanelHead HeadOf(const PlotPanel& panel, double room)
{
    constexpr double kGap = 24;
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
        for (const PlotCurve& curve : panel.curves)
            CurveDrawer(mOut, curve, mPlot.span, mTime, value).DrawLine();
        for (const PlotCurve& curve : panel.curves)
            CurveDrawer(mOut, curve, mPlot.span, mTime, value).DrawHandles();
        mOut += "</g>\n";
        // Not clipped: the first and the last key stand on the frame.
        for (const PlotCurve& curve : panel.curves)
            CurveDrawer(mOut, MarkedOf(curve), mPlot.span, mTime, value).DrawMarks();
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
        for (const Tick& tick : NiceTicks(value.From(), value.To(), most, unit)) {
            const double y = value.At(tick.value);
            Line(tick.value == 0.0 ? "zero" : "grid", kLeft, y, mRight, y);
            Text(kLeft - 7, y + 4, "tick", "end", tick.label);
        }
        const double middle = top + mPanelHeight / 2;
        mOut += fmt::format(
            "<text x=\"20\" y=\"{0}\" transform=\"rotate(-90 20 {0})\" text-anchor=\"middle\">{1}"
            "</text>\n",
            Pixel(middle), HtmlEscaped(panel.axis));
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
