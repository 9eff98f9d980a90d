#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <regex>
#include <sstream>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/plots/plot_axis.h"
#include "ymotion/plots/plot_choice.h"
#include "ymotion/plots/plot_colours.h"
#include "ymotion/plots/svg_plot.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace {

using Point = std::complex<double>;

/// The attribute of the first element behind a marker.
std::string AttributeBehind(const std::string& svg, std::string_view marker, std::string_view name)
{
    const std::size_t place = svg.find(marker);
    if (place == std::string::npos) return "";
    const std::string key = " " + std::string(name) + "=\"";
    const std::size_t begin = svg.find(key, place) + key.size();
    return svg.substr(begin, svg.find('"', begin) - begin);
}

std::vector<double> Numbers(const std::string& text)
{
    std::istringstream words(std::regex_replace(text, std::regex("[A-Za-z]"), " "));
    std::vector<double> numbers;
    for (double number = 0; words >> number;) numbers.push_back(number);
    return numbers;
}

/// A point of a Bezier segment, by repeated halving of the distances.
Point OnBezier(std::array<Point, 4> p, double t)
{
    for (std::size_t n = 3; n > 0; --n) {
        for (std::size_t i = 0; i < n; ++i) p[i] += t * (p[i + 1] - p[i]);
    }
    return p[0];
}

Plot OneCurve(const YFCurve& curve, double start, double stop)
{
    Plot plot;
    plot.title = "title";
    plot.span = {YTime::FromSeconds(start), YTime::FromSeconds(stop)};
    PlotPanel panel;
    panel.curves.push_back({&curve, "X", "a/X", {}});
    plot.panels.push_back(panel);
    return plot;
}

std::size_t CountOf(const std::string& text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
    return count;
}

Scene ManyJoints()
{
    std::string text =
        "HIERARCHY ROOT Hips { OFFSET 0 0 0 CHANNELS 4 Xposition Yposition Zposition Yrotation\n";
    for (int i = 0; i < 6; ++i)
        text += "JOINT Joint" + std::to_string(i) + "\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation }\n";
    // Joint 5 turns most and joint 0 least; the hips pass 180 degrees, which is a turn by 2.
    text += "} MOTION Frames: 2 Frame Time: 0.1\n0 0 0 179 0 0 0 0 0 0\n1 1 1 -179 50 100 150 155 160 165\n";
    return SceneOfText(text);
}

}  // namespace

TEST(PlotAxis, TicksAreRoundFewAndInside)
{
    const auto labels = [](double from, double to, int most, AxisUnit unit) {
        std::string text;
        for (const auto& tick : NiceTicks(from, to, most, unit)) text += tick.label + " ";
        return text;
    };
    EXPECT_EQ(labels(0, 1, 6, AxisUnit::Decimal), "0.0 0.2 0.4 0.6 0.8 1.0 ");
    EXPECT_EQ(labels(-100, 200, 7, AxisUnit::Decimal), "-100 -50 0 50 100 150 200 ");
    EXPECT_EQ(labels(-180, 180, 5, AxisUnit::Degrees), "-180 -90 0 90 180 ");
    EXPECT_EQ(labels(-20, 25, 4, AxisUnit::Degrees), "-15 0 15 ");
    EXPECT_EQ(labels(-0.004, 0.011, 4, AxisUnit::Decimal), "0.000 0.005 0.010 ");

    test::RandomEngine engine;
    for (int i = 0; i < 2000; ++i) {
        const double from =
            std::ldexp(static_cast<double>(engine() % 2001) - 1000, static_cast<int>(engine() % 40) - 20);
        const double width =
            std::ldexp(1.0 + static_cast<double>(engine() % 1000), static_cast<int>(engine() % 40) - 20);
        const double to = from + std::max(width, 1e-6 * std::abs(from));
        const int most = 2 + static_cast<int>(engine() % 12);
        const auto ticks =
            NiceTicks(from, to, most, engine() % 2 == 0 ? AxisUnit::Decimal : AxisUnit::Degrees);
        EXPECT_LE(ticks.size(), static_cast<std::size_t>(most));
        for (std::size_t k = 0; k < ticks.size(); ++k) {
            EXPECT_GE(ticks[k].value, from - 1e-5 * (to - from));
            EXPECT_LE(ticks[k].value, to + 1e-5 * (to - from));
            if (k > 0) {
                EXPECT_NE(ticks[k].label, ticks[k - 1].label);
            }
        }
    }
}

