#pragma once

#include "ybaselib/ydatatype.h"
#include "ybaselib/yexport.h"
#include "ybaselib/ystring.h"

/// \file
/// Properties of host objects.

/// A named property of a data type, such as the local rotation of a joint; curve nodes that animate it
/// take their name from it.
class YBASELIB_EXPORT YProperty
{
  public:
    /// \param name  copied; null counts as empty.
    /// \param type  not owned; null for a property that is of no registered type.
    explicit YProperty(const char* name, YDataType* type = nullptr);
    virtual ~YProperty();
    YProperty(const YProperty&) = delete;
    YProperty& operator=(const YProperty&) = delete;

    /// Never null; valid until the name is set again.
    const char* GetName() const { return mName.Buffer(); }
    void SetName(const char* name) { mName = name; }

    YDataType* GetDataType() const { return mDataType; }

  private:
    YString mName;
    YDataType* mDataType;
};
