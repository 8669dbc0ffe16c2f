#include "Velmora/messaging/IACRequest.h"

#include "Velmora/text/NSString+URLParams.h"

namespace velmora {

IACRequest::IACRequest() : requestID_(stringWithUUID()) {}

}  // namespace velmora
