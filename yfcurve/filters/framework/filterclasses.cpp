#include "yfcurve/filters/framework/filterclasses.h"

#include "yfcurve/ydatafilterbase.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvefilterbutterworth.h"
#include "yfcurve/yfcurvefilterclamp.h"
#include "yfcurve/yfcurvefilterconstantkeyreducer.h"
#include "yfcurve/yfcurvefilterdeletekey.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "yfcurve/yfcurvefiltergimblekiller.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurvefilterkeysonframe.h"
#include "yfcurve/yfcurvefilterkeysync.h"
#include "yfcurve/yfcurvefiltermatrixconverter.h"
#include "yfcurve/yfcurvefilteroffset.h"
#include "yfcurve/yfcurvefilterpeakremover.h"
#include "yfcurve/yfcurvefilterresample.h"
#include "yfcurve/yfcurvefilterroll.h"
#include "yfcurve/yfcurvefilterscale.h"
#include "yfcurve/yfcurvefiltersmooth.h"
#include "yfcurve/yfcurvefiltersmooth2.h"
#include "yfcurve/yfcurvefiltertesttemplate.h"
#include "yfcurve/yfcurvefiltertimeclamp.h"
#include "yfcurve/yfcurvefiltertimeshiftandscale.h"
#include "yfcurve/yfcurvefiltertrs.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "yfcurve/yfcurvefilterunrolldof.h"

namespace {

// A row for each class, parents first; this is the order in which they are listed.
constexpr YClassDefinition::Source filterClasses[] = {
    &YFCurveFilter::StaticClass,
    &YDataFilterBase::StaticClass,
    &YFCurveFilter_TestTemplate::StaticClass,
    &YFCurveFilterClamp::StaticClass,
    &YFCurveFilterDeleteKey::StaticClass,
    &YFCurveFilterOffset::StaticClass,
    &YFCurveFilterScale::StaticClass,
    &YFCurveFilterTimeClamp::StaticClass,
    &YFCurveFilterTimeShiftAndScale::StaticClass,
    &YFCurveFilterConstantKeyReducer::StaticClass,
    &YFCurveFilterKeyReducer::StaticClass,
    &YFCurveFilterFit::StaticClass,
    &YFCurveFilterKeysOnFrame::StaticClass,
    &YFCurveFilterKeySync::StaticClass,
    &YFCurveFilterResample::StaticClass,
    &YFCurveFilterButterworth::StaticClass,
    &YFCurveFilterPeakRemover::StaticClass,
    &YFCurveFilterSmooth::StaticClass,
    &YFCurveFilterSmooth2::StaticClass,
    &YFCurveFilterEulerToQuat::StaticClass,
    &YFCurveFilterGimbleKiller::StaticClass,
    &YFCurveFilterGimbleKiller2::StaticClass,
    &YFCurveFilterQuatToEuler::StaticClass,
    &YFCurveFilterUnroll::StaticClass,
    &YFCurveFilterUnrollDof::StaticClass,
    &YFCurveFilterMatrixConverter::StaticClass,
    &YFCurveFilterRoll::StaticClass,
    &YFCurveFilterTRS::StaticClass,
};

// Definitions are constant-initialised, so this may run ahead of every other initialiser: those of the host
// already find all classes.
[[gnu::constructor(101)]] void RegisterAtLoad()
{
    YFCURVE_RegisterFilterClasses();
}

[[gnu::destructor(101)]] void UnregisterAtUnload()
{
    for (const YClassDefinition::Source source : filterClasses) YClassRegistry::Unregister(source());
}

}  // namespace

void YFCURVE_RegisterFilterClasses()
{
    static constinit bool registered = false;
    if (registered) return;
    registered = true;
    for (const YClassDefinition::Source source : filterClasses) YClassRegistry::Register(source());
}

YFCurveFilter* YFCurveFilterCreate(const char* className)
{
    YFCURVE_RegisterFilterClasses();
    const YClassDefinition* definition = YClassRegistry::Find(className);
    if (definition == nullptr || !definition->IsDerivedFrom(YFCurveFilter::StaticClass())) return nullptr;
    return static_cast<YFCurveFilter*>(definition->CreateObject());
}
