#pragma once
// VLJsonStreamParserDelegate: what a VLJsonStreamParser reports while it reads, one call
// per syntactic event, in document order. VLJsonStreamParserAdapter is the stock
// implementation that builds Values; implement this directly to react to events without
// building a tree.
//
// Strings and keys are views into the parser's buffers, valid only during the call: copy
// what you keep. Numbers come as views of their text too; their value() is a Value of
// kind Int (integers of up to 11 characters), Double (reals of up to 6 characters) or
// Decimal (anything longer, exact), made only when asked for.
//
// Thread safety: called on the thread that calls parse.
//
//   struct Counter : VLJsonStreamParserDelegate {
//       void parserFoundString(VLJsonStreamParser&, std::string_view) override { ++strings; }
//       ...  };

#include <string_view>

namespace velmora {

class VLJsonNumber;
class VLJsonStreamParser;

class VLJsonStreamParserDelegate {
  public:
    virtual ~VLJsonStreamParserDelegate() = default;

    virtual void parserFoundObjectStart(VLJsonStreamParser& parser) = 0;
    virtual void parserFoundObjectKey(VLJsonStreamParser& parser, std::string_view key) = 0;
    virtual void parserFoundObjectEnd(VLJsonStreamParser& parser) = 0;
    virtual void parserFoundArrayStart(VLJsonStreamParser& parser) = 0;
    virtual void parserFoundArrayEnd(VLJsonStreamParser& parser) = 0;
    virtual void parserFoundBoolean(VLJsonStreamParser& parser, bool value) = 0;
    virtual void parserFoundNull(VLJsonStreamParser& parser) = 0;
    virtual void parserFoundNumber(VLJsonStreamParser& parser, const VLJsonNumber& number) = 0;
    virtual void parserFoundString(VLJsonStreamParser& parser, std::string_view string) = 0;

  protected:
    VLJsonStreamParserDelegate() = default;
    VLJsonStreamParserDelegate(const VLJsonStreamParserDelegate&) = default;
    VLJsonStreamParserDelegate& operator=(const VLJsonStreamParserDelegate&) = default;
};

}  // namespace velmora
