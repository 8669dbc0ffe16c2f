#include "Velmora/json/VLJsonStreamParser.h"

#include <charconv>
#include <limits>
#include <system_error>

#include <fmt/format.h>

#include "Velmora/platform/foundation/Value.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

namespace {

// Integers this short fit in 64 bits with room to spare; longer ones become decimals.
constexpr std::size_t kMaxShortInteger = 11;
// Reals this short are read as doubles; longer ones become decimals, keeping every digit.
constexpr std::size_t kMaxShortReal = 6;

// The value of a short integer token, as strtol would give it: the tokeniser has already
// refused leading zeros, so base 0 never sees an octal or hex prefix.
std::int64_t shortInteger(std::string_view text) {
    const bool negative = text.front() == '-';
    std::int64_t value = 0;
    for (std::size_t i = negative ? 1 : 0; i < text.size(); ++i) {
        value = value * 10 + (text[i] - '0');
    }
    return negative ? -value : value;
}

// As strtod would read it in the C locale; from_chars ignores the process locale. Out of
// range, from_chars leaves the value alone where strtod gives an infinity (1e309) or a
// zero (1e-400), so those two are made here.
double shortReal(std::string_view text) {
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool negative = text.front() == '-';
        const bool tiny =
            text.find("e-") != std::string_view::npos || text.find("E-") != std::string_view::npos;
        value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
        return negative ? -value : value;
    }
    return value;
}

}  // namespace

VLJsonStreamParser::VLJsonStreamParser() {
    const auto& start = VLJsonStreamParserStateStart::sharedInstance();
    states_.assign(maxDepth_ + 1, nullptr);
    states_[0] = &start;
}

void VLJsonStreamParser::setMaxDepth(std::uint64_t maxDepth) {
    maxDepth_ = maxDepth;
    // One entry per level, and never fewer than the levels already open.
    states_.resize(std::max(maxDepth, depth_) + 1, nullptr);
}

std::string VLJsonStreamParser::tokenName(VLJsonToken token) {
    switch (token) {
        case VLJsonToken::ObjectStart:
            return "start of object";
        case VLJsonToken::KeyValueSeparator:
            return "key-value separator";
        case VLJsonToken::ObjectEnd:
            return "end of object";
        case VLJsonToken::ArrayStart:
            return "start of array";
        case VLJsonToken::ArrayEnd:
            return "end of array";
        case VLJsonToken::ValueSeparator:
            return "value separator";
        case VLJsonToken::String:
        case VLJsonToken::EncodedString:
            return "string";
        case VLJsonToken::Integer:
        case VLJsonToken::Real:
            return "number";
        case VLJsonToken::True:
        case VLJsonToken::False:
            return "boolean";
        case VLJsonToken::Null:
            return "null";
        default:
            return "<aaiiie!>";
    }
}

