#include "Velmora/json/VLJsonStreamParser.h"

#include <fmt/format.h>

#include "Velmora/json/VLJsonNumber.h"
#include "Velmora/platform/logging/Log.h"

namespace velmora {

inline void VLJsonStreamParser::transition(const VLJsonStreamParserState& state,
                                           VLJsonToken token) {
    if (const VLJsonStreamParserState* next = state.nextState(token)) {
        states_[depth_] = next;
    } else {
        state.parserShouldTransitionTo(*this, token);
    }
}

// Inside a container a value is followed by ',' or a close; the ',' is taken here, so
// that the common case costs a predictable comparison instead of the token dispatch.
inline void VLJsonStreamParser::takeValueSeparator() {
    if (depth_ > 0 && tokeniser_.nextIsSeparator(',')) {
        transition(*states_[depth_], VLJsonToken::ValueSeparator);
    }
}

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
                        return VLJsonParserStatus::Error;
                    }
                    if (token == VLJsonToken::ObjectStart) {
                        if (delegate_ != nullptr) {
                            delegate_->parserFoundObjectStart(*this);
                        }
                        states_[++depth_] = objectStart_;
                    } else {
                        if (delegate_ != nullptr) {
                            delegate_->parserFoundArrayStart(*this);
                        }
                        states_[++depth_] = arrayStart_;
                    }
                    break;
                case VLJsonToken::ObjectEnd:
                case VLJsonToken::ArrayEnd:
                    --depth_;
                    transition(*states_[depth_], token);
                    if (delegate_ != nullptr) {
                        if (token == VLJsonToken::ObjectEnd) {
                            delegate_->parserFoundObjectEnd(*this);
                        } else {
                            delegate_->parserFoundArrayEnd(*this);
                        }
                    }
                    // Only a close can end the document, so only here is stopping checked.
                    if (states_[depth_]->parserShouldStop(*this)) {
                        return states_[depth_]->parserShouldReturn(*this);
                    }
                    takeValueSeparator();
                    break;
                case VLJsonToken::KeyValueSeparator:
                case VLJsonToken::ValueSeparator:
                    transition(state, token);
                    break;
                case VLJsonToken::String:
                case VLJsonToken::EncodedString:
                    if (!reportString(token, state)) {
                        return VLJsonParserStatus::Error;
                    }
                    // A key is followed by ':' in every valid document: take it here.
                    if (state.needKey()) {
                        if (tokeniser_.nextIsSeparator(':')) {
                            transition(*states_[depth_], VLJsonToken::KeyValueSeparator);
                        }
                    } else {
                        takeValueSeparator();
                    }
                    break;
                case VLJsonToken::Integer:
                case VLJsonToken::Real:
                    reportNumber(token);
                    transition(state, token);
                    takeValueSeparator();
                    break;
                case VLJsonToken::True:
                case VLJsonToken::False:
                    if (delegate_ != nullptr) {
                        delegate_->parserFoundBoolean(*this, token == VLJsonToken::True);
                    }
                    transition(state, token);
                    takeValueSeparator();
                    break;
                case VLJsonToken::Null:
                    if (delegate_ != nullptr) {
                        delegate_->parserFoundNull(*this);
                    }
                    transition(state, token);
                    takeValueSeparator();
                    break;
                default:
                    break;
            }
        }
    }
    return states_[depth_]->parserShouldReturn(*this);
}

bool VLJsonStreamParser::reportString(VLJsonToken token, const VLJsonStreamParserState& state) {
    std::string_view text;
    if (token == VLJsonToken::String) {
        if (!tokeniser_.isStringTokenValidUtf8()) {
            tokeniser_.decodeStringToken(decoded_);  // sets the tokeniser's error
            fail(Fault::Tokeniser);
            return false;
        }
        const std::string_view quoted = tokeniser_.tokenView();
        text = quoted.substr(1, quoted.size() - 2);
    } else {
        if (!tokeniser_.decodeStringToken(decoded_)) {
            fail(Fault::Tokeniser);
            return false;
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
    transition(state, token);
    return true;
}

void VLJsonStreamParser::reportNumber(VLJsonToken token) {
    if (delegate_ != nullptr) {
        delegate_->parserFoundNumber(
            *this, VLJsonNumber(tokeniser_.tokenView(), token == VLJsonToken::Real));
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
