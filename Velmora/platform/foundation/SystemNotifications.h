#pragma once
// Names of the notifications the platform posts on NotificationCenter::defaultCenter()
// when a process-wide setting changes, spelt as the original platform spells them. Each is
// posted synchronously on the thread that made the change, with no sender and no user
// info, and only when the new setting differs from the old.

namespace velmora {

// TimeZone::setSystemTimeZone, TimeZone::resetSystemTimeZone.
inline constexpr const char* NSSystemTimeZoneDidChangeNotification =
    "NSSystemTimeZoneDidChangeNotification";
// Locale::setCurrent.
inline constexpr const char* NSCurrentLocaleDidChangeNotification =
    "NSCurrentLocaleDidChangeNotification";
// Clock::setNowForTesting and Clock::resetForTesting: the wall clock jumped.
inline constexpr const char* NSSystemClockDidChangeNotification =
    "NSSystemClockDidChangeNotification";

}  // namespace velmora