VLJsonParserStatus VLJsonStreamParser::parse(std::string_view bytes) {
    tokeniser_.appendData(bytes);
    if (!states_[depth_]->parserShouldStop(*this)) {
        for (;;) {
            const VLJsonToken token = tokeniser_.next();
            if (token == VLJsonToken::Eof) {
                return VLJsonParserStatus::WaitingForData;
            }
            if (token == VLJsonToken::Error) {
                fail(Fault::Tokeniser);
                return VLJsonParserStatus::Error;
            }
            const VLJsonStreamParserState& state = *states_[depth_];
            if (!state.parserShouldAcceptToken(*this, token)) {
                fail(Fault::UnexpectedToken, token);
                return VLJsonParserStatus::Error;
            }
            switch (token) {
                case VLJsonToken::ObjectStart:
                case VLJsonToken::ArrayStart:
                    if (depth_ >= maxDepth_) {
                        fail(Fault::MaxDepth);
                        break;
                    }
                    if (token == VLJsonToken::ObjectStart) {
                        if (delegate_ != nullptr) {
                            delegate_->parserFoundObjectStart(*this);
                        }
                        states_[++depth_] = &VLJsonStreamParserStateObjectStart::sharedInstance();
                    } else {
                        if (delegate_ != nullptr) {
                            delegate_->parserFoundArrayStart(*this);
                        }
                        states_[++depth_] = &VLJsonStreamParserStateArrayStart::sharedInstance();
                    }
                    break;
                case VLJsonToken::ObjectEnd:
                case VLJsonToken::ArrayEnd:
                    --depth_;
                    states_[depth_]->parserShouldTransitionTo(*this, token);
                    if (delegate_ != nullptr) {
                        if (token == VLJsonToken::ObjectEnd) {
                            delegate_->parserFoundObjectEnd(*this);
                        } else {
                            delegate_->parserFoundArrayEnd(*this);
                        }
                    }
                    break;
                case VLJsonToken::KeyValueSeparator:
                case VLJsonToken::ValueSeparator:
                    state.parserShouldTransitionTo(*this, token);
                    break;
                case VLJsonToken::String:
                case VLJsonToken::EncodedString:
                    reportString(token, state);
                    break;
                case VLJsonToken::Integer:
                case VLJsonToken::Real:
                    reportNumber(token);
                    state.parserShouldTransitionTo(*this, token);
                    break;
                case VLJsonToken::True:
                case VLJsonToken::False:
                    if (delegate_ != nullptr) {
                        delegate_->parserFoundBoolean(*this, token == VLJsonToken::True);
                    }
                    state.parserShouldTransitionTo(*this, token);
                    break;
                case VLJsonToken::Null:
                    if (delegate_ != nullptr) {
                        delegate_->parserFoundNull(*this);
                    }
                    state.parserShouldTransitionTo(*this, token);
                    break;
                default:
                    break;
            }
            if (states_[depth_]->parserShouldStop(*this)) {
                break;
            }
        }
    }
    return states_[depth_]->parserShouldReturn(*this);
}

void VLJsonStreamParser::reportString(VLJsonToken token, const VLJsonStreamParserState& state) {
    std::string_view text;
    if (token == VLJsonToken::String) {
        if (!tokeniser_.isStringTokenValidUtf8()) {
            tokeniser_.decodeStringToken(decoded_);  // sets the tokeniser's error
            fail(Fault::Tokeniser);
            return;
        }
        const std::string_view quoted = tokeniser_.tokenView();
        text = quoted.substr(1, quoted.size() - 2);
    } else {
        if (!tokeniser_.decodeStringToken(decoded_)) {
            fail(Fault::Tokeniser);
            return;
        }
        text = decoded_;
    }
    if (delegate_ != nullptr) {
        if (state.needKey()) {
            delegate_->parserFoundObjectKey(*this, text);
        } else {
            delegate_->parserFoundString(*this, text);
        }
    }
    state.parserShouldTransitionTo(*this, token);
}

void VLJsonStreamParser::reportNumber(VLJsonToken token) {
    if (delegate_ == nullptr) {
        return;
    }
    const std::string_view text = tokeniser_.tokenView();
    if (token == VLJsonToken::Integer && text.size() <= kMaxShortInteger) {
        delegate_->parserFoundNumber(*this, Value(shortInteger(text)));
    } else if (token == VLJsonToken::Real && text.size() <= kMaxShortReal) {
        delegate_->parserFoundNumber(*this, Value(shortReal(text)));
    } else {
        delegate_->parserFoundNumber(*this, Value::decimal(text));
    }
}

void VLJsonStreamParser::fail(Fault fault, VLJsonToken token) {
    switch (fault) {
        case Fault::Tokeniser:
            error_ = tokeniser_.error();
            break;
        case Fault::UnexpectedToken:
            log::info("STATE: {}", states_[depth_]->description());
            error_ = fmt::format("Token '{}' not expected {}", tokenName(token),
                                 states_[depth_]->name());
            break;
        case Fault::MaxDepth:
            error_ = fmt::format("Parser exceeded max depth of {}", maxDepth_);
            break;
    }
    states_[depth_] = &VLJsonStreamParserStateError::sharedInstance();
}

}  // namespace velmora
