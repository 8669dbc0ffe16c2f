#pragma once
// InternalInconsistencyException: what the framework throws on deliberate misuse, the
// only exception it throws on purpose (the undo manager's misuse, the shared-services
// object without its app-group suite name). Its what() is the original's reason text.
//
//   throw InternalInconsistencyException("Shared Group Identifier NOT set - crashing");

#include <stdexcept>
#include <string>

namespace velmora {

class InternalInconsistencyException : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

}  // namespace velmora
