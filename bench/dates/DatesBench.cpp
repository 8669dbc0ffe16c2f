// The date category's cost per call, with its per-thread calendar from VelmoraDAO, against
// ICU used directly (IcuCalendarPeers.cpp) and the design not taken: a calendar built for
// each call. Clock, zone and locale are pinned
// (America/New_York, en_US), so runs compare.
#include <cmath>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/locale/Locale.h"
#include "Velmora/platform/locale/TimeZone.h"
#include "Velmora/services/DayBoundaries.h"
#include "Velmora/services/VelmoraDAO.h"

#include "bench/dates/PinnedBenchSetting.h"

namespace {

using namespace velmora;

void pin() {
    // 2024-03-10 16:00 UTC, the spring change.
    static const bench::PinnedBenchSetting setting("America/New_York", "en_US", Date(1710086400));
    VelmoraDAO::getSharedInstance();
}

// Dates spread over two years, so the calendar does real work on every call.
Date sample(benchmark::IterationCount i) {
    return Date(1700000000.0 + static_cast<double>(i % 7919) * 8861.3);
}

void BM_ThreadSafeCalendar_Cached(benchmark::State& state) {
    pin();
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(dao.getThreadSafeNSCalendar(false));
    }
}
BENCHMARK(BM_ThreadSafeCalendar_Cached)->ThreadRange(1, 2);

void BM_ThreadSafeCalendar_WithWeekStart(benchmark::State& state) {
    pin();
    VelmoraDAO& dao = VelmoraDAO::getSharedInstance();
    UserDefaults::standard().setInteger(2, "WeekStartsIndex");
    dao.setWeekStartsIndex(2);
    for (auto _ : state) {
        benchmark::DoNotOptimize(dao.getThreadSafeNSCalendar(false));
    }
    UserDefaults::standard().setInteger(0, "WeekStartsIndex");
    dao.setWeekStartsIndex(0);
}
BENCHMARK(BM_ThreadSafeCalendar_WithWeekStart);

// The peer: a calendar made for each call, as code without the per-thread cache would.
void BM_Calendar_NewPerCall(benchmark::State& state) {
    pin();
    for (auto _ : state) {
        Calendar calendar = Calendar::current();
        benchmark::DoNotOptimize(calendar);
    }
}
BENCHMARK(BM_Calendar_NewPerCall);

void BM_StartOfDay_NewCalendarPerCall(benchmark::State& state) {
    pin();
    benchmark::IterationCount i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(dayStart(Calendar::current(), sample(++i), false));
    }
}
BENCHMARK(BM_StartOfDay_NewCalendarPerCall);

template <class Operation>
void runOperation(benchmark::State& state, Operation operation) {
    pin();
    benchmark::IterationCount i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(sample(++i)));
    }
}

void BM_DateJustAtStartOfDay(benchmark::State& state) {
    runOperation(state, [](Date d) { return dateJustAtStartOfDay(d); });
}
BENCHMARK(BM_DateJustAtStartOfDay)->ThreadRange(1, 2);

void BM_DateJustBeforeEndOfDay(benchmark::State& state) {
    runOperation(state, [](Date d) { return dateJustBeforeEndOfDay(d); });
}
BENCHMARK(BM_DateJustBeforeEndOfDay);

void BM_GetDateByAddingDays(benchmark::State& state) {
    runOperation(state, [](Date d) { return getDateByAddingDays(d, 1, 0, 0, 0); });
}
BENCHMARK(BM_GetDateByAddingDays);

void BM_GetDateByAddingMonthAndSettingHour(benchmark::State& state) {
    runOperation(state, [](Date d) { return getDateByAddingDays(d, 0, 0, 1, 0, 9); });
}
BENCHMARK(BM_GetDateByAddingMonthAndSettingHour);

void BM_GetDateBySettingHours(benchmark::State& state) {
    runOperation(state, [](Date d) { return getDateBySettingHours(d, 9, 30, 0); });
}
BENCHMARK(BM_GetDateBySettingHours);

