// Not compiled: the layering check's own test reads it and must reject this include of a
// module beside text.
#include "Velmora/json/JSONReader.h"
#include "Velmora/platform/foundation/Value.h"
