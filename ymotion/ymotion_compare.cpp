// How scenes differ, and pictures of them, as `YMotion` hands them out.

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "ymotion/compare/scene_diff.h"
#include "ymotion/motiondata.h"
#include "ymotion/plots/plot_choice.h"
#include "ymotion/plots/svg_plot.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace {

YMotionValueDifference ReportOf(const ValueDifference& value)
{
    YMotionValueDifference report;
    report.path = value.curve.path;
    report.layer = value.curve.layer;
    report.isOrientation = value.turn.has_value();
    report.time = value.largest.time;
    report.difference = value.Size();
    if (report.isOrientation) return report;
    report.here = static_cast<double>(value.largest.a);
    report.there = static_cast<double>(value.largest.b);
    return report;
}

std::vector<YMotionCurveName> ReportOf(const std::vector<CurveName>& curves)
{
    std::vector<YMotionCurveName> names;
    for (const CurveName& curve : curves) names.push_back({curve.path, curve.layer});
    return names;
}

std::vector<YMotionJointDifference> ReportOf(const std::vector<JointError>& joints)
{
    std::vector<YMotionJointDifference> reports;
    for (const JointError& joint : joints)
        reports.push_back({joint.name, joint.largest, joint.Mean(), joint.when});
    return reports;
}

YMotionWorldDifference ReportOf(const WorldDifference& difference)
{
    return {difference.compared, ReportOf(difference.joints), difference.onlyA, difference.onlyB};
}

YMotionDifference ReportOf(const SceneDifference& difference)
{
    YMotionDifference report;
    report.curvesCompared = difference.compared;
    report.keysCompared = difference.keys;
    for (const ValueDifference& value : difference.values) report.values.push_back(ReportOf(value));
    report.onlyHere = ReportOf(difference.onlyA);
    report.onlyThere = ReportOf(difference.onlyB);
    for (const SettingDifference& setting : difference.settings)
        report.settings.push_back({setting.what, setting.a, setting.b});
    if (difference.world) report.joints = ReportOf(difference.world->joints);
    return report;
}

}  // namespace

bool YMotion::Compare(const YMotion& other, YMotionDifference& difference, double tolerance,
                      bool orientation) const
{
    return Try([&] {
        CheckTolerance(tolerance);
        difference = ReportOf(CompareScenes(Get().scene, other.Get().scene, tolerance, orientation));
    });
}

bool YMotion::CompareWorld(const YMotion& other, YMotionWorldDifference& difference, double tolerance) const
{
    return Try([&] {
        CheckTolerance(tolerance);
        difference = ReportOf(CompareWorlds(Get().scene, other.Get().scene, tolerance));
    });
}

bool YMotion::PlotSvg(std::string& svg, const YMotionPlotOptions& options) const
{
    return Try([&] {
        constexpr double kNarrowest = 300.0;
        constexpr double kWidest = 10000.0;
        if (!(options.width >= kNarrowest) || !std::isfinite(options.width))
            throw Failure("the picture is less than 300 pixels wide; choose more", kExitUsage);
        if (options.width > kWidest)
            throw Failure("the picture is more than 10000 pixels wide; choose less", kExitUsage);
        const Scene& scene = Get().scene;
        CheckCanBeDrawn(scene);
        Plot plot =
            MakePlot(scene, options.nodes,
                     SpanToPlot(SpanBetween(scene, options.start, options.stop), scene.rate), options.layers);
        plot.width = options.width;
        svg = SvgOf(plot);
    });
}
