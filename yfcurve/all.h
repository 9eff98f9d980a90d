#pragma once

/// \file
/// Everything that the library offers.

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvecandidatestate.h"
#include "yfcurve/yfcurveevent.h"
#include "yfcurve/yfcurveexport.h"
#include "yfcurve/yfcurvekey.h"
#include "yfcurve/yfcurvelayer.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvetangeants.h"
#include "yfcurve/yfcurvetimewarpset.h"
#include "yfcurve/ymemoryblockqueue.h"
