#pragma once
// VLJsonStreamParserAdapterDelegate: receives the finished values a
// VLJsonStreamParserAdapter assembles: each top-level document (or, with skip, each
// element of the skipped levels) as soon as it closes.
//
// Thread safety: called on the thread that calls the parser's parse.
//
//   struct Collector : VLJsonStreamParserAdapterDelegate {
//       void parserFoundArray(VLJsonStreamParser&, const Value& a) override { all.push_back(a); }
//       void parserFoundObject(VLJsonStreamParser&, const Value& o) override { all.push_back(o); }
//       };

namespace velmora {

class Value;
class VLJsonStreamParser;

class VLJsonStreamParserAdapterDelegate {
  public:
    virtual ~VLJsonStreamParserAdapterDelegate() = default;

    // An array Value.
    virtual void parserFoundArray(VLJsonStreamParser& parser, const Value& array) = 0;
    // Anything else: a dictionary, or a scalar that is an element of a skipped level.
    virtual void parserFoundObject(VLJsonStreamParser& parser, const Value& object) = 0;

  protected:
    VLJsonStreamParserAdapterDelegate() = default;
    VLJsonStreamParserAdapterDelegate(const VLJsonStreamParserAdapterDelegate&) = default;
    VLJsonStreamParserAdapterDelegate& operator=(const VLJsonStreamParserAdapterDelegate&) =
        default;
};

}  // namespace velmora
