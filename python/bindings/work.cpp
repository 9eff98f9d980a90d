#include <optional>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"
#include "ybaselib/ypropertydescription.h"
#include "yfcurve/yfcurvesettings.h"

namespace yfpy {
namespace {

// --- Filters -------------------------------------------------------------------------------------------

/// Tells a progress function, and asks whether to go on. What it raises is left as Python's error. Is called without
/// the interpreter's lock.
bool Tell(std::size_t done, std::size_t total, void* function)
{
    WithoutLock::StayAtExit();
    const py::gil_scoped_acquire acquire;
    try {
        const py::object answer = (*static_cast<const py::object*>(function))(done, total);
        const int goesOn = answer.is_none() ? 1 : PyObject_IsTrue(answer.ptr());
        return goesOn > 0;
    } catch (py::error_already_set& error) {
        error.restore();
    }
    return false;
}

py::dict DictOf(const YMotionStepReport& step)
{
    py::list refusals;
    for (const YMotionRefusal& refusal : step.refusals)
        refusals.append(py::make_tuple(Text{refusal.message}, refusal.count, Text{refusal.first}));
    using namespace py::literals;
    return py::dict("name"_a = step.name, "changed"_a = step.changed, "unchanged"_a = step.unchanged,
                    "refused"_a = step.refused, "locked"_a = step.locked, "skipped"_a = step.skipped,
                    "keys_before"_a = step.keysBefore, "keys_after"_a = step.keysAfter,
                    "refusals"_a = refusals, "warning"_a = Text{step.warning});
}

py::dict DictOf(const YMotionPropertyReport& property)
{
    using namespace py::literals;
    return py::dict("path"_a = Text{property.path}, "unit"_a = property.unit,
                    "keys_before"_a = property.keysBefore, "keys_after"_a = property.keysAfter,
                    "largest"_a = property.largest, "root_mean_square"_a = property.rootMeanSquare,
                    "ticks"_a = property.time.Get());
}

/// Joints that went away from their places in the world.
py::list ListOf(const std::vector<YMotionJointReport>& reports, const std::vector<YMotionJoint>& joints)
{
    using namespace py::literals;
    py::list list;
    for (const YMotionJointReport& report : reports) {
        list.append(py::dict("name"_a = Text{joints.at(report.joint).name}, "largest"_a = report.largest,
                             "mean"_a = report.mean, "ticks"_a = report.time.Get()));
    }
    return list;
}

/// Does what can be watched to what is chosen, and gives a report.
/// \param hasPage  whether the report is wanted as a page as well
/// \return  its steps, properties, joints and page, which may be none
template<class Act>
py::tuple Watching(Owner& owner, const std::string& name, const Choices& nodes, const py::object& progress,
                   bool hasPage, const Act& act)
{
    YMotionFilterReport report;
    std::vector<YMotionJoint> skeleton;
    Text page;
    {
        const Use use(owner, Purpose::Edit, name);
        YMotion& scene = *owner.Scene();
        const std::vector<std::string> patterns = PatternsOf(owner, nodes);
        const YMotionProgress tell = progress.is_none() ? nullptr : Tell;
        py::object function = progress;
        const bool isDone = WithoutInterpreter(
            [&] { return act(scene, patterns, &report, tell, &function, hasPage ? &page.bytes : nullptr); });
        if (!isDone) RaiseErrorOf(scene, "Refused");
        skeleton = scene.GetJoints();
    }
    py::list steps;
    for (const YMotionStepReport& step : report.steps) steps.append(DictOf(step));
    py::list properties;
    for (const YMotionPropertyReport& property : report.properties) properties.append(DictOf(property));
    const auto told = hasPage ? std::optional(page) : std::nullopt;
    return py::make_tuple(steps, properties, ListOf(report.joints, skeleton), told);
}

py::tuple Filter(Owner& owner, const std::vector<std::string>& filters, const Choices& nodes, int layer,
                 const py::object& progress, bool hasPage)
{
    std::string names;
    for (const std::string& filter : filters)
        names += (names.empty() ? "" : ", ") + filter.substr(0, filter.find(':'));
    return Watching(owner, names, nodes, progress, hasPage,
                    [&](YMotion& scene, const auto& patterns, YMotionFilterReport* report, auto... watch) {
                        return scene.Filter(filters, patterns, report, watch..., layer);
                    });
}

/// Tolerance, ratio, keys, contacts, tangents, height.
using ReductionRow = std::tuple<Text, Text, std::int64_t, bool, Text, double>;

py::tuple Reduce(Owner& owner, const ReductionRow& row, const py::object& progress, bool hasPage)
{
    const auto& [tolerance, ratio, keys, contacts, tangents, height] = row;
    const YMotionReduction wanted{tolerance.bytes, ratio.bytes, keys, contacts, tangents.bytes, height};
    return Watching(owner, "reduce", {}, progress, hasPage,
                    [&](YMotion& scene, const auto&, YMotionFilterReport* report, auto... watch) {
                        return scene.Reduce(wanted, report, watch...);
                    });
}

py::list Filters()
{
    using namespace py::literals;
    py::list filters;
    for (const YMotionFilter& filter : YMotion::GetFilters()) {
        py::list parameters;
        for (const YMotionParameter& parameter : filter.parameters) {
            parameters.append(py::dict("name"_a = parameter.name, "type"_a = parameter.type,
                                       "default"_a = parameter.defaultValue, "range"_a = parameter.range,
                                       "unit"_a = parameter.unit, "help"_a = parameter.help,
                                       "is_needed"_a = parameter.isNeeded));
        }
        filters.append(py::make_tuple(filter.name, filter.summary, parameters));
    }
    return filters;
}

// --- Changing scenes as a whole ------------------------------------------------------------------------

/// \return  a sentence for each step
std::vector<Text> Clip(Owner& owner, const std::vector<Text>& steps)
{
    std::vector<std::string> report;
    const Use use(owner, Purpose::Edit);
    use.RefuseWithinStep();
    YMotion& scene = *owner.Scene();
    if (!WithoutInterpreter([&] { return scene.Clip(BytesOf(steps), &report); }))
        RaiseErrorOf(scene, "Refused");
    owner.RenewHistory();
    return TextsOf(report);
}

void Join(Owner& owner, Owner& next, std::int64_t blend, bool align)
{
    const Use use(owner, next, Purpose::Edit);
    use.RefuseWithinStep();
    YMotion& scene = *owner.Scene();
    if (!WithoutInterpreter([&] { return scene.Join(*next.Scene(), YTime(blend), align); }))
        RaiseErrorOf(scene, "Refused");
    owner.RenewHistory();
}

// --- Comparing and drawing -----------------------------------------------------------------------------

py::list ListOf(const std::vector<YMotionCurveName>& names)
{
    py::list list;
    for (const YMotionCurveName& name : names) list.append(py::make_tuple(Text{name.path}, Text{name.layer}));
    return list;
}

py::dict Compare(Owner& here, Owner& there, double tolerance, bool orientation)
{
    YMotionDifference difference;
    {
        const Use use(here, there, Purpose::Read);
        const YMotion& scene = *here.Scene();
        const bool isDone = WithoutInterpreter(
            [&] { return scene.Compare(*there.Scene(), difference, tolerance, orientation); });
        if (!isDone) RaiseErrorOf(scene, "Refused");
    }
    using namespace py::literals;
    py::list values;
    for (const YMotionValueDifference& value : difference.values) {
        values.append(py::dict("path"_a = Text{value.path}, "layer"_a = Text{value.layer},
                               "is_orientation"_a = value.isOrientation, "ticks"_a = value.time.Get(),
                               "difference"_a = value.difference, "here"_a = value.here,
                               "there"_a = value.there));
    }
    py::list settings;
    for (const YMotionSettingDifference& setting : difference.settings)
        settings.append(py::make_tuple(setting.what, Text{setting.here}, Text{setting.there}));
    return py::dict("curves_compared"_a = difference.curvesCompared,
                    "keys_compared"_a = difference.keysCompared, "values"_a = values,
                    "only_here"_a = ListOf(difference.onlyHere),
                    "only_there"_a = ListOf(difference.onlyThere), "settings"_a = settings);
}

py::dict CompareWorld(Owner& here, Owner& there, double tolerance)
{
    YMotionWorldDifference difference;
    {
        const Use use(here, there, Purpose::Read);
        const YMotion& scene = *here.Scene();
        if (!WithoutInterpreter([&] { return scene.CompareWorld(*there.Scene(), difference, tolerance); }))
            RaiseErrorOf(scene, "Refused");
    }
    using namespace py::literals;
    py::list joints;
    for (const YMotionJointDifference& joint : difference.joints) {
        joints.append(py::dict("path"_a = Text{joint.path}, "largest"_a = joint.largest,
                               "mean"_a = joint.mean, "ticks"_a = joint.time.Get()));
    }
    return py::dict("joints_compared"_a = difference.jointsCompared, "joints"_a = joints,
                    "only_here"_a = TextsOf(difference.onlyHere),
                    "only_there"_a = TextsOf(difference.onlyThere));
}

Text Plot(Owner& owner, const Choices& nodes, std::int64_t start, std::int64_t stop, bool layers,
          double width)
{
    YMotionPlotOptions options;
    const Use use(owner);
    options.nodes = PatternsOf(owner, nodes);
    options.start = YTime(start);
    options.stop = YTime(stop);
    options.layers = layers;
    options.width = width;
    const YMotion& scene = *owner.Scene();
    Text svg;
    if (!WithoutInterpreter([&] { return scene.PlotSvg(svg.bytes, options); }))
        RaiseErrorOf(scene, "Refused");
    return svg;
}

// --- Settings of the process ---------------------------------------------------------------------------

std::string TextOf(const YProperty& setting)
{
    char text[256];
    setting.GetString(text, sizeof text);
    return text;
}

YProperty& SettingOf(const std::string& name)
{
    for (int i = 0; i < YFCURVE_GetSettingCount(); ++i) {
        YProperty* setting = YFCURVE_GetSetting(i);
        if (setting != nullptr && name == setting->GetName()) return *setting;
    }
    throw py::key_error(name);
}

/// Changes settings, which work in other threads reads without a lock: only while there is none.
template<class Act>
auto Setting(const Act& act)
{
    if (WithoutLock::Count() > 0)
        Raise("Busy", "settings cannot be changed while work is being done; wait until that is done");
    return act();
}

/// Name, type, whether it is as at the start, and help.
py::list Settings()
{
    py::list settings;
    for (int i = 0; i < YFCURVE_GetSettingCount(); ++i) {
        const YProperty& setting = *YFCURVE_GetSetting(i);
        settings.append(py::make_tuple(setting.GetName(), setting.GetDataType()->GetName(),
                                       setting.IsDefault(), setting.GetDescription()->GetOptions().help));
    }
    return settings;
}

}  // namespace

void AddWork(py::module_& module)
{
    module.def("filter", Filter);
    module.def("filters", Filters);
    module.def("reduce", Reduce);
    module.def("clip", Clip);
    module.def("join", Join);
    module.def("compare", Compare);
    module.def("compare_world", CompareWorld);
    module.def("plot", Plot);
    module.def("settings", Settings);
    module.def("setting", [](const std::string& name) { return TextOf(SettingOf(name)); });
    module.def("set_setting", [](const std::string& name, const std::string& value) {
        return Setting([&] { return SettingOf(name).SetString(value.c_str()); });
    });
    module.def("reset_setting",
               [](const std::string& name) { Setting([&] { SettingOf(name).ResetValue(); }); });
}

}  // namespace yfpy