TEST(SvgPlot, SegmentsAreDrawnAsTheCurveEvaluates)
{
    // Two segments: user tangents, then user tangents with weights.
    const YFCurvePtr curve(YFCurveCreate());
    curve->KeySet(0, YTIME_ZERO, 1.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 40.0f, -10.0f);
    curve->KeySet(1, YTIME_ONE_SECOND, 5.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 20.0f, 30.0f,
                  YFCURVE_WEIGHT_ALL, 0.8f, 0.1f);
    curve->KeySet(2, YTIME_ONE_SECOND * 3, -3.0f);
    const std::string svg = SvgOf(OneCurve(*curve, 0, 3));
    EXPECT_EQ(XmlFault(svg), "");
    const std::vector<double> n = Numbers(AttributeBehind(svg, "class=\"curve\"", "d"));
    ASSERT_EQ(n.size(), 14u);  // M, then two C
    // Where the three keys are says how the paper is laid out.
    const double pixelsPerSecond = (n[12] - n[0]) / 3.0;
    const double pixelsPerUnit = (n[13] - n[1]) / -4.0;
    EXPECT_NEAR(n[6], n[0] + pixelsPerSecond, 0.02);
    EXPECT_NEAR(n[7], n[1] + 4.0 * pixelsPerUnit, 0.02);
    for (std::size_t segment = 0; segment < 2; ++segment) {
        const double* p = n.data() + 6 * segment;
        for (double t = 0.05; t < 1; t += 0.05) {
            const Point drawn = OnBezier({{{p[0], p[1]}, {p[2], p[3]}, {p[4], p[5]}, {p[6], p[7]}}}, t);
            const double seconds = (drawn.real() - n[0]) / pixelsPerSecond;
            const double expected =
                n[1] + (curve->Evaluate(YTime::FromSeconds(seconds)) - 1.0) * pixelsPerUnit;
            EXPECT_NEAR(drawn.imag(), expected, 0.15) << "segment " << segment << " at " << seconds;
        }
    }
    // Three marks, and the two handles of each segment.
    EXPECT_EQ(CountOf(svg, "r=\"3\""), 3u);
    EXPECT_EQ(CountOf(svg, "h3v3h-3z"), 4u);
    // Ticks stand where their values are: 0 to 3 s, and the values that the curve takes.
    const std::regex tick("x=\"([^\"]*)\" y=\"([^\"]*)\" class=\"tick\" text-anchor=\"(\\w+)\">([^<]*)<");
    int times = 0, values = 0;
    for (std::sregex_iterator at(svg.begin(), svg.end(), tick); at != std::sregex_iterator(); ++at) {
        const double label = std::stod((*at)[4]);
        const bool isTime = (*at)[3] == "middle";
        ++(isTime ? times : values);
        if (isTime) {
            EXPECT_NEAR(std::stod((*at)[1]), n[0] + label * pixelsPerSecond, 0.02) << label;
        } else {
            EXPECT_NEAR(std::stod((*at)[2]) - 4.0, n[1] + (label - 1.0) * pixelsPerUnit, 0.02) << label;
        }
    }
    EXPECT_GT(times, 3);
    EXPECT_GT(values, 3);
}

