#pragma once
// Object: the base of app-defined types carried in Values (list sections and items,
// archived objects, undo targets). Held as ObjectRef (std::shared_ptr<Object>).
//
// Equality defaults to identity. Optional abilities (dispatching calls by selector,
// archiving, copying transient state) are separate interfaces a subclass also derives
// from; callers test for them with dynamic_cast, as the platform asks "responds to?".
//
//   class Task : public Object {
//       bool isEqual(const Object& o) const override;   // by task id
//       Value valueForKey(std::string_view key) const override;  // "title", "due", ...
//   };

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

class Value;
class Object;
using ObjectRef = std::shared_ptr<Object>;

class Object {
  public:
    virtual ~Object();

    // Equality and hash follow one rule: equal objects have equal hashes.
    virtual bool isEqual(const Object& other) const;
    virtual std::size_t hash() const;
    // Shown in log lines through "%@"; defaults to "<ClassName: 0x...>".
    virtual std::string description() const;
    // Defaults to the dynamic type's name without namespaces.
    virtual std::string className() const;
    // Key-value reading: the value of a named property, nil when there is none.
    virtual Value valueForKey(std::string_view key) const;

  protected:
    Object() = default;
    Object(const Object&) = default;
    Object& operator=(const Object&) = default;
};

}  // namespace velmora
