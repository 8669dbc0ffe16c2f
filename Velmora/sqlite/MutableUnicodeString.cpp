#include "Velmora/sqlite/MutableUnicodeString.h"

#include <cstring>

#include <unicode/normalizer2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace velmora {

MutableUnicodeString::MutableUnicodeString(icu::UnicodeString text) : text_(std::move(text)) {
    classify();
}

std::optional<MutableUnicodeString> MutableUnicodeString::fromUtf8(std::string_view bytes) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t units = 0;
    u_strFromUTF8(nullptr, 0, &units, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) {
        return std::nullopt;
    }
    icu::UnicodeString text;
    status = U_ZERO_ERROR;
    UChar* buffer = text.getBuffer(units);
    u_strFromUTF8(buffer, units, nullptr, bytes.data(), static_cast<int32_t>(bytes.size()),
                  &status);
    text.releaseBuffer(U_SUCCESS(status) ? units : 0);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return MutableUnicodeString(std::move(text));
}

MutableUnicodeString MutableUnicodeString::fromUtf16(const char16_t* units, std::size_t count) {
    return MutableUnicodeString(icu::UnicodeString(units, static_cast<int32_t>(count)));
}

void MutableUnicodeString::changeCase(CaseChange change, const icu::Locale& locale) {
    if (change == CaseChange::Upper) {
        text_.toUpper(locale);
    } else {
        text_.toLower(locale);
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_SUCCESS(status) && !nfc->isNormalized(text_, status) && U_SUCCESS(status)) {
        icu::UnicodeString composed = nfc->normalize(text_, status);
        if (U_SUCCESS(status)) {
            text_ = std::move(composed);
        }
    }
    classify();
}

void MutableUnicodeString::classify() {
    eightBit_ = true;
    isAscii_ = true;
    const int32_t count = text_.length();
    for (int32_t i = 0; i < count; ++i) {
        const char16_t unit = text_.charAt(i);
        eightBit_ = eightBit_ && unit < 0x100;
        isAscii_ = isAscii_ && unit < 0x80;
    }
    ascii_.clear();
    if (isAscii_) {
        for (int32_t i = 0; i < count; ++i) {
            ascii_.push_back(static_cast<char>(text_.charAt(i)));
        }
    }
}

const char16_t* MutableUnicodeString::charactersPointer() const {
    return eightBit_ ? nullptr : text_.getBuffer();
}

const char* MutableUnicodeString::utf8Pointer() const {
    return isAscii_ ? ascii_.c_str() : nullptr;
}

std::size_t MutableUnicodeString::maximumSizeForEncoding(std::size_t length,
                                                         StringEncoding encoding) {
    return encoding == StringEncoding::UTF8 ? 3 * length : 2 * length;
}

std::size_t MutableUnicodeString::getBytes(StringEncoding encoding, char* buffer,
                                           std::size_t capacity, std::size_t& usedBytes) const {
    usedBytes = 0;
    const int32_t count = text_.length();
    int32_t i = 0;
    while (i < count) {
        const int32_t start = i;
        UChar32 c;
        U16_NEXT(text_.getBuffer(), i, count, c);
        if (encoding != StringEncoding::UTF8) {
            const std::size_t units = static_cast<std::size_t>(i - start);
            if (usedBytes + 2 * units > capacity) {
                return static_cast<std::size_t>(start);
            }
            for (int32_t k = start; k < i; ++k) {
                const char16_t unit = text_.charAt(k);
                const char high = static_cast<char>(unit >> 8);
                const char low = static_cast<char>(unit & 0xFF);
                buffer[usedBytes++] = encoding == StringEncoding::UTF16BE ? high : low;
                buffer[usedBytes++] = encoding == StringEncoding::UTF16BE ? low : high;
            }
            continue;
        }
        if (U_IS_SURROGATE(c)) {
            return static_cast<std::size_t>(start);
        }
        char encoded[4];
        int32_t length = 0;
        UBool error = false;
        U8_APPEND(reinterpret_cast<uint8_t*>(encoded), length, 4, c, error);
        if (error || usedBytes + static_cast<std::size_t>(length) > capacity) {
            return static_cast<std::size_t>(start);
        }
        std::memcpy(buffer + usedBytes, encoded, static_cast<std::size_t>(length));
        usedBytes += static_cast<std::size_t>(length);
    }
    return static_cast<std::size_t>(count);
}

}  // namespace velmora
