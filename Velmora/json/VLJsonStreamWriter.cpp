#include "Velmora/json/VLJsonStreamWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include <fmt/format.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "Velmora/json/VLJsonProxy.h"
#include "Velmora/json/VLJsonStringCache.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {

constexpr std::size_t kInitialCapacity = 1024;

bool needsEscape(unsigned char c) {
    return c < 32 || c == '"' || c == '\\';
}

// Index of the first byte at or after i that must be escaped, or size.
std::size_t findEscape(const char* p, std::size_t i, std::size_t size) {
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    for (; i + 16 <= size; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const __m128i special =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, backslash)),
                         _mm_cmpeq_epi8(_mm_min_epu8(v, lastControl), v));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special));
        if (mask != 0) {
            return i + static_cast<unsigned>(__builtin_ctz(mask));
        }
    }
#endif
    for (; i < size; ++i) {
        if (needsEscape(static_cast<unsigned char>(p[i]))) {
            return i;
        }
    }
    return size;
}

void appendEscape(std::string& out, unsigned char c) {
    static constexpr char kHex[] = "0123456789abcdef";
    switch (c) {
        case '\b':
            out.append("\\b");
            return;
        case '\t':
            out.append("\\t");
            return;
        case '\n':
            out.append("\\n");
            return;
        case '\f':
            out.append("\\f");
            return;
        case '\r':
            out.append("\\r");
            return;
        case '"':
            out.append("\\\"");
            return;
        case '\\':
            out.append("\\\\");
            return;
        default:
            if (c < 32) {
                const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
                out.append(escape, sizeof escape);
                return;
            }
            // Unreachable for the bytes findEscape stops at; kept as a loud guard.
            log::error("FUTFUTFUT: -->'{}'<---", static_cast<char>(c));
            out.append("FUTFUTFUT");
            return;
    }
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether a decimal's text is already the description the writer would write: an optional
// '-', whole digits without a leading zero (or one zero before a fraction), an optional
// fraction that does not end in zero, no exponent, not zero, and too short for the
// description's long runs of zeros to switch to scientific notation. Such texts (JSON reals
// too long for a double, the usual decimals) are copied instead of described, which
// would build several strings per number.
bool textIsDescription(std::string_view text) {
    constexpr std::size_t kLongestCopied = 40;
    std::size_t i = !text.empty() && text[0] == '-' ? 1 : 0;
    if (text.size() > kLongestCopied || i == text.size()) {
        return false;
    }
    const std::size_t wholeStart = i;
    bool nonZero = false;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        nonZero = nonZero || text[i] != '0';
    }
    if (i == wholeStart || (i - wholeStart > 1 && text[wholeStart] == '0')) {
        return false;
    }
    if (i == text.size()) {
        return nonZero;
    }
    if (text[i] != '.') {
        return false;
    }
    const std::size_t fractionStart = ++i;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        nonZero = nonZero || text[i] != '0';
    }
    return i == text.size() && i > fractionStart && text.back() != '0' && nonZero;
}

std::string kindName(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Nil:
            return "nil";
        case Value::Kind::Date:
            return "Date";
        case Value::Kind::Data:
            return "Data";
        case Value::Kind::Object:
            return value.asObject()->className();
        default:
            return "Value";
    }
}

}  // namespace

// The states' operations live here so that the writer's hot paths inline them.
bool VLJsonStreamWriterState::isInvalidState(VLJsonStreamWriter& writer) const {
    if (traits_.invalid) {
        writer.fail(VLJsonStreamWriter::Fault::StreamClosed);
    }
    return traits_.invalid;
}

void VLJsonStreamWriterState::appendSeparator(VLJsonStreamWriter& writer) const {
    if (traits_.separator != '\0') {
        writer.put(traits_.separator);
    }
}

bool VLJsonStreamWriterState::expectingKey(VLJsonStreamWriter& writer) const {
    if (traits_.expectsKey) {
        writer.fail(VLJsonStreamWriter::Fault::KeyMustBeString);
    }
    return traits_.expectsKey;
}

void VLJsonStreamWriterState::transitionState(VLJsonStreamWriter& writer) const {
    if (next_ != nullptr) {
        writer.states_[writer.depth_] = next_;
    }
}

void VLJsonStreamWriterState::appendWhitespace(VLJsonStreamWriter& writer) const {
    if (traits_.spaceAfterKey) {
        writer.put(' ');
        return;
    }
    const auto indent = static_cast<std::size_t>(writer.depth_) * 2;
    char* out = writer.room(indent + 1);
    out[0] = '\n';
    std::memset(out + 1, ' ', indent);
    writer.size_ += indent + 1;
}

VLJsonStreamWriter::VLJsonStreamWriter() {
    states_.assign(maxDepth_ + 1, nullptr);
    states_[0] = &VLJsonStreamWriterStateStart::sharedInstance();
    data_.resize(kInitialCapacity);
}

