#pragma once

/// \file
/// Everything that the library of scenes offers.

#include "ymotion/ymotion.h"
#include "ymotion/ymotionexport.h"
#include "ymotion/ymotiontypes.h"
