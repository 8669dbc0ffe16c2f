#include "Velmora/dates/DateCalendars.h"

#include <optional>

#include "Velmora/platform/host/Bundle.h"
#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

bool sameLocale(const Locale& a, const Locale& b) {
    // The process-wide locale is handed out as copies sharing one ICU locale, so the
    // pointer test settles the common case without building identifiers.
    return a.icuLocale() == b.icuLocale() || a == b;
}

}  // namespace

std::shared_ptr<Calendar> defaultCalendar() {
    return VelmoraDAO::getSharedInstance().getThreadSafeNSCalendar(false);
}

const Calendar& platformCurrentCalendar() {
    thread_local std::optional<Calendar> cached;
    const TimeZone zone = TimeZone::systemTimeZone();
    const Locale locale = Locale::current();
    if (!cached || !cached->timeZone().isEqual(zone) || !sameLocale(cached->locale(), locale)) {
        cached.emplace(Calendar::current());
    }
    return *cached;
}

std::shared_ptr<DateFormatter> localFormatter() {
    return VelmoraDAO::getSharedInstance().getThreadSafeNSDateFormatter(false);
}

std::shared_ptr<DateFormatter> ukFormatter() {
    return VelmoraDAO::getSharedInstance().getThreadSafeNSDateFormatter(true);
}

void setDateFormatIfChanged(DateFormatter& formatter, const std::string& pattern) {
    if (formatter.dateFormat() != pattern) {
        formatter.setDateFormat(pattern);
    }
}

std::string localized(std::string_view key) {
    return Bundle::main().localizedString(key);
}

}  // namespace velmora