TEST(SvgPlot, StepsLinesAndTheTimeOutsideTheKeys)
{
    const YFCurvePtr curve(YFCurveCreate());
    for (const auto& [second, value] : {std::pair{1, 0.0f}, {2, 1.0f}, {3, 2.0f}, {4, 0.0f}}) {
        YFCurveKey key;
        key.Set(YTime::FromSeconds(second), value,
                second < 3 ? YFCURVE_INTERP_CONSTANT : YFCURVE_INTERP_LINEAR, 0);
        if (second == 2) key.SetConstantMode(YFCURVE_CONSTANT_NEXT);
        curve->KeyAdd(key.GetTime(), key);
    }
    const std::string svg = SvgOf(OneCurve(*curve, 0, 5));
    const std::string path = AttributeBehind(svg, "class=\"curve\"", "d");
    EXPECT_EQ(std::regex_replace(path, std::regex("[^A-Za-z]"), ""), "MHVVHL");
    EXPECT_EQ(CountOf(svg, "class=\"outside\""), 2u);
    EXPECT_EQ(CountOf(svg, "h3v3h-3z"), 0u);
    // In a window inside one segment there is that segment and no key.
    const std::string inside = SvgOf(OneCurve(*curve, 3.2, 3.8));
    EXPECT_EQ(CountOf(inside, "class=\"curve\""), 1u);
    EXPECT_EQ(CountOf(inside, "<circle"), 0u);
    // Beyond all keys there is only what extrapolation gives.
    EXPECT_EQ(CountOf(SvgOf(OneCurve(*curve, 6, 7)), "class=\"curve\""), 0u);
    EXPECT_EQ(CountOf(SvgOf(OneCurve(*curve, 6, 7)), "class=\"outside\""), 1u);
}

TEST(SvgPlot, DenseCurvesKeepTheirPeaksAndStaySmall)
{
    const YFCurvePtr curve(YFCurveCreate());
    {
        const YFCurveModify bracket(*curve, 200000);
        for (int i = 0; i < 200000; ++i) {
            const float spike = i == 123456 ? 50.0f : i == 54321 ? -50.0f : 0.0f;
            curve->KeyAppendFast(TimeOfFrame(i, {1000, 1}), std::sin(static_cast<float>(i) * 0.1f) + spike);
        }
    }
    const std::string svg = SvgOf(OneCurve(*curve, 0, 199.999));
    EXPECT_LT(svg.size(), 100000u);
    EXPECT_EQ(CountOf(svg, "<circle"), 0u);
    const std::vector<double> n = Numbers(AttributeBehind(svg, "class=\"curve dense\"", "d"));
    double top = 1e9;
    double bottom = -1e9;
    for (std::size_t i = 1; i < n.size(); i += 2) {
        top = std::min(top, n[i]);
        bottom = std::max(bottom, n[i]);
    }
    // The spikes reach over most of the panel, which is 400 high with a little air.
    EXPECT_GT(bottom - top, 330.0);
}

TEST(SvgPlot, NamesFromFilesCannotBreakTheDocument)
{
    const Scene scene = SceneOfText(
        "HIERARCHY ROOT <b>&\"' \xFC]]>\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation } MOTION Frames: 2 Frame Time: "
        "1\n1\n2\n");
    const std::string svg = SvgOf(MakePlot(scene, {"*"}, {YTime(0), YTime::FromSeconds(1)}));
    EXPECT_EQ(XmlFault(svg), "");
    EXPECT_TRUE(Holds(svg, "&lt;b&gt;&amp;"));
    EXPECT_NE(XmlFault("<a>&</a>"), "");
}

TEST(PlotChoice, TakesTheRootAndWhatTurnsMost)
{
    const Scene scene = ManyJoints();
    const TimeSpan span{YTime(0), YTime::FromSeconds(0.1)};
    const Plot plot = MakePlot(scene, {}, span);
    ASSERT_EQ(plot.panels.size(), 5u);
    EXPECT_EQ(plot.panels[0].axis, "position (units)");
    EXPECT_EQ(plot.panels[0].curves.size(), 3u);
    EXPECT_EQ(plot.panels[1].title, "Joint5");
    EXPECT_EQ(plot.panels[4].title, "Joint2");
    EXPECT_TRUE(plot.panels[1].degrees);
    // Axes without keys are left out.
    EXPECT_EQ(plot.panels[1].curves.size(), 1u);
    EXPECT_EQ(plot.title, "test.bvh: translation of Hips and the 4 joints that turn most");
    // What is asked for comes in the order of the tree.
    const Plot asked = MakePlot(scene, {"Joint4", "Hips"}, span);
    ASSERT_EQ(asked.panels.size(), 3u);
    EXPECT_EQ(asked.panels[2].title, "Joint4");
    EXPECT_THROW(MakePlot(scene, {"Joint4/*/Y"}, span), Failure);
    EXPECT_EQ(XmlFault(SvgOf(asked)), "");
}

