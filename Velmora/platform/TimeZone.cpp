#include "Velmora/platform/TimeZone.h"

#include <cmath>
#include <memory>
#include <utility>

#include <unicode/timezone.h>
#include <unicode/ucal.h>
#include <unicode/unistr.h>

#include "Velmora/platform/NoDestructor.h"
#include "Velmora/platform/ProcessWide.h"

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

ProcessWide<TimeZone>& systemZone() {
    static NoDestructor<ProcessWide<TimeZone>> instance(hostTimeZone);
    return *instance;
}

}  // namespace

TimeZone::TimeZone(std::shared_ptr<const icu::TimeZone> zone)
    : zone_(std::move(zone)), name_(idOf(*zone_)) {}

TimeZone TimeZone::systemTimeZone() {
    return systemZone().get();
}

void TimeZone::setSystemTimeZone(const TimeZone& zone) {
    systemZone().set(zone);
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

bool TimeZone::isEqual(const TimeZone& other) const {
    return zone_ == other.zone_ || *zone_ == *other.zone_;
}

}  // namespace velmora
