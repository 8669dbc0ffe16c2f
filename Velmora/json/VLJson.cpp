#include "Velmora/json/VLJson.h"

#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/json/VLJsonStreamParserAdapter.h"
#include "Velmora/json/VLJsonStreamWriter.h"

namespace velmora {

namespace {

class FirstDocument : public VLJsonStreamParserAdapterDelegate {
  public:
    void parserFoundArray(VLJsonStreamParser&, const Value& array) override { value = array; }
    void parserFoundObject(VLJsonStreamParser&, const Value& object) override { value = object; }

    Value value;
};

}  // namespace

std::optional<Value> parseJson(std::string_view text, std::string* error, std::uint64_t maxDepth) {
    FirstDocument document;
    VLJsonStreamParserAdapter adapter;
    adapter.setDelegate(&document);
    VLJsonStreamParser parser;
    parser.setDelegate(&adapter);
    parser.setMaxDepth(maxDepth);
    switch (parser.parse(text)) {
        case VLJsonParserStatus::Complete:
            return std::move(document.value);
        case VLJsonParserStatus::Error:
            if (error != nullptr) {
                *error = parser.error();
            }
            return std::nullopt;
        case VLJsonParserStatus::WaitingForData:
            break;
    }
    if (error != nullptr) {
        *error = "Unexpected end of input";
    }
    return std::nullopt;
}

std::optional<std::string> writeJson(const Value& value, const JsonWriteOptions& options,
                                     std::string* error) {
    VLJsonStreamWriter writer;
    writer.setHumanReadable(options.humanReadable);
    writer.setSortKeys(options.sortKeys);
    writer.setMaxDepth(options.maxDepth);
    if (!writer.writeValue(value)) {
        if (error != nullptr) {
            *error = writer.error();
        }
        return std::nullopt;
    }
    return writer.takeData();
}

}  // namespace velmora
