#pragma once

/// \file
/// Everything that the base library offers.

#include "ybaselib/ifilter.h"
#include "ybaselib/iobject.h"
#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ybitset.h"
#include "ybaselib/yclassdefinition.h"
#include "ybaselib/yconfigfile.h"
#include "ybaselib/ydatatype.h"
#include "ybaselib/yerror.h"
#include "ybaselib/yexport.h"
#include "ybaselib/yfilewriter.h"
#include "ybaselib/yglobalnamedevent.h"
#include "ybaselib/ymemorypool.h"
#include "ybaselib/yobject.h"
#include "ybaselib/yplug.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/ypropertydescription.h"
#include "ybaselib/ypropertylist.h"
#include "ybaselib/ypropertyvalue.h"
#include "ybaselib/yrotation.h"
#include "ybaselib/yset.h"
#include "ybaselib/yspobjectholder.h"
#include "ybaselib/ystring.h"
#include "ybaselib/ytalo.h"
#include "ybaselib/ytime.h"
