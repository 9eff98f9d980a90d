#include "ymotion/plots/curve_drawing.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include "ymotion/plots/ink.h"
#include "ymotion/plots/paper.h"
#include "ymotion/text/html.h"

namespace ymotion {

KeySlice KeysIn(const YFCurve& curve, const TimeSpan& span)
{
    int hint = 0;
    const double start = curve.KeyFind(span.start, &hint);
    const double stop = curve.KeyFind(span.stop, &hint);
    const int first = std::max(0, static_cast<int>(std::ceil(start)));
    const int last = std::min(curve.KeyGetCount() - 1, static_cast<int>(std::floor(stop)));
    return {first, last};
}

double RoomBetween(const YFCurve& curve, const KeySlice& keys, const AxisScale& time)
{
    if (keys.Count() < 2) return 1000;
    const YTime covered = curve.KeyGetTime(keys.last) - curve.KeyGetTime(keys.first);
    return time.Length(Seconds(covered)) / (keys.Count() - 1);
}

PlotCurve MarkedOf(const PlotCurve& plotted)
{
    PlotCurve marked = plotted;
    if (plotted.keys == nullptr) return marked;
    marked.curve = plotted.keys;
    marked.sampled = false;
    return marked;
}

namespace {

// Pixels between keys from which on they are drawn segment by segment, and as curves.
constexpr double kRoomForSegments = 0.5;
constexpr double kRoomForBezier = 3.0;

/// Draws one curve into a panel.
class CurveDrawer
{
  public:
    CurveDrawer(std::string& out, const PlotCurve& plotted, const PanelScales& scales)
        : mOut(out),
          mPlotted(plotted),
          mCurve(*plotted.curve),
          mSpan(scales.span),
          mTime(scales.time),
          mValue(scales.value),
          mInk(InkOf(plotted.colour)),
          mInside(KeysIn(mCurve, scales.span)),
          mRoom(RoomBetween(mCurve, mInside, scales.time))
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

}  // namespace

void DrawLine(std::string& out, const PlotCurve& plotted, const PanelScales& scales)
{
    CurveDrawer(out, plotted, scales).DrawLine();
}

void DrawHandles(std::string& out, const PlotCurve& plotted, const PanelScales& scales)
{
    CurveDrawer(out, plotted, scales).DrawHandles();
}

void DrawMarks(std::string& out, const PlotCurve& plotted, const PanelScales& scales)
{
    CurveDrawer(out, plotted, scales).DrawMarks();
}

}  // namespace ymotion
