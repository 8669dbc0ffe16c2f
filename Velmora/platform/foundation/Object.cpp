#include "Velmora/platform/foundation/Object.h"

#include <functional>
#include <typeinfo>

#include <cxxabi.h>
#include <fmt/format.h>

#include "Velmora/platform/foundation/Value.h"

namespace velmora {

Object::~Object() = default;

bool Object::isEqual(const Object& other) const {
    return this == &other;
}

std::size_t Object::hash() const {
    return std::hash<const void*>{}(this);
}

std::string Object::description() const {
    return fmt::format("<{}: {}>", className(), static_cast<const void*>(this));
}

std::string Object::className() const {
    const char* mangled = typeid(*this).name();
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
    std::string name = status == 0 && demangled ? demangled.get() : mangled;
    if (const auto colons = name.rfind("::"); colons != std::string::npos) {
        name.erase(0, colons + 2);
    }
    return name;
}

Value Object::valueForKey(std::string_view /*key*/) const {
    return {};
}

}  // namespace velmora
