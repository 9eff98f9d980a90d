#pragma once

/// \file
/// Everything that the base library offers.

#include "ybaselib/iobject.h"
#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ybitset.h"
#include "ybaselib/yconfigfile.h"
#include "ybaselib/ydatatype.h"
#include "ybaselib/yerror.h"
#include "ybaselib/yexport.h"
#include "ybaselib/yfilewriter.h"
#include "ybaselib/yglobalnamedevent.h"
#include "ybaselib/ymemorypool.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/yrotation.h"
#include "ybaselib/yset.h"
#include "ybaselib/yspobjectholder.h"
#include "ybaselib/ystring.h"
#include "ybaselib/ytalo.h"
#include "ybaselib/ytime.h"
