// KeyedUnarchiver::unarchivedObject reads untrusted archives. Any bytes must decode or
// be refused with an error text; what decodes must archive again and decode once more.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "Velmora/platform/storage/Coding.h"
#include "Velmora/platform/storage/KeyedArchiver.h"
#include "Velmora/platform/storage/KeyedUnarchiver.h"

namespace {

using namespace velmora;

// A registered class, so that decoders of app types are exercised too.
class FuzzNote : public Object, public Coding {
  public:
    FuzzNote(Value title, std::int64_t count) : title_(std::move(title)), count_(count) {}
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeObject(title_, "title");
        coder.encodeInt64(count_, "count");
    }
    std::string className() const override { return "FuzzNote"; }

  private:
    Value title_;
    std::int64_t count_;
};

const bool kRegistered = [] {
    CodingRegistry::registerClass("FuzzNote", [](KeyedUnarchiver& coder) -> ObjectRef {
        return std::make_shared<FuzzNote>(coder.decodeObject("title"), coder.decodeInt64("count"));
    });
    return true;
}();

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    (void)kRegistered;
    const KeyedUnarchiver::ClassNames all = {"NSObject"};
    std::string error;
    const auto value = KeyedUnarchiver::unarchivedObject(all, std::span(data, size), &error);
    if (!value) {
        if (error.empty()) {
            std::abort();  // every refusal says why
        }
        return 0;
    }
    (void)value->hash();
    const auto again = KeyedArchiver::archivedData(*value, &error);
    if (!again) {
        std::abort();  // whatever decodes can be archived again
    }
    if (!KeyedUnarchiver::unarchivedObject(all, *again, &error)) {
        std::abort();
    }
    return 0;
}
