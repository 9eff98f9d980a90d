#pragma once

#include "ybaselib/ifilter.h"
#include "ybaselib/yobject.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// A base for filters that hosts drive through named properties.

/// A filter as a property sheet, with a span. It does nothing by itself; a filter derives from it, describes
/// its properties (see yobject.h) or adds them to its property list, and overrides `Apply`.
///
/// Indices are those of `YObject::GetPropertyList`; one that is out of range reads null or false.
class YFCURVE_EXPORT YDataFilterBase : public YObject, public IFilter
{
  public:
    static YClassDefinition& StaticClass();
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    explicit YDataFilterBase(const char* name = nullptr);
    /// The copy has the same name and span and, until its class says otherwise, no sampling-rate property.
    YDataFilterBase(const YDataFilterBase& source);
    YDataFilterBase& operator=(const YDataFilterBase& source);
    ~YDataFilterBase() override;

    /// This object as `IFilter`, else as `YObject::IQuery`.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    void Destroy(int isLocal = 0) override;

    /// Does nothing and returns false.
    bool Apply(YFCurveNode* source, YFCurveNode* destination) override;

    /// The name of the object.
    char* GetPropertySheetName() override;
    int GetPropertyCount() override;
    char* GetPropertyName(int index) override;
    YDataType* GetProperty(int index) override;

    /// The text is cut to 255 bytes and stands in a buffer that all objects of a thread share until its
    /// next call.
    char* GetPropertyString(int index) override;
    bool SetPropertyString(int index, char* text) override;

    /// Hands the number to the property and returns true, whether it took it or not. The sampling rate takes
    /// any number but a negative one, which sets the frame rate instead (`GetDefaultRate`) and returns false.
    bool SetPropertyConstant(int index, double* value) override;
    bool GetPropertyConstant(int index, double* value) override;

    /// Frames per second of the current time mode.
    double GetDefaultRate();

  protected:
    YPropertyT<YTime> mStart;  ///< "Start", minus infinity at first
    YPropertyT<YTime> mStop;   ///< "Stop", infinity at first

    /// The property that is the filter's sampling rate, set by a derived class that has one.
    YPropertyT<double>* mSamplingRate = nullptr;
};
