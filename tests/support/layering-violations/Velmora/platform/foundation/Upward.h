#pragma once
// Not compiled: the layering check's own test reads it and must reject this include of a
// layer above foundation.
#include "Velmora/platform/dispatch/RunLoop.h"