void BM_IsDateToday(benchmark::State& state) {
    runOperation(state, [](Date d) { return isDateToday(d); });
}
BENCHMARK(BM_IsDateToday);

void BM_IsDateTomorrow(benchmark::State& state) {
    runOperation(state, [](Date d) { return isDateTomorrow(d); });
}
BENCHMARK(BM_IsDateTomorrow);

void BM_IsDateThisMonth(benchmark::State& state) {
    runOperation(state, [](Date d) { return isDateThisMonth(d); });
}
BENCHMARK(BM_IsDateThisMonth);

// Dates within a day of now, so the calendar comparison runs (farther ones return early).
void BM_VlIsToday(benchmark::State& state) {
    pin();
    const Date now = Date::now();
    benchmark::IterationCount i = 0;
    for (auto _ : state) {
        ++i;
        benchmark::DoNotOptimize(vl_isToday(
            now.dateByAddingTimeInterval(static_cast<double>(i % 144) * 600.0 - 43200.0)));
    }
}
BENCHMARK(BM_VlIsToday);

void BM_SyncableTimeInterval(benchmark::State& state) {
    runOperation(state, [](Date d) { return syncableTimeIntervalSince1970(d); });
}
BENCHMARK(BM_SyncableTimeInterval);

void BM_AbsoluteTimeInterval(benchmark::State& state) {
    runOperation(state, [](Date d) { return absoluteTimeIntervalSince1970(d); });
}
BENCHMARK(BM_AbsoluteTimeInterval);

void BM_DateWithAbsoluteTimeInterval(benchmark::State& state) {
    runOperation(state, [](Date d) {
        return dateWithAbsoluteTimeIntervalSince1970(d.timeIntervalSince1970());
    });
}
BENCHMARK(BM_DateWithAbsoluteTimeInterval);

void BM_GhTimeInterval(benchmark::State& state) {
    runOperation(state, [](Date d) { return gh_timeIntervalSince1970(d, 9, true); });
}
BENCHMARK(BM_GhTimeInterval);

void BM_DaysToDate(benchmark::State& state) {
    runOperation(state,
                 [](Date d) { return daysToDate(d, d.dateByAddingTimeInterval(3 * 86400.0 + 5)); });
}
BENCHMARK(BM_DaysToDate);

void BM_GetValueForComponent(benchmark::State& state) {
    runOperation(state, [](Date d) { return getValueForComponent(d, CalendarUnit::Weekday); });
}
BENCHMARK(BM_GetValueForComponent);

void BM_VlWeekday(benchmark::State& state) {
    runOperation(state, [](Date d) { return vl_weekday(d); });
}
BENCHMARK(BM_VlWeekday);

void BM_DSTAdjusted(benchmark::State& state) {
    runOperation(state, [](Date d) { return getDSTAdjustedDateIfDSTChangedTodayUsingCalendar(d); });
}
BENCHMARK(BM_DSTAdjusted);

void BM_FormatRelativeTime_Minutes(benchmark::State& state) {
    pin();
    const Date date = Date::now().dateByAddingTimeInterval(-1500);
    for (auto _ : state) {
        benchmark::DoNotOptimize(formatRelativeTime(date));
    }
}
BENCHMARK(BM_FormatRelativeTime_Minutes);

void BM_FormatTime(benchmark::State& state) {
    runOperation(state, [](Date d) { return formatTime(d); });
}
BENCHMARK(BM_FormatTime);

// A whole month view: 28 to 42 dates and about 60 calendar calls; not a "common" call, for
// scale.
void BM_MonthGrid(benchmark::State& state) {
    runOperation(state, [](Date d) {
        return daysInFinalWeekOfPreviousMonth(d).size() + daysInSelectedMonth(d).size() +
               daysInFirstWeekOfFollowingMonth(d).size();
    });
}
BENCHMARK(BM_MonthGrid);

}  // namespace
