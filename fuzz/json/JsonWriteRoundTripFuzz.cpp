// A random Value tree, built from the input bytes, written and parsed again must come back
// equal (doubles excepted: "%g" keeps six digits, so they are made from short decimals).
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Velmora/json/VLJson.h"
#include "Velmora/platform/foundation/Value.h"

namespace {

using namespace velmora;

class InputBytes {
  public:
    InputBytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool empty() const { return offset_ >= size_; }
    std::uint8_t next() { return empty() ? 0 : data_[offset_++]; }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t offset_ = 0;
};

std::string makeString(InputBytes& in) {
    std::string text;
    const std::size_t length = in.next() % 12;
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint8_t byte = in.next();
        if (byte >= 0xF0) {
            text += "\xC3\xA9";  // keep the text UTF-8
        } else if (byte >= 0x80) {
            text += static_cast<char>(byte & 0x3F);
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

Value makeValue(InputBytes& in, int depth) {
    const std::uint8_t kind = in.next() % (depth < 6 ? 9 : 7);
    switch (kind) {
        case 0:
            return Value::null();
        case 1:
            return Value((in.next() & 1) != 0);
        case 2:
            return Value(static_cast<std::int64_t>(static_cast<std::int8_t>(in.next())) * 1000 +
                         in.next());
        case 3:
            return Value(static_cast<double>(static_cast<std::int8_t>(in.next())) / 4.0);
        case 4: {
            std::string digits = std::to_string(in.next()) + std::to_string(in.next()) + "." +
                                 std::to_string(in.next()) + "1";
            return Value::decimal(digits + "2345678");
        }
        case 5:
        case 6:
            return Value(makeString(in));
        case 7: {
            Array array;
            const std::size_t count = in.next() % 5;
            for (std::size_t i = 0; i < count && !in.empty(); ++i) {
                array.push_back(makeValue(in, depth + 1));
            }
            return array;
        }
        default: {
            Dictionary dictionary;
            const std::size_t count = in.next() % 5;
            for (std::size_t i = 0; i < count && !in.empty(); ++i) {
                dictionary.set(makeString(in), makeValue(in, depth + 1));
            }
            return dictionary;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputBytes in(data, size);
    const bool pretty = (in.next() & 1) != 0;
    Value root = (in.next() & 1) != 0 ? Value(Array{}) : Value(Dictionary{});
    const Value element = makeValue(in, 1);
    if (root.isArray()) {
        root.asArray()->push_back(element);
    } else {
        root.asDictionary()->set("k", element);
    }
    std::string error;
    const auto text = writeJson(root, {.humanReadable = pretty, .sortKeys = true}, &error);
    if (!text) {
        std::abort();  // every value made here is writable
    }
    const auto back = parseJson(*text, &error);
    if (!back || !back->isEqual(root)) {
        std::abort();
    }
    return 0;
}
