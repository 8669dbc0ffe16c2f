// The per-thread calendars and formatters: each thread keeps its own in thread-local
// storage (no lock), stamped with the generation counter at which they were made.
#include <array>

#include "Velmora/services/VelmoraDAO.h"

namespace velmora {
namespace {

// The calling thread's cache, one slot per key the original keeps in the thread's
// dictionary. One calendar stamp serves all four calendar kinds: after the counter moves
// on, the first calendar rebuilt re-stamps it and the other kinds cached on the thread
// count as current although built earlier. That is the original's behaviour, kept.
struct ThreadCaches {
    // "NSCachedCalendar-UTC-AUTO", "NSCachedCalendar-LOCAL-AUTO", "NSCachedCalendar-UTC-GB",
    // "NSCachedCalendar-LOCAL-GB", in that order.
    std::array<std::shared_ptr<Calendar>, 4> calendars;
    std::int64_t calDateChangeCounter = 0;  // "calDateChangeCounter"; 0: never stamped
    // "NSCachedDate-UK", "NSCachedDate-LOCAL".
    std::array<std::shared_ptr<DateFormatter>, 2> dateFormatters;
    std::int64_t formatterDateChangeCounter = 0;  // "formatterDateChangeCounter"
    // "NSCachedNoStylenumFormatter", "NSCachednumFormatter": no generation check.
    std::shared_ptr<NumberFormatter> noStyleNumberFormatter;
    std::shared_ptr<NumberFormatter> numberFormatter;
};

ThreadCaches& threadCaches() {
    thread_local ThreadCaches caches;
    return caches;
}

std::shared_ptr<NumberFormatter> cachedNumberFormatter(std::shared_ptr<NumberFormatter>& slot) {
    if (!slot) {
        slot = std::make_shared<NumberFormatter>();
        slot->setNumberStyle(NumberFormatterStyle::None);
    }
    return slot;
}

}  // namespace

std::shared_ptr<Calendar> VelmoraDAO::getThreadSafeNSCalendar(bool utc) {
    return getThreadSafeNSCalendarWithUTC(utc, false);
}

std::shared_ptr<Calendar> VelmoraDAO::getThreadSafeNSCalendarWithUTC(bool utc, bool gb) {
    ThreadCaches& caches = threadCaches();
    std::shared_ptr<Calendar>& slot = caches.calendars[(gb ? 2 : 0) + (utc ? 0 : 1)];
    const std::int64_t generation = lastDateChangeCounter_.load(std::memory_order_relaxed);
    if (!slot || caches.calDateChangeCounter != generation) {
        Locale locale = gb ? Locale("en_GB") : Locale::current();
        if (!gb) {
            std::lock_guard lock(settingsMutex_);
            if (currentAutomaticLocale_) {
                locale = *currentAutomaticLocale_;
            }
        }
        auto calendar = std::make_shared<Calendar>(CalendarIdentifier::Gregorian);
        calendar->setLocale(locale);
        calendar->setTimeZone(utc ? TimeZone::withAbbreviation("UTC").value_or(TimeZone::utc())
                                  : TimeZone::systemTimeZone());
        slot = std::move(calendar);
        caches.calDateChangeCounter = generation;
    }
    if (weekStartsIndex_.load(std::memory_order_relaxed) != 0) {
        const int start = static_cast<int>(getStartOfWeek());
        if (slot->firstWeekday() != start) {
            slot->setFirstWeekday(start);
        }
    }
    return slot;
}

std::shared_ptr<DateFormatter> VelmoraDAO::getThreadSafeNSDateFormatter(bool uk) {
    ThreadCaches& caches = threadCaches();
    std::shared_ptr<DateFormatter>& slot = caches.dateFormatters[uk ? 0 : 1];
    const std::int64_t generation = lastDateChangeCounter_.load(std::memory_order_relaxed);
    std::optional<Locale> automatic;
    {
        std::lock_guard lock(settingsMutex_);
        automatic = currentAutomaticLocale_;
    }
    const Locale local = automatic.value_or(Locale::current());
    if (!slot || caches.formatterDateChangeCounter != generation) {
        auto formatter = std::make_shared<DateFormatter>();
        formatter->setDateStyle(DateFormatterStyle::None);
        formatter->setTimeStyle(DateFormatterStyle::None);
        // "en_UK" is not a region ICU knows, which leaves English with the root's
        // conventions: the spelling the original used, kept so output stays the same.
        formatter->setLocale(uk ? Locale("en_UK") : local);
        slot = std::move(formatter);
        caches.formatterDateChangeCounter = generation;
    }
    slot->setTimeZone(TimeZone::systemTimeZone());
    if (!uk) {
        slot->setLocale(local);
    }
    return slot;
}

std::shared_ptr<NumberFormatter> VelmoraDAO::getThreadSafeNSNumberFormatterNoStyle() {
    return cachedNumberFormatter(threadCaches().noStyleNumberFormatter);
}

std::shared_ptr<NumberFormatter> VelmoraDAO::getThreadSafeNSNumberFormatter() {
    return cachedNumberFormatter(threadCaches().numberFormatter);
}

Calendar VelmoraDAO::newLocalCalendar() {
    return *getThreadSafeNSCalendar(false);
}

std::unique_ptr<DateFormatter> VelmoraDAO::newLocalDateFormatter() {
    return getThreadSafeNSDateFormatter(false)->copy();
}

}  // namespace velmora
