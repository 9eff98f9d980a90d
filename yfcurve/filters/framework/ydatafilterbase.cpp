#include "yfcurve/ydatafilterbase.h"
#include "yfcurve/filters/framework/framerate.h"

namespace {

constexpr int kTextSize = 256;
constinit thread_local char propertyText[kTextSize] = {};

}  // namespace

YClassDefinition& YDataFilterBase::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YDataFilterBase::mStart>("Start", YTIME_MINUS_INFINITE,
                                              {.unit = "s", .help = "first time to filter"}),
        YPropertyOf<&YDataFilterBase::mStop>("Stop", YTIME_INFINITE,
                                             {.unit = "s", .help = "last time to filter"}),
    };
    static constinit YClassDefinition definition("YDataFilterBase", &YObject::StaticClass,
                                                 {.summary = "a filter as a sheet of named properties",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YDataFilterBase>});
    return definition;
}

YDataFilterBase::YDataFilterBase(const char* name) : YObject(name)
{
    ResetProperties(StaticClass());
}

YDataFilterBase::YDataFilterBase(const YDataFilterBase& source)
    : YObject(source), mStart(source.mStart), mStop(source.mStop)
{}

YDataFilterBase& YDataFilterBase::operator=(const YDataFilterBase& source)
{
    YObject::operator=(source);
    mStart = source.mStart;
    mStop = source.mStop;
    return *this;
}

YDataFilterBase::~YDataFilterBase()
{
    TearDown();
}

IObject* YDataFilterBase::IQuery(unsigned long interfaceId, int subId)
{
    if (interfaceId == IFilter::InterfaceId) return static_cast<IFilter*>(this);
    return YObject::IQuery(interfaceId, subId);
}

void YDataFilterBase::Destroy(int isLocal)
{
    YObject::Destroy(isLocal);
}

bool YDataFilterBase::Apply(YFCurveNode*, YFCurveNode*)
{
    return false;
}

// The interface hands texts out without const; callers do not write them.

char* YDataFilterBase::GetPropertySheetName()
{
    return const_cast<char*>(GetObjectName());
}

int YDataFilterBase::GetPropertyCount()
{
    return GetPropertyList().GetCount();
}

char* YDataFilterBase::GetPropertyName(int index)
{
    const YProperty* property = GetPropertyList().Get(index);
    return property != nullptr ? const_cast<char*>(property->GetName()) : nullptr;
}

YDataType* YDataFilterBase::GetProperty(int index)
{
    const YProperty* property = GetPropertyList().Get(index);
    return property != nullptr ? property->GetDataType() : nullptr;
}

char* YDataFilterBase::GetPropertyString(int index)
{
    const YProperty* property = GetPropertyList().Get(index);
    if (property == nullptr) return nullptr;
    property->GetString(propertyText, kTextSize);
    return propertyText;
}

bool YDataFilterBase::SetPropertyString(int index, char* text)
{
    YProperty* property = GetPropertyList().Get(index);
    return property != nullptr && property->SetString(text);
}

bool YDataFilterBase::SetPropertyConstant(int index, double* value)
{
    YProperty* property = GetPropertyList().Get(index);
    if (property == nullptr || value == nullptr) return false;
    if (property != mSamplingRate) {
        property->SetDouble(*value);
        return true;
    }
    mSamplingRate->Set(*value);
    if (*value > 0.0 || *value == 0.0) return true;
    mSamplingRate->Set(GetDefaultRate());
    return false;
}

bool YDataFilterBase::GetPropertyConstant(int index, double* value)
{
    const YProperty* property = GetPropertyList().Get(index);
    return property != nullptr && property->GetDouble(value);
}

double YDataFilterBase::GetDefaultRate()
{
    return yfc::FrameRate();
}
