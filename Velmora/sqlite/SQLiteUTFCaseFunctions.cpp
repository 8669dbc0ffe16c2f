#include "Velmora/sqlite/SQLiteUTFCaseFunctions.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "Velmora/platform/locale/Locale.h"
#include "Velmora/sqlite/MutableUnicodeString.h"

namespace velmora {
namespace {

enum class Failure {
    BadArguments,
    NoInputUtf8,
    NoInputUtf16,
    NoUserData,
    StringCreation,
    Utf8Buffer,
    Utf8Conversion,
    Utf16Buffer,
    Utf16Conversion,
    UnhandledEncoding,
};

// Every error text of the functions, in one place.
void reportFailure(sqlite3_context* context, Failure failure) {
    std::string_view text;
    switch (failure) {
        case Failure::BadArguments:
            text = "LOWER/UPPER CF implementation got bad args";
            break;
        case Failure::NoInputUtf8:
            text = "LOWER/UPPER CF implementation no input UTF8";
            break;
        case Failure::NoInputUtf16:
            text = "LOWER/UPPER CF implementation no input UTF16";
            break;
        case Failure::NoUserData:
            text = "LOWER/UPPER CF implementation no user args";
            break;
        case Failure::StringCreation:
            text = "LOWER/UPPER CF implementation failed to allocate CFMutableStringRef";
            break;
        case Failure::Utf8Buffer:
            text = "LOWER/UPPER failed to allocate return buffer";
            break;
        case Failure::Utf8Conversion:
            text = "CFStringGetBytes() failed to convert all characters";
            break;
        case Failure::Utf16Buffer:
            text = "LOWER/UPPER CF implementation failed to allocate return buffer";
            break;
        case Failure::Utf16Conversion:
            text =
                "LOWER/UPPER CF implementation CFStringGetBytes() failed to convert all "
                "characters";
            break;
        case Failure::UnhandledEncoding:
            text = "LOWER/UPPER CF implementation had unhandled encoding";
            break;
    }
    sqlite3_result_error(context, text.data(), static_cast<int>(text.size()));
}

struct SqliteFree {
    void operator()(void* memory) const { sqlite3_free(memory); }
};
using SqliteBuffer = std::unique_ptr<char, SqliteFree>;

SqliteBuffer allocate(std::size_t bytes) {
    return SqliteBuffer(static_cast<char*>(sqlite3_malloc64(bytes)));
}

void returnUtf8(sqlite3_context* context, const MutableUnicodeString& text) {
    if (const char* direct = text.utf8Pointer()) {
        sqlite3_result_text(context, direct, static_cast<int>(text.length()), SQLITE_TRANSIENT);
        return;
    }
    const std::size_t capacity =
        MutableUnicodeString::maximumSizeForEncoding(text.length(), StringEncoding::UTF8) + 1;
    SqliteBuffer buffer = allocate(capacity);
    if (!buffer) {
        reportFailure(context, Failure::Utf8Buffer);
        return;
    }
    std::size_t used = 0;
    if (text.getBytes(StringEncoding::UTF8, buffer.get(), capacity, used) < text.length()) {
        reportFailure(context, Failure::Utf8Conversion);
        return;
    }
    sqlite3_result_text(context, buffer.release(), static_cast<int>(used), sqlite3_free);
}

// The native row (SQLITE_UTF16) converts to UTF-8 here and then fails: the function it
// stands in for had no return path for that case. Kept on purpose, so that a UTF-16
// database sees the same errors.
void returnUtf16(sqlite3_context* context, const MutableUnicodeString& text, int encoding) {
    if (const char16_t* direct = text.charactersPointer()) {
        sqlite3_result_text16(context, direct, static_cast<int>(2 * text.length()),
                              SQLITE_TRANSIENT);
        return;
    }
    const StringEncoding target = encoding == SQLITE_UTF16LE   ? StringEncoding::UTF16LE
                                  : encoding == SQLITE_UTF16BE ? StringEncoding::UTF16BE
                                                               : StringEncoding::UTF8;
    const std::size_t capacity =
        MutableUnicodeString::maximumSizeForEncoding(text.length(), target);
    SqliteBuffer buffer = allocate(capacity + 1);
    if (!buffer) {
        reportFailure(context, Failure::Utf16Buffer);
        return;
    }
    std::size_t used = 0;
    if (text.getBytes(target, buffer.get(), capacity, used) < text.length()) {
        reportFailure(context, Failure::Utf16Conversion);
        return;
    }
    if (encoding == SQLITE_UTF16LE) {
        sqlite3_result_text16le(context, buffer.release(), static_cast<int>(used), sqlite3_free);
    } else if (encoding == SQLITE_UTF16BE) {
        sqlite3_result_text16be(context, buffer.release(), static_cast<int>(used), sqlite3_free);
    } else {
        reportFailure(context, Failure::UnhandledEncoding);
    }
}

const void* utf16Input(sqlite3_value* value, int encoding) {
    switch (encoding) {
        case SQLITE_UTF16LE:
            return sqlite3_value_text16le(value);
        case SQLITE_UTF16BE:
            return sqlite3_value_text16be(value);
        default:
            return sqlite3_value_text16(value);
    }
}

void utf8CaseFunction(sqlite3_context* context, int argc, sqlite3_value** argv) {
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        reportFailure(context, Failure::BadArguments);
        return;
    }
    const unsigned char* input = sqlite3_value_text(argv[0]);
    if (input == nullptr) {
        reportFailure(context, Failure::NoInputUtf8);
        return;
    }
    const auto* row = static_cast<const CaseFunctionRow*>(sqlite3_user_data(context));
    if (row == nullptr) {
        reportFailure(context, Failure::NoUserData);
        return;
    }
    auto text = MutableUnicodeString::fromUtf8(
        std::string_view(reinterpret_cast<const char*>(input),
                         static_cast<std::size_t>(sqlite3_value_bytes(argv[0]))));
    if (!text) {
        reportFailure(context, Failure::StringCreation);
        return;
    }
    text->changeCase(row->change, capturedCaseMappingLocale());
    returnUtf8(context, *text);
}

void utf16CaseFunction(sqlite3_context* context, int argc, sqlite3_value** argv) {
    if (argc < 1 || sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        reportFailure(context, Failure::BadArguments);
        return;
    }
    const auto* row = static_cast<const CaseFunctionRow*>(sqlite3_user_data(context));
    const int encoding = row ? row->encoding : SQLITE_UTF16;
    const void* input = utf16Input(argv[0], encoding);
    const int bytes = sqlite3_value_bytes16(argv[0]);
    if (input == nullptr || bytes == 0) {
        reportFailure(context, Failure::NoInputUtf16);
        return;
    }
    if (row == nullptr) {
        reportFailure(context, Failure::NoUserData);
        return;
    }
    // The bytes are in the row's byte order (native for SQLITE_UTF16); the string is
    // built from native units.
    const auto* raw = static_cast<const unsigned char*>(input);
    std::u16string units(static_cast<std::size_t>(bytes) / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        const unsigned first = raw[2 * i];
        const unsigned second = raw[2 * i + 1];
        if (encoding == SQLITE_UTF16BE) {
            units[i] = static_cast<char16_t>((first << 8) | second);
        } else if (encoding == SQLITE_UTF16LE) {
            units[i] = static_cast<char16_t>((second << 8) | first);
        } else {
            std::memcpy(&units[i], raw + 2 * i, sizeof(char16_t));
        }
    }
    auto text = MutableUnicodeString::fromUtf16(units.data(), units.size());
    text.changeCase(row->change, capturedCaseMappingLocale());
    returnUtf16(context, text, row->encoding);
}

}  // namespace

const std::array<CaseFunctionRow, 8>& caseFunctionRows() {
    static constexpr std::array<CaseFunctionRow, 8> kRows{{
        {"upper", CaseChange::Upper, SQLITE_UTF8},
        {"upper", CaseChange::Upper, SQLITE_UTF16},
        {"upper", CaseChange::Upper, SQLITE_UTF16BE},
        {"upper", CaseChange::Upper, SQLITE_UTF16LE},
        {"lower", CaseChange::Lower, SQLITE_UTF8},
        {"lower", CaseChange::Lower, SQLITE_UTF16},
        {"lower", CaseChange::Lower, SQLITE_UTF16BE},
        {"lower", CaseChange::Lower, SQLITE_UTF16LE},
    }};
    return kRows;
}

int registerCaseFunction(sqlite3* db, const CaseFunctionRow& row) {
    return sqlite3_create_function(
        db, row.name, 1, row.encoding, const_cast<CaseFunctionRow*>(&row),
        row.encoding == SQLITE_UTF8 ? utf8CaseFunction : utf16CaseFunction, nullptr, nullptr);
}

const icu::Locale& capturedCaseMappingLocale() {
    static const icu::Locale locale(Locale::current().identifier().c_str());
    return locale;
}

}  // namespace velmora
