#pragma once
// MutableUnicodeString: the mutable string SQLiteUTFExtensions case-maps, modelled on
// the platform string it stands in for. Like it, the string keeps eight bits per
// character while every character is below U+0100 and UTF-16 otherwise, and hands out
// its storage directly only where the storage already is the asked-for form: UTF-16
// characters only from UTF-16 storage, UTF-8 only from eight-bit storage holding ASCII.
// Callers therefore keep their conversion paths, which are reached for Latin-1 text.
//
// Thread safety: a value; one thread at a time.
//
//   auto text = MutableUnicodeString::fromUtf8("straße");
//   text->changeCase(CaseChange::Upper, icu::Locale::getRoot());   // "STRASSE"
//   const char* direct = text->utf8Pointer();                       // ASCII: not null

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace velmora {

enum class CaseChange { Upper, Lower };

// The byte encodings the string converts to.
enum class StringEncoding { UTF8, UTF16LE, UTF16BE };

class MutableUnicodeString {
  public:
    // Nothing for malformed UTF-8 (the platform refuses to create such strings).
    [[nodiscard]] static std::optional<MutableUnicodeString> fromUtf8(std::string_view bytes);
    // Unpaired surrogates are kept, as the platform keeps them.
    [[nodiscard]] static MutableUnicodeString fromUtf16(const char16_t* units, std::size_t count);

    // Full, locale-aware case mapping, then composition to NFC.
    void changeCase(CaseChange change, const icu::Locale& locale);

    // Length in UTF-16 units.
    std::size_t length() const { return static_cast<std::size_t>(text_.length()); }
    // Null unless the storage is UTF-16; valid until the next change.
    const char16_t* charactersPointer() const;
    // Null unless the storage is eight-bit ASCII; zero-terminated, valid until the next
    // change.
    const char* utf8Pointer() const;

    // The most bytes length() characters can take in encoding.
    static std::size_t maximumSizeForEncoding(std::size_t length, StringEncoding encoding);
    // Converts into buffer (capacity bytes) and answers how many UTF-16 units were
    // converted; it stops early at an unpaired surrogate in UTF-8 or when out of room.
    std::size_t getBytes(StringEncoding encoding, char* buffer, std::size_t capacity,
                         std::size_t& usedBytes) const;

  private:
    explicit MutableUnicodeString(icu::UnicodeString text);
    void classify();

    icu::UnicodeString text_;
    bool eightBit_ = true;
    std::string ascii_;  // the characters, when eight-bit ASCII
    bool isAscii_ = true;
};

}  // namespace velmora
