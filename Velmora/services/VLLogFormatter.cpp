#include "Velmora/services/VLLogFormatter.h"

#include <string_view>

#include <fmt/format.h>

namespace velmora {

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
                       message.text, suffix);
}

void VLLogFormatter::didAddToLogger(Logger& /*logger*/) {
    ++loggerCount_;
}

void VLLogFormatter::willRemoveFromLogger(Logger& /*logger*/) {
    --loggerCount_;
}

}  // namespace velmora
