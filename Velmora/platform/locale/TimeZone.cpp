#include "Velmora/platform/locale/TimeZone.h"

#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <utility>

#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>
#include <unicode/ucal.h>
#include <unicode/unistr.h>

#include "Velmora/platform/foundation/NoDestructor.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/platform/foundation/ProcessWide.h"
#include "Velmora/platform/foundation/SystemNotifications.h"

namespace velmora {
namespace {

std::string idOf(const icu::TimeZone& zone) {
    icu::UnicodeString id;
    std::string result;
    zone.getID(id).toUTF8String(result);
    return result;
}

// ICU answers an unknown name with a zone, not an error: the unknown zone, behaving as GMT.
bool isUnknown(const icu::TimeZone& zone) {
    return idOf(zone) == UCAL_UNKNOWN_ZONE_ID;
}

// The host's zone (TZ, /etc/localtime), or UTC when ICU cannot tell it.
TimeZone hostTimeZone() {
    const std::unique_ptr<const icu::TimeZone> host(icu::TimeZone::createDefault());
    return (host ? TimeZone::named(idOf(*host)) : std::nullopt).value_or(TimeZone::utc());
}

// The system zone, and whether a host or test chose it (then the host's own zone is no
// longer looked at).
struct SystemZone {
    ProcessWide<TimeZone> zone{hostTimeZone};
    std::atomic<bool> chosen{false};
};

SystemZone& systemZone() {
    static NoDestructor<SystemZone> instance;
    return *instance;
}

// Replaces the system zone, posting the change when there is one.
void replaceSystemZone(const TimeZone& zone) {
    const TimeZone previous = systemZone().zone.get();
    systemZone().zone.set(zone);
    if (!previous.isEqual(zone)) {
        NotificationCenter::defaultCenter().post(NSSystemTimeZoneDidChangeNotification);
    }
}

struct Abbreviation {
    std::string_view abbreviation;
    std::string_view zone;
};

constexpr std::array kAbbreviations{
    Abbreviation{"ADT", "America/Halifax"},
    Abbreviation{"AKDT", "America/Juneau"},
    Abbreviation{"AKST", "America/Juneau"},
    Abbreviation{"ART", "America/Argentina/Buenos_Aires"},
    Abbreviation{"AST", "America/Halifax"},
    Abbreviation{"BDT", "Asia/Dhaka"},
    Abbreviation{"BRST", "America/Sao_Paulo"},
    Abbreviation{"BRT", "America/Sao_Paulo"},
    Abbreviation{"BST", "Europe/London"},
    Abbreviation{"CAT", "Africa/Harare"},
    Abbreviation{"CDT", "America/Chicago"},
    Abbreviation{"CEST", "Europe/Paris"},
    Abbreviation{"CET", "Europe/Paris"},
    Abbreviation{"CLST", "America/Santiago"},
    Abbreviation{"CLT", "America/Santiago"},
    Abbreviation{"COT", "America/Bogota"},
    Abbreviation{"CST", "America/Chicago"},
    Abbreviation{"EAT", "Africa/Addis_Ababa"},
    Abbreviation{"EDT", "America/New_York"},
    Abbreviation{"EEST", "Europe/Athens"},
    Abbreviation{"EET", "Europe/Athens"},
    Abbreviation{"EST", "America/New_York"},
    Abbreviation{"GMT", "GMT"},
    Abbreviation{"GST", "Asia/Dubai"},
    Abbreviation{"HKT", "Asia/Hong_Kong"},
    Abbreviation{"HST", "Pacific/Honolulu"},
    Abbreviation{"ICT", "Asia/Bangkok"},
    Abbreviation{"IRST", "Asia/Tehran"},
    Abbreviation{"IST", "Asia/Kolkata"},
    Abbreviation{"JST", "Asia/Tokyo"},
    Abbreviation{"KST", "Asia/Seoul"},
    Abbreviation{"MDT", "America/Denver"},
    Abbreviation{"MSD", "Europe/Moscow"},
    Abbreviation{"MSK", "Europe/Moscow"},
    Abbreviation{"MST", "America/Phoenix"},
    Abbreviation{"NZDT", "Pacific/Auckland"},
    Abbreviation{"NZST", "Pacific/Auckland"},
    Abbreviation{"PDT", "America/Los_Angeles"},
    Abbreviation{"PET", "America/Lima"},
    Abbreviation{"PHT", "Asia/Manila"},
    Abbreviation{"PKT", "Asia/Karachi"},
    Abbreviation{"PST", "America/Los_Angeles"},
    Abbreviation{"SGT", "Asia/Singapore"},
    Abbreviation{"UTC", "UTC"},
    Abbreviation{"WAT", "Africa/Lagos"},
    Abbreviation{"WEST", "Europe/Lisbon"},
    Abbreviation{"WET", "Europe/Lisbon"},
    Abbreviation{"WIT", "Asia/Jakarta"},
};

}  // namespace

TimeZone::TimeZone(std::shared_ptr<const icu::TimeZone> zone)
    : zone_(std::move(zone)), name_(idOf(*zone_)) {}

TimeZone TimeZone::systemTimeZone() {
    return systemZone().zone.get();
}

void TimeZone::setSystemTimeZone(const TimeZone& zone) {
    systemZone().chosen.store(true);
    replaceSystemZone(zone);
}

void TimeZone::resetSystemTimeZone() {
    if (systemZone().chosen.load()) {
        return;
    }
    const std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
    if (auto zone = host ? named(idOf(*host)) : std::nullopt) {
        replaceSystemZone(*zone);
    }
}

std::optional<TimeZone> TimeZone::withAbbreviation(std::string_view abbreviation) {
    for (const Abbreviation& entry : kAbbreviations) {
        if (entry.abbreviation == abbreviation) {
            return entry.zone == "UTC" ? utc() : named(entry.zone);
        }
    }
    return std::nullopt;
}

std::optional<TimeZone> TimeZone::named(std::string_view ianaName) {
    std::shared_ptr<const icu::TimeZone> zone(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(
            icu::StringPiece(ianaName.data(), static_cast<int32_t>(ianaName.size())))));
    if (!zone || isUnknown(*zone)) {
        return std::nullopt;
    }
    return TimeZone(std::move(zone));
}

