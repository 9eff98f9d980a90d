#include "yfcurve/yfcurvelayer.h"

// Ready before the first static initialiser that makes a node.
constinit const YFCurveLayerInfo YFCurveLayerInfo::Base;