void VLJsonStreamWriter::setMaxDepth(std::uint64_t maxDepth) {
    maxDepth_ = maxDepth;
    states_.resize(std::max(maxDepth, depth_) + 1, nullptr);
}

void VLJsonStreamWriter::grow(std::size_t count) {
    data_.resize(std::max({data_.size() * 2, size_ + count, kInitialCapacity}));
}

bool VLJsonStreamWriter::fail(Fault fault, std::string_view detail) {
    switch (fault) {
        case Fault::NestedTooDeep:
            error_ = "Nested too deep";
            break;
        case Fault::StreamClosed:
            error_ = "Stream is closed";
            break;
        case Fault::KeyMustBeString:
            error_ = "JSON object key must be string";
            break;
        case Fault::KeyMustBeStringNamed:
            error_ = fmt::format("JSON object key must be string: {}", detail);
            break;
        case Fault::NotSupported:
            error_ = fmt::format("JSON serialisation not supported for {}", detail);
            break;
        case Fault::PositiveInfinity:
            error_ = "+Infinity is not a valid number in JSON";
            break;
        case Fault::NegativeInfinity:
            error_ = "-Infinity is not a valid number in JSON";
            break;
        case Fault::NotANumber:
            error_ = "NaN is not a valid number in JSON";
            break;
    }
    return false;
}

bool VLJsonStreamWriter::open(const VLJsonStreamWriterState& opened, char bracket) {
    const VLJsonStreamWriterState& current = state();
    if (current.isInvalidState(*this) || current.expectingKey(*this)) {
        return false;
    }
    current.appendSeparator(*this);
    if (humanReadable_ && depth_ > 0) {
        current.appendWhitespace(*this);
    }
    if (maxDepth_ != 0) {
        if (depth_ + 1 > maxDepth_) {
            // The level is not entered, so the writer stays usable at its current level.
            return fail(Fault::NestedTooDeep);
        }
        ++depth_;
    }
    states_[depth_] = &opened;
    put(bracket);
    return true;
}

bool VLJsonStreamWriter::close(char bracket, bool refuseWhereKeyIsDue) {
    const VLJsonStreamWriterState& closing = state();
    // A close at the top level has no level to leave; it stays at 0.
    if (depth_ > 0) {
        --depth_;
    }
    if (closing.isInvalidState(*this)) {
        return false;
    }
    if (refuseWhereKeyIsDue && closing.expectingKey(*this)) {
        return false;
    }
    if (humanReadable_) {
        closing.appendWhitespace(*this);
    }
    put(bracket);
    state().transitionState(*this);
    return true;
}

bool VLJsonStreamWriter::writeObjectOpen() {
    return open(VLJsonStreamWriterStateObjectStart::sharedInstance(), '{');
}

bool VLJsonStreamWriter::writeArrayOpen() {
    return open(VLJsonStreamWriterStateArrayStart::sharedInstance(), '[');
}

// Deliberately no key test: "}" right after a key is written without complaint.
bool VLJsonStreamWriter::writeObjectClose() {
    return close('}', false);
}

bool VLJsonStreamWriter::writeArrayClose() {
    return close(']', true);
}

bool VLJsonStreamWriter::beginScalar() {
    const VLJsonStreamWriterState& current = state();
    if (current.isInvalidState(*this) || current.expectingKey(*this)) {
        return false;
    }
    current.appendSeparator(*this);
    if (humanReadable_) {
        current.appendWhitespace(*this);
    }
    return true;
}

bool VLJsonStreamWriter::writeNull() {
    if (!beginScalar()) {
        return false;
    }
    put("null");
    state().transitionState(*this);
    return true;
}

bool VLJsonStreamWriter::writeBool(bool value) {
    if (!beginScalar()) {
        return false;
    }
    put(value ? "true" : "false");
    state().transitionState(*this);
    return true;
}

bool VLJsonStreamWriter::writeString(std::string_view string) {
    const VLJsonStreamWriterState& current = state();
    if (current.isInvalidState(*this)) {
        return false;
    }
    current.appendSeparator(*this);
    if (humanReadable_) {
        current.appendWhitespace(*this);
    }
    appendQuoted(string);
    state().transitionState(*this);
    return true;
}

