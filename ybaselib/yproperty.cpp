#include "ybaselib/yproperty.h"

YProperty::YProperty(const char* name, YDataType* type) : mName(name), mDataType(type) {}

YProperty::~YProperty() = default;
