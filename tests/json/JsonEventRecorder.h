#pragma once
// A parser delegate for the tests: records every event as a short line.

#include <string>
#include <string_view>
#include <vector>

#include "Velmora/json/VLJsonNumber.h"
#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora::testing {

struct JsonEventRecorder : VLJsonStreamParserDelegate {
    void parserFoundObjectStart(VLJsonStreamParser&) override { events.push_back("{"); }
    void parserFoundObjectKey(VLJsonStreamParser&, std::string_view key) override {
        events.push_back("key:" + std::string(key));
    }
    void parserFoundObjectEnd(VLJsonStreamParser&) override { events.push_back("}"); }
    void parserFoundArrayStart(VLJsonStreamParser&) override { events.push_back("["); }
    void parserFoundArrayEnd(VLJsonStreamParser&) override { events.push_back("]"); }
    void parserFoundBoolean(VLJsonStreamParser&, bool value) override {
        events.push_back(value ? "true" : "false");
    }
    void parserFoundNull(VLJsonStreamParser&) override { events.push_back("null"); }
    void parserFoundNumber(VLJsonStreamParser&, const VLJsonNumber& text) override {
        const Value number = text.value();
        const char* kind = number.kind() == Value::Kind::Int      ? "int:"
                           : number.kind() == Value::Kind::Double ? "double:"
                                                                  : "decimal:";
        events.push_back(kind + number.description());
    }
    void parserFoundString(VLJsonStreamParser&, std::string_view string) override {
        events.push_back("str:" + std::string(string));
    }

    std::vector<std::string> events;
};

}  // namespace velmora::testing
