#pragma once

#include "ybaselib/iobject.h"
#include "ybaselib/yexport.h"

/// \file
/// A filter as a sheet of named properties.

class YDataType;
class YFCurveNode;

/// A filter of curve trees for hosts that know nothing about it but its properties.
///
/// Indices run from 0 to `GetPropertyCount()` - 1 and are not checked by every implementation. Texts that
/// are handed out belong to the filter and are not to be written.
class YBASELIB_EXPORT IFilter : public IObject
{
  public:
    static constexpr unsigned long InterfaceId = 11020060;

    /// Filters the curves of one tree into another.
    /// \return  false when nothing was done.
    virtual bool Apply(YFCurveNode* source, YFCurveNode* destination) = 0;

    virtual char* GetPropertySheetName() = 0;
    virtual int GetPropertyCount() = 0;
    virtual char* GetPropertyName(int index) = 0;
    virtual YDataType* GetProperty(int index) = 0;

    /// The value as text; valid until the next call.
    virtual char* GetPropertyString(int index) = 0;
    /// \return  false, with the value as it was, for a text that means no value of the property.
    virtual bool SetPropertyString(int index, char* text) = 0;

    /// Sets a value from a number, times in seconds.
    virtual bool SetPropertyConstant(int index, double* value) = 0;
    virtual bool GetPropertyConstant(int index, double* value) = 0;

  protected:
    ~IFilter() = default;
};
