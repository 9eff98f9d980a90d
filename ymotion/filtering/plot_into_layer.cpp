#include "ymotion/filtering/plot_into_layer.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <fmt/format.h>

#include "ymotion/filtering/piecework.h"
#include "ymotion/filtering/plot_source.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

/// How far a curve at most swings out between two keys of one value.
double Bulge(const YFCurve& curve)
{
    constexpr double kOfSlope = 4.0 / 27.0;  // u (1 - u)^2 at its greatest
    double most = 0.0;
    for (int i = 0; i + 1 < curve.KeyGetCount(); ++i) {
        const double seconds = (curve.KeyGetTime(i + 1) - curve.KeyGetTime(i)).GetSecondDouble();
        const double slopes = std::abs(double{curve.KeyGetRightDerivative(i)}) +
                              std::abs(double{curve.KeyGetLeftDerivative(i + 1)});
        most = std::max(most, kOfSlope * seconds * slopes);
    }
    return most;
}

/// Whether a property changes nothing on an additive layer: all keys have the neutral value, but for rounding, and the
/// curves leave it between them by a hundredth of the tolerance at most.
bool IsNeutral(const YFCurveNode& node, double tolerance)
{
    std::vector<double> neutral(static_cast<std::size_t>(std::max(1, node.GetCount())));
    node.GetZeroValues(neutral.data());
    const auto holds = [tolerance](const YFCurve* curve, double value) {
        if (curve == nullptr) return true;
        const ValueRange range = KeyRange(*curve).value_or(ValueRange{curve->GetValue(), curve->GetValue()});
        constexpr double kRounding = 1e-9;
        return std::abs(static_cast<double>(range.least) - value) <= kRounding &&
               std::abs(static_cast<double>(range.greatest) - value) <= kRounding &&
               Bulge(*curve) <= 0.01 * tolerance;
    };
    for (int i = 0; i < node.GetCount(); ++i) {
        if (!holds(node.Get(i)->FCurveGet(), neutral[static_cast<std::size_t>(i)])) return false;
    }
    return holds(node.FCurveGet(), neutral.front());
}

/// Whether a property goes on to move beyond its keys: a plot of these alone would cut it off.
bool GoesOn(const YFCurveNode& property)
{
    bool goesOn = false;
    VisitCurves(property, [&goesOn](const YFCurve& curve) {
        const bool holds = !curve.MovesOutside(true) && !curve.MovesOutside(false);
        goesOn = goesOn || (!holds && curve.KeyGetCount() > 1);
    });
    return goesOn;
}

/// The library plots components one by one where they have layers, which those of rotations do without, or properties
/// of their own (see `YFCurve_PlotInLayers`).
bool IsPlottedAsWhole(const YFCurveNode& property)
{
    if (property.FCurveGet() != nullptr) return true;
    for (int i = 0; i < property.GetCount(); ++i) {
        const YFCurveNode& component = *property.Get(i);
        const bool hasLayers = component.LayerGet() != nullptr && !IsRotation(property);
        if (hasLayers || (component.FCurveGet() == nullptr && component.GetCount() > 0)) return false;
    }
    return true;
}

/// The axes along which the translation of a joint does not count for where it is (see `PlacesAlong`), and would not in
/// the scene that it is plotted from either. Keys there would let it count.
class HiddenAxes
{
  public:
    HiddenAxes(const Scene& scene, const YFCurveNode& property, const YFCurveNode* other)
        : mProperty(property)
    {
        for (std::size_t i = 0; i < scene.jointNodes.size() && mJoint == nullptr; ++i) {
            const YFCurveNode* node = scene.jointNodes[i];
            if (node != nullptr && PropertyOf(*node, ChannelKind::Translation) == &property)
                mJoint = &scene.skeleton.joints[i];
        }
        for (const Axis axis : kAxes) {
            const auto shows = [&](const YFCurveNode& by) { return PlacesAlong(*mJoint, by, axis); };
            if (mJoint != nullptr && !shows(property) && (other == nullptr || !shows(*other)))
                mAxes.push_back(axis);
        }
    }

    /// Takes the keys off a layer's curves that let the property count there; they keep the first value.
    void TakeKeysOff(const YFCurveNode& layer) const
    {
        for (const Axis axis : mAxes) {
            if (!PlacesAlong(*mJoint, mProperty, axis)) continue;
            YFCurve& curve = *layer.Get(static_cast<int>(axis))->FCurveGet();
            curve.SetValue(curve.KeyGetValue(0));
            curve.KeyClear();
        }
    }

  private:
    const YFCurveNode& mProperty;
    const Joint* mJoint = nullptr;
    std::vector<Axis> mAxes;
};

class Plotter
{
  public:
    Plotter(Scene& scene, const Scene* other, const LayerPlotting& plotting)
        : mScene(scene), mPlotting(plotting), mLayer(*plotting.layer)
    {
        CheckUnlocked(scene, mLayer, "choose another layer");
        CheckPlays(scene, mLayer, "choose another layer");
        mWhole = KeySpan(scene);
        if (other == nullptr) return;
        mSource.emplace(scene, *other);
        Widen(mWhole, KeySpan(*other));
    }

