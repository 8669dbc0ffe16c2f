#pragma once
// The peers of the JSON benchmark behind one small interface, so that their headers stay
// out of the Velmora benchmark file. Each function does its whole job once.

#include <cstddef>
#include <memory>
#include <string>

namespace velmora::bench {

// Event parsing: the number of events, or 0 when the text is refused.
std::size_t rapidJsonSaxEvents(const std::string& text);
std::size_t yajlEvents(const std::string& text);
std::size_t nlohmannSaxEvents(const std::string& text);

// A parsed document of one peer, kept for the writing benchmarks.
class PeerDocument {
  public:
    virtual ~PeerDocument() = default;
    // Serialises compactly; answers the length written.
    virtual std::size_t write() const = 0;
};

// Parsing into the peer's tree; the tree's element count or 0.
std::size_t nlohmannParse(const std::string& text);
std::size_t rapidJsonDomParse(const std::string& text);
std::size_t yajlTreeParse(const std::string& text);

std::unique_ptr<PeerDocument> nlohmannDocument(const std::string& text);
std::unique_ptr<PeerDocument> rapidJsonDocument(const std::string& text);
std::unique_ptr<PeerDocument> yajlDocument(const std::string& text);

}  // namespace velmora::bench
