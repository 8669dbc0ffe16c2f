#include "Velmora/services/VLLogFormatter.h"

#include <string_view>

#include <fmt/format.h>

namespace velmora {
namespace {

bool isC1Control(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]) == 0xC2 && i + 1 < text.size() &&
           static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
           static_cast<unsigned char>(text[i + 1]) <= 0x9F;
}

bool isEscaped(unsigned char c) {
    return (c < 0x20 && c != '\t') || c == 0x7F;
}

// A message is one line whatever it holds: line breaks, terminal escape sequences and
// other control characters are written as visible escapes, so that a text cannot
// forge further log lines or restyle the terminal. Ordinary text passes unchanged.
std::string escapedText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (isC1Control(text, i)) {
            out += fmt::format("\\u{:04x}", static_cast<unsigned char>(text[++i]));
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (isEscaped(c)) {
            out += fmt::format("\\x{:02x}", c);
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

}  // namespace

VLLogFormatter::VLLogFormatter() {
    dateFormatter_.setDateFormat(kDateFormat);
}

std::string VLLogFormatter::formatLogMessage(const LogMessage& message) {
    std::string_view tag = "[V]";
    std::string_view suffix;
    switch (message.flag) {
        case static_cast<int>(LogFlag::Error):
            tag = "\n[E] --->";
            suffix = "\n";
            break;
        case static_cast<int>(LogFlag::Warning):
            tag = "[W]";
            break;
        case static_cast<int>(LogFlag::Info):
            tag = "[I]";
            break;
        case static_cast<int>(LogFlag::Debug):
            tag = "[D]";
            break;
        default:
            break;
    }
    return fmt::format("{} {}: {}{}", tag, dateFormatter_.stringFromDate(message.timestamp),
                       escapedText(message.text), suffix);
}

void VLLogFormatter::didAddToLogger(Logger& /*logger*/) {
    ++loggerCount_;
}

void VLLogFormatter::willRemoveFromLogger(Logger& /*logger*/) {
    --loggerCount_;
}

}  // namespace velmora