    PlottedIntoLayer Run(const std::vector<YFCurveNode*>& properties, const std::function<void()>& done)
    {
        if (mSource) mSource->CheckHas(properties);
        std::vector<PlottedIntoLayer> pieces(properties.size());
        DoPieces(
            properties.size(), mPlotting.jobs,
            [&](std::size_t i, std::size_t) { PlotProperty(*properties[i], pieces[i]); },
            [&](std::size_t) {
                if (done) done();
            });
        PlottedIntoLayer plotted;
        for (const PlottedIntoLayer& piece : pieces) {
            plotted.properties.insert(plotted.properties.end(), piece.properties.begin(),
                                      piece.properties.end());
            plotted.still += piece.still;
            plotted.unchanged += piece.unchanged;
        }
        if (plotted.properties.empty() && plotted.unchanged == 0) {
            throw Failure(mScene.file +
                          ": the properties have no keys, so that there is nothing to plot; set "
                          "some, or choose other properties with --node");
        }
        mScene.layers.Bind(*mScene.root);
        return plotted;
    }

  private:
    void PlotProperty(YFCurveNode& property, PlottedIntoLayer& plotted)
    {
        if (!mSource && KeyTimesOf(property).empty()) {
            ++plotted.still;
            return;
        }
        const int layerId = property.GetCorrectLayerID(mLayer.GetLayerID());
        const YFCurveNode* node = property.LayerGet(layerId);
        const bool isNew = node == nullptr;
        const bool adds = mLayer.GetLayerMode() == YFCURVE_LAYER_ADDITIVE;
        if (isNew && mPlotting.span && !adds) FailOutside(property);
        PlottedProperty result;
        result.node = &property;
        result.keysBefore = isNew ? 0 : node->KeyGetCount();
        if (!IsPlottedAsWhole(property)) FailPlot(mScene, property, {eYFCurvePlotStatus::BadNode});
        const HiddenAxes hidden(mScene, property, mSource ? &mSource->Of(property).Other() : nullptr);
        const YFCurvePlotReport report = Plot(property);
        if (report.status != eYFCurvePlotStatus::Done) FailPlot(mScene, property, report);
        node = property.LayerGet(layerId);
        hidden.TakeKeysOff(*node);
        if (isNew && adds && IsNeutral(*node, mPlotting.plot.tolerance)) {
            property.RemoveLayer(layerId, true);
            ++plotted.unchanged;
            return;
        }
        result.keysAfter = node->KeyGetCount();
        result.largest = report.largestDifference;
        result.when = report.time;
        plotted.properties.push_back(result);
    }

    /// A layer that overrides would hide the property outside of the span, where it holds nothing.
    [[noreturn]] void FailOutside(const YFCurveNode& property) const
    {
        throw Failure(fmt::format(
            "{}: {}: it is not on the layer {} yet, which overrides, and would hold still outside of the "
            "span; leave out --start and --stop, or choose another layer",
            mScene.file, Printable(PathOf(property)), Quoted(mLayer.Name())));
    }

    YFCurvePlotReport Plot(YFCurveNode& property)
    {
        std::optional<TimeSpan> span = mPlotting.span;
        YSmartPlotOptions options = mPlotting.plot;
        if (!span && (GoesOn(property) || (mSource && GoesOn(mSource->Of(property).Other())))) {
            span = mWhole;
            options.keepOutside = false;
        }
        const YTime start = span ? span->start : YTIME_MINUS_INFINITE;
        const YTime stop = span ? span->stop : YTIME_INFINITE;
        YFCurvePlotReport report;
        if (!mSource) {
            YFCurve_PlotInLayers(&property, mLayer.Info(), start, stop, options, nullptr, nullptr, &report);
            return report;
        }
        Counterpart counterpart = mSource->Of(property);
        YFCurveNode* node = mScene.layers.NodeOn(property, mLayer);
        // A property that takes no layers is plotted on the base layer.
        if (node == nullptr) node = property.GetCorrectLayerAndCreateIfMissing(mLayer.Info());
        if (node == nullptr) throw std::bad_alloc();
        counterpart.AddKeyTimes(*node, mPlotting.span);
        YFCurve_PlotInLayers(&property, mLayer.Info(), start, stop, options, Counterpart::Evaluate,
                             &counterpart, &report);
        return report;
    }

    Scene& mScene;
    const LayerPlotting& mPlotting;
    Layer& mLayer;
    std::optional<PlotSource> mSource;
    std::optional<TimeSpan> mWhole;  // of the scene and the one it is plotted from
};

}  // namespace

PlottedIntoLayer PlotIntoLayer(Scene& scene, const LayerPlotting& plotting, const Scene* other,
                               const std::vector<YFCurveNode*>& properties, const std::function<void()>& done)
{
    // A plot reads it between its frames, too.
    const std::optional<Scene> unrolled = other != nullptr ? UnrolledCopy(*other) : std::nullopt;
    return Plotter(scene, unrolled ? &*unrolled : other, plotting).Run(properties, done);
}

}  // namespace ymotion