TEST(PlotColours, OfTheCommandLineThenOfTheCurveThenOfTheComponent)
{
    const auto text = [](const char* word) {
        const auto colour = ParseColour(word);
        return colour ? ColourText(*colour) : "none";
    };
    EXPECT_EQ(text("#d55e00") + text("#F80") + text("Orange"), "#D55E00#FF8800#FFA500");
    for (const char* word : {"", "#", "#12", "#1234", "#12345g", "#1234567", "D55E00", "red "})
        EXPECT_EQ(text(word), "none") << word;

    const Scene scene = ManyJoints();
    const YFCurveNode& translation = *PropertyOf(*scene.root->Get(0), ChannelKind::Translation);
    const float ownColours[][3] = {{0.5f, 0.5f, 0.0f}, {0.0f, NAN, 2.0f}, {-1.0f, 0.0f, 2.0f}};
    for (int axis = 0; axis < 3; ++axis) translation.Get(axis)->SetColor(ownColours[axis]);
    const auto colours = [&](const std::vector<ColourChoice>& choices) {
        const Plot plot = MakePlot(scene, {"Hips", "Joint4"}, {YTime(0), YTime::FromSeconds(0.1)}, false,
                                   PlotColours(scene, choices));
        std::string texts;
        for (const PlotPanel& panel : plot.panels) {
            for (const PlotCurve& curve : panel.curves) texts += ColourText(curve.colour);
        }
        return texts;
    };
    const YFCurveColorManager builtIn;
    const std::string x = ColourText(builtIn.GetColor(nullptr, 0));
    const std::string y = ColourText(builtIn.GetColor(nullptr, 1));
    // Translation X, Y (whose own colour is broken) and Z, rotation Y; then the joint's X.
    EXPECT_EQ(colours({}), "#808000" + y + "#0000FF" + y + x);
    EXPECT_EQ(colours({{"X", {1, 0, 0}}, {"Hips/*/?", {0, 1, 0}}, {"Lcl Rotation", {0, 0, 0}}}),
              "#00FF00#00FF00#00FF00#000000#000000");
    EXPECT_THROW(PlotColours(scene, {{"Hand", {}}}), Failure);
}

TEST(SvgPlot, PaleColoursGetAnEdgeAndReadableNames)
{
    const YFCurvePtr curve(YFCurveCreate());
    curve->KeyAdd(YTime::FromSeconds(0));
    curve->KeyAdd(YTime::FromSeconds(1));
    Plot plot = OneCurve(*curve, 0, 1);
    plot.panels[0].curves[0].colour = {1, 1, 0};
    const std::string pale = SvgOf(plot);
    EXPECT_EQ(AttributeBehind(pale, "class=\"curve\"", "stroke"), "#FFFF00");
    // Yellow of a luminance of 0.9278 has to come down to 0.1736 for a contrast of 4.5 with 0.956: by 0.1871
    // in linear light, which is 0.4702 in sRGB.
    EXPECT_EQ(AttributeBehind(pale, "class=\"edge\"", "stroke"), "#787800");
    EXPECT_EQ(CountOf(pale, "fill:#787800"), 1u);
    plot.panels[0].curves[0].colour = {0, 0, 0.5f};
    EXPECT_EQ(CountOf(SvgOf(plot), "class=\"edge\""), 0u);
    EXPECT_EQ(CountOf(SvgOf(plot), "fill:#000080"), 1u);
}