void VLJsonStreamWriter::appendQuoted(std::string_view string) {
    // A string with nothing to escape is its own escaped form: one scan finds that
    // sooner than the cache's hash and lock would, so only the others go to the cache.
    const char* p = string.data();
    const std::size_t first = findEscape(p, 0, string.size());
    if (first == string.size()) {
        char* out = room(string.size() + 2);
        out[0] = '"';
        std::memcpy(out + 1, string.data(), string.size());
        out[string.size() + 1] = '"';
        size_ += string.size() + 2;
        return;
    }
    VLJsonStringCache& cache = VLJsonStringCache::shared();
    escaped_.clear();
    if (cache.appendCached(string, escaped_)) {
        put(escaped_);
        return;
    }
    escaped_.reserve(string.size() + string.size() / 10 + 2);
    escaped_.push_back('"');
    escaped_.append(p, first);
    std::size_t i = first;
    while (i < string.size()) {
        const std::size_t special = findEscape(p, i, string.size());
        escaped_.append(p + i, special - i);
        if (special == string.size()) {
            break;
        }
        appendEscape(escaped_, static_cast<unsigned char>(p[special]));
        i = special + 1;
    }
    escaped_.push_back('"');
    put(escaped_);
    cache.store(string, escaped_);
}

void VLJsonStreamWriter::appendDouble(double value) {
    // "%g": six significant digits, on purpose. to_chars with a precision writes exactly
    // what printf's "%.6g" writes (in the C locale, whatever the process's), and faster
    // than a format string, which takes a multi-precision path for fixed precisions.
    char buffer[64];
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
    put(std::string_view(buffer, static_cast<std::size_t>(end.ptr - buffer)));
}

bool VLJsonStreamWriter::writeNumber(const Value& number) {
    if (number.isBool()) {
        return writeBool(number.boolValue());
    }
    if (!number.isNumber()) {
        return fail(Fault::NotSupported, kindName(number));
    }
    if (!beginScalar()) {
        return false;
    }
    char buffer[64];
    switch (number.kind()) {
        case Value::Kind::Int: {
            const auto end = std::to_chars(buffer, buffer + sizeof buffer, number.integerValue());
            put(std::string_view(buffer, static_cast<std::size_t>(end.ptr - buffer)));
            break;
        }
        case Value::Kind::UInt: {
            const auto end =
                std::to_chars(buffer, buffer + sizeof buffer, number.unsignedIntegerValue());
            put(std::string_view(buffer, static_cast<std::size_t>(end.ptr - buffer)));
            break;
        }
        case Value::Kind::Decimal: {
            const DecimalNumber& decimal = *number.asDecimal();
            if (textIsDescription(decimal.text())) {
                put(decimal.text());
            } else {
                put(decimal.description());
            }
            break;
        }
        default: {
            const double value = number.doubleValue();
            if (std::isnan(value)) {
                return fail(Fault::NotANumber);
            }
            if (std::isinf(value)) {
                return fail(value > 0 ? Fault::PositiveInfinity : Fault::NegativeInfinity);
            }
            appendDouble(value);
            break;
        }
    }
    state().transitionState(*this);
    return true;
}

bool VLJsonStreamWriter::writeValue(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Dictionary:
            return writeObject(*value.asDictionary());
        case Value::Kind::Array:
            return writeArray(*value.asArray());
        case Value::Kind::String:
            return writeString(*value.asString());
        case Value::Kind::Null:
            return writeNull();
        case Value::Kind::Bool:
        case Value::Kind::Int:
        case Value::Kind::UInt:
        case Value::Kind::Double:
        case Value::Kind::Decimal:
            return writeNumber(value);
        case Value::Kind::Object:
            if (const auto* proxy = dynamic_cast<const VLJsonProxy*>(value.asObject().get())) {
                return writeValue(proxy->proxyForJson());
            }
            break;
        default:
            break;
    }
    return fail(Fault::NotSupported, kindName(value));
}

bool VLJsonStreamWriter::writeObject(const Dictionary& dictionary) {
    if (!writeObjectOpen()) {
        return false;
    }
    const auto writeMember = [this](const Dictionary::Entry& entry) {
        const std::string* key = entry.key.asString();
        if (key == nullptr) {
            return fail(Fault::KeyMustBeStringNamed, entry.key.description());
        }
        return writeString(*key) && writeValue(entry.value);
    };
    if (sortKeys_ && dictionary.size() > 1) {
        std::vector<const Dictionary::Entry*> sorted;
        sorted.reserve(dictionary.size());
        for (const auto& entry : dictionary) {
            sorted.push_back(&entry);
        }
        std::sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) {
            const std::string* left = a->key.asString();
            const std::string* right = b->key.asString();
            if (left != nullptr && right != nullptr) {
                return *left < *right;
            }
            return a->key.compare(b->key) == ComparisonResult::Ascending;
        });
        for (const auto* entry : sorted) {
            if (!writeMember(*entry)) {
                return false;
            }
        }
    } else {
        for (const auto& entry : dictionary) {
            if (!writeMember(entry)) {
                return false;
            }
        }
    }
    return writeObjectClose();
}

bool VLJsonStreamWriter::writeArray(const Array& array) {
    if (!writeArrayOpen()) {
        return false;
    }
    for (const Value& element : array) {
        if (!writeValue(element)) {
            return false;
        }
    }
    return writeArrayClose();
}

}  // namespace velmora
