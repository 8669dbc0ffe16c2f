// The peers of the date category: the same operations written directly against ICU, the
// engine underneath, with one icu::Calendar per thread made once and reused (what a
// careful program without Velmora would do). Zone and locale as the Velmora side pins
// them (America/New_York, en_US); the dates are the same sample.
#include <cstdlib>
#include <memory>

#include <benchmark/benchmark.h>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace {

constexpr double kMillis = 1000.0;

icu::Calendar& threadCalendar() {
    thread_local const std::unique_ptr<icu::Calendar> calendar = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Calendar> made(icu::Calendar::createInstance(
            icu::TimeZone::createTimeZone("America/New_York"), icu::Locale("en_US"), status));
        if (U_FAILURE(status)) {
            std::abort();
        }
        return made;
    }();
    return *calendar;
}

double sample(benchmark::IterationCount i) {
    return (1700000000.0 + static_cast<double>(i % 7919) * 8861.3) * kMillis;
}

// The date moved by `days` days and `months` months, then set to hour:minute:00.000.
UDate withTime(icu::Calendar& calendar, UDate date, int hour, int minute, int days = 0,
               int months = 0) {
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(date, status);
    calendar.add(UCAL_DATE, days, status);
    calendar.add(UCAL_MONTH, months, status);
    calendar.set(UCAL_HOUR_OF_DAY, hour);
    calendar.set(UCAL_MINUTE, minute);
    calendar.set(UCAL_SECOND, 0);
    calendar.set(UCAL_MILLISECOND, 0);
    return calendar.getTime(status);
}

UDate startOfDay(icu::Calendar& calendar, UDate date) {
    return withTime(calendar, date, 0, 0);
}

template <class Operation>
void runOperation(benchmark::State& state, Operation operation) {
    icu::Calendar& calendar = threadCalendar();
    benchmark::IterationCount i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(calendar, sample(++i)));
    }
}

void BM_Icu_StartOfDay(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) { return startOfDay(c, d); });
}
BENCHMARK(BM_Icu_StartOfDay);

void BM_Icu_AddingDays(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) {
        UErrorCode status = U_ZERO_ERROR;
        c.setTime(d, status);
        c.add(UCAL_DATE, 1, status);
        return c.getTime(status);
    });
}
BENCHMARK(BM_Icu_AddingDays);

void BM_Icu_AddingMonthAndSettingHour(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) { return withTime(c, d, 9, 0, 0, 1); });
}
BENCHMARK(BM_Icu_AddingMonthAndSettingHour);

void BM_Icu_SettingHours(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) { return withTime(c, d, 9, 30); });
}
BENCHMARK(BM_Icu_SettingHours);

// Today's start is computed on every call, as the Velmora side's cache is not there.
void BM_Icu_IsToday(benchmark::State& state) {
    const UDate now = 1710086400.0 * kMillis;
    runOperation(
        state, [now](icu::Calendar& c, UDate d) { return startOfDay(c, d) == startOfDay(c, now); });
}
BENCHMARK(BM_Icu_IsToday);

void BM_Icu_DaysToDate(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) {
        UErrorCode status = U_ZERO_ERROR;
        const UDate from = startOfDay(c, d);
        const UDate to = startOfDay(c, d + (3 * 86400.0 + 5) * kMillis);
        c.setTime(from, status);
        return c.fieldDifference(to, UCAL_DATE, status);
    });
}
BENCHMARK(BM_Icu_DaysToDate);

void BM_Icu_Weekday(benchmark::State& state) {
    runOperation(state, [](icu::Calendar& c, UDate d) {
        UErrorCode status = U_ZERO_ERROR;
        c.setTime(d, status);
        return c.get(UCAL_DAY_OF_WEEK, status);
    });
}
BENCHMARK(BM_Icu_Weekday);

}  // namespace
