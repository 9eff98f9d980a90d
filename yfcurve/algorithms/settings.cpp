#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "ybaselib/ypropertydescription.h"
#include "yfcurve/curve/tcbmode.h"
#include "yfcurve/yfcurvesettings.h"

// All settings: type, name, value at the start of a process, and the options of the property. Everything
// below is made of this table. The second part are those that curves read; their values stand in the room of
// curves.
#define YFCURVE_OWN_SETTINGS(SETTING)                                                                        \
    SETTING(YTime, PlotPeriod, YTime(1539538600),                                                            \
            {.minimum = 0.0, .aboveMinimum = true, .unit = "s", .help = "time between plotted keys"})        \
    SETTING(bool, PlotOnFrame, true, {.help = "plotted keys lie on frames"})                                 \
    SETTING(bool, PlotTranslationOnRootOnly, false, {.help = "translations are plotted for the root alone"}) \
    SETTING(bool, PreciseTimeDiscontinuities, false, {.help = "plotting keeps jumps at their exact time"})   \
    SETTING(int, RotationFilterToApply, 2,                                                                   \
            {.help = "cleans rotations up after plotting: 1 gimbal killer, 2 unroll, else none"})            \
    SETTING(double, RotationFilterUnrollQuality, 0.25,                                                       \
            {.minimum = 0.0, .help = "default quality tolerance of the unroll filters"})                     \
    SETTING(bool, RotationFilterUnrollTestForPath, false,                                                    \
            {.help = "unroll filters test for path by default"})                                             \
    SETTING(double, ButterworthFilterInternalRate, 240.0,                                                    \
            {.minimum = 0.0,                                                                                 \
             .aboveMinimum = true,                                                                           \
             .unit = "Hz",                                                                                   \
             .help = "default rate at which the Butterworth filter samples"})                                \
    SETTING(bool, UseConstantKeyReducer, true, {.help = "plots are followed by the constant key reducer"})   \
    SETTING(bool, UseRunTimeConstantKeyReducer, true, {.help = "it runs while recording too"})               \
    SETTING(double, UseConstantKeyReducerTranslationThreshold, 5e-13,                                        \
            {.minimum = 0.0, .help = "translations within it count as equal"})                               \
    SETTING(double, UseConstantKeyReducerRotationThreshold, 0.0005,                                          \
            {.minimum = 0.0, .unit = "degrees", .help = "rotations within it count as equal"})               \
    SETTING(double, UseConstantKeyReducerScalingThreshold, 5e-13,                                            \
            {.minimum = 0.0, .help = "scalings within it count as equal"})                                   \
    SETTING(double, UseConstantKeyReducerDefaultThreshold, 5e-13,                                            \
            {.minimum = 0.0, .help = "other values within it count as equal"})                               \
    SETTING(bool, UseConstantKeyReducerOnDevices, true, {.help = "it runs on what devices record"})          \
    SETTING(bool, ConstantKeyReducerKeepOneKey, true, {.help = "it leaves one key on a flat curve"})
#define YFCURVE_CURVE_SETTINGS(SETTING) \
    SETTING(bool, TCB4051EvalMode, false, {.help = "TCB keys arrive with the slope that they leave with"})
#define YFCURVE_SETTINGS(SETTING) \
    YFCURVE_OWN_SETTINGS(SETTING) \
    YFCURVE_CURVE_SETTINGS(SETTING)

namespace {

// The values, under the names of the settings.
namespace value {

#define YFCURVE_VALUE(type, name, initial, ...) constinit type name = initial;
YFCURVE_OWN_SETTINGS(YFCURVE_VALUE)
#undef YFCURVE_VALUE

constinit bool& TCB4051EvalMode = yfc::tcbArrivesAsItLeaves;

}  // namespace value

constinit thread_local const YTime* threadPlotPeriod = nullptr;

// What a thread reads: the value of the process, but for a plot period of its own.
template<class T>
T Read(const T& ofProcess)
{
    if constexpr (std::is_same_v<T, YTime>) {
        if (&ofProcess == &value::PlotPeriod && threadPlotPeriod != nullptr) return *threadPlotPeriod;
    }
    return ofProcess;
}

// What the list says of a setting, and the way to its value.
struct Setting
{
    YPropertyDescription description;
    YPropertyValue (*read)();
    bool (*write)(const YPropertyValue& value);
};

#define YFCURVE_DESCRIBE(type, name, initial, ...)                                              \
    {{#name, YPropertyValue(type(initial)), nullptr, __VA_ARGS__, {nullptr, nullptr, nullptr}}, \
     [] { return YPropertyValue(Read(value::name)); },                                          \
     [](const YPropertyValue& held) { return YPropertyStored<type>::To(value::name, held); }},
constexpr Setting settings[] = {YFCURVE_SETTINGS(YFCURVE_DESCRIBE)};
#undef YFCURVE_DESCRIBE

class SettingProperty : public YProperty
{
  public:
    explicit SettingProperty(const Setting& setting)
        : YProperty(setting.description.GetName()), mSetting(setting)
    {
        Describe(setting.description);
    }

    bool ReadValue(YPropertyValue& value) const override
    {
        value = mSetting.read();
        return true;
    }
    bool WriteValue(const YPropertyValue& value) override { return mSetting.write(value); }

  private:
    const Setting& mSetting;
};

std::vector<std::unique_ptr<YProperty>> MakeList()
{
    std::vector<std::unique_ptr<YProperty>> list;
    for (const Setting& setting : settings) list.push_back(std::make_unique<SettingProperty>(setting));
    return list;
}

}  // namespace

// A setting that the public header does not declare with just this type does not compile.
#define YFCURVE_ACCESSORS(type, name, initial, ...)                              \
    static_assert(std::is_same_v<decltype(&YFCURVE_Get##name), type (*)()> &&    \
                  std::is_same_v<decltype(&YFCURVE_Set##name), void (*)(type)>); \
    type YFCURVE_Get##name()                                                     \
    {                                                                            \
        return Read(value::name);                                                \
    }                                                                            \
    void YFCURVE_Set##name(type newValue)                                        \
    {                                                                            \
        value::name = newValue;                                                  \
    }
YFCURVE_SETTINGS(YFCURVE_ACCESSORS)
#undef YFCURVE_ACCESSORS

int YFCURVE_GetSettingCount()
{
    return static_cast<int>(std::size(settings));
}

YProperty* YFCURVE_GetSetting(int index)
{
    if (index < 0 || index >= YFCURVE_GetSettingCount()) return nullptr;
    try {
        static const std::vector<std::unique_ptr<YProperty>> list = MakeList();
        return list[static_cast<std::size_t>(index)].get();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

YFCurveThreadPlotPeriod::YFCurveThreadPlotPeriod(YTime period) : mPeriod(period), mOuter(threadPlotPeriod)
{
    threadPlotPeriod = &mPeriod;
}

YFCurveThreadPlotPeriod::~YFCurveThreadPlotPeriod()
{
    threadPlotPeriod = mOuter;
}
