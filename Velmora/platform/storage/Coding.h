#pragma once
// Coding: the interface of Objects that can be written into a keyed archive, and the
// registry that maps archived class names back to decoders.
//
// An archivable type derives from Object and Coding, writes its fields in
// encodeWithCoder, and registers a decoder under its class name (the name written as
// "$classname"; Object::className() by default). Decoding only ever builds classes that
// are registered here and that the caller of the unarchiver accepts.
//
// Thread safety: the registry may be used from any thread; register classes at start-up.
//
//   class Note : public Object, public Coding { ... encodeWithCoder(KeyedArchiver&) ... };
//   CodingRegistry::registerClass("Note", [](KeyedUnarchiver& c) -> ObjectRef {
//       return std::make_shared<Note>(c.decodeObject("title").stringValue()); });

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/platform/foundation/Object.h"

namespace velmora {

class KeyedArchiver;
class KeyedUnarchiver;

class Coding {
  public:
    virtual ~Coding();

    // Writes the object's fields with coder's encode... calls.
    virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;

    // The class chain written as "$classes", most derived first. Empty (the default)
    // means { className(), "NSObject" }.
    virtual std::vector<std::string> codingClassHierarchy() const { return {}; }

  protected:
    Coding() = default;
    Coding(const Coding&) = default;
    Coding& operator=(const Coding&) = default;
};

class CodingRegistry {
  public:
    // Builds an object from the coder's keyed values. nullptr (or a failWithError call
    // on the coder) makes the whole decoding fail.
    using Decoder = std::function<ObjectRef(KeyedUnarchiver& coder)>;

    struct Entry {
        std::string className;
        // The class and its superclasses, most derived first; accepting any of these
        // names when unarchiving accepts this class.
        std::vector<std::string> hierarchy;
        Decoder decode;
    };

    CodingRegistry() = delete;

    // Registers (or replaces) the decoder for className. superclasses default to
    // { "NSObject" }.
    static void registerClass(std::string className, Decoder decode,
                              std::vector<std::string> superclasses = {"NSObject"});
    static void unregisterClass(std::string_view className);
    [[nodiscard]] static std::optional<Entry> find(std::string_view className);
};

}  // namespace velmora
