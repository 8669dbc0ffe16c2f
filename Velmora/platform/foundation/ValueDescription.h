#pragma once
// The text of Value::description(): Foundation's property-list style, so that values in
// log lines read as they do on the original platform.

#include <string>

namespace velmora {

class Value;

std::string describeValue(const Value& value);

}  // namespace velmora