TimeZone TimeZone::utc() {
    static NoDestructor<TimeZone> zone(
        TimeZone(std::shared_ptr<const icu::TimeZone>(icu::TimeZone::createTimeZone(u"UTC"))));
    return *zone;
}

int TimeZone::secondsFromGMT(Date date) const {
    const double seconds = date.timeIntervalSince1970();
    if (!std::isfinite(seconds)) {
        return zone_->getRawOffset() / 1000;
    }
    int32_t rawOffset = 0;
    int32_t dstOffset = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(seconds * 1000.0, /*local=*/false, rawOffset, dstOffset, status);
    if (U_FAILURE(status)) {
        return zone_->getRawOffset() / 1000;
    }
    return (rawOffset + dstOffset) / 1000;
}

double TimeZone::daylightSavingTimeOffset(Date date) const {
    const double seconds = date.timeIntervalSince1970();
    if (!std::isfinite(seconds)) {
        return 0;
    }
    int32_t rawOffset = 0;
    int32_t dstOffset = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(seconds * 1000.0, /*local=*/false, rawOffset, dstOffset, status);
    return U_FAILURE(status) ? 0 : dstOffset / 1000.0;
}

std::optional<Date> TimeZone::nextDaylightSavingTimeTransition(Date after) const {
    const double seconds = after.timeIntervalSince1970();
    const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(zone_.get());
    if (basic == nullptr || !std::isfinite(seconds)) {
        return std::nullopt;
    }
    icu::TimeZoneTransition transition;
    if (!basic->getNextTransition(seconds * 1000.0, /*inclusive=*/false, transition)) {
        return std::nullopt;
    }
    return Date(transition.getTime() / 1000.0);
}

bool TimeZone::isEqual(const TimeZone& other) const {
    return zone_ == other.zone_ || *zone_ == *other.zone_;
}

}  // namespace velmora
