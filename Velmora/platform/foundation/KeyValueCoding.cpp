#include "Velmora/platform/foundation/KeyValueCoding.h"

#include <cstdint>
#include <string>

namespace velmora {
namespace {

// The value an operator works on for one element: at path, or the element itself.
Value operand(const Value& element, std::string_view path) {
    return path.empty() ? element : valueForKeyPath(element, path);
}

Value sumOf(const Array& elements, std::string_view path) {
    std::int64_t integerSum = 0;
    double doubleSum = 0;
    bool integral = true;
    for (const Value& element : elements) {
        const Value value = operand(element, path);
        if (!value.isNumber()) {
            continue;
        }
        doubleSum += value.doubleValue();
        const auto kind = value.kind();
        const bool isInteger =
            kind == Value::Kind::Bool || kind == Value::Kind::Int ||
            (kind == Value::Kind::UInt && value.unsignedIntegerValue() <= INT64_MAX);
        if (!isInteger || __builtin_add_overflow(integerSum, value.integerValue(), &integerSum)) {
            integral = false;
        }
    }
    return integral ? Value(integerSum) : Value(doubleSum);
}

Value averageOf(const Array& elements, std::string_view path) {
    if (elements.empty()) {
        return {};
    }
    double sum = 0;
    for (const Value& element : elements) {
        if (const Value value = operand(element, path); value.isNumber()) {
            sum += value.doubleValue();
        }
    }
    return Value(sum / static_cast<double>(elements.size()));
}

// The greatest (wanted == Descending) or least (wanted == Ascending) operand.
Value extremeOf(const Array& elements, std::string_view path, ComparisonResult wanted) {
    Value best;
    for (const Value& element : elements) {
        Value value = operand(element, path);
        if (value.isNil() || value.isNull()) {
            continue;
        }
        if (best.isNil() || value.compare(best) == wanted) {
            best = std::move(value);
        }
    }
    return best;
}

// key starts with "@": "@op" or "@op.path".
Value collectionOperator(const Array& elements, std::string_view key) {
    const std::size_t dot = key.find('.');
    const std::string_view name = key.substr(0, dot);
    const std::string_view path =
        dot == std::string_view::npos ? std::string_view() : key.substr(dot + 1);
    if (name == "@count") {
        return Value(static_cast<std::uint64_t>(elements.size()));
    }
    if (name == "@sum") {
        return sumOf(elements, path);
    }
    if (name == "@avg") {
        return averageOf(elements, path);
    }
    if (name == "@max") {
        return extremeOf(elements, path, ComparisonResult::Descending);
    }
    if (name == "@min") {
        return extremeOf(elements, path, ComparisonResult::Ascending);
    }
    return {};
}

}  // namespace

Value valueForKey(const Array& receiver, std::string_view key) {
    if (key.empty()) {
        return {};
    }
    if (key.front() == '@') {
        return collectionOperator(receiver, key);
    }
    Array values;
    values.reserve(receiver.size());
    for (const Value& element : receiver) {
        Value value = valueForKey(element, key);
        values.push_back(value.isNil() ? Value::null() : std::move(value));
    }
    return Value(std::move(values));
}

Value valueForKey(const Value& receiver, std::string_view key) {
    if (key.empty()) {
        return {};
    }
    if (const Dictionary* dictionary = receiver.asDictionary()) {
        return dictionary->get(Value(key));
    }
    if (const ObjectRef object = receiver.asObject()) {
        return object->valueForKey(key);
    }
    if (const Array* array = receiver.asArray()) {
        return valueForKey(*array, key);
    }
    return {};
}

Value valueForKeyPath(const Value& receiver, std::string_view keyPath) {
    if (keyPath.empty()) {
        return {};
    }
    // A loop rather than recursion: a key path may come from outside and be very long.
    Value current = receiver;
    while (true) {
        const std::size_t dot = keyPath.front() == '@' ? std::string_view::npos : keyPath.find('.');
        if (dot == std::string_view::npos) {
            return valueForKey(current, keyPath);
        }
        current = valueForKey(current, keyPath.substr(0, dot));
        keyPath.remove_prefix(dot + 1);
        if (current.isNil() || keyPath.empty()) {
            return {};
        }
    }
}

}  // namespace velmora
