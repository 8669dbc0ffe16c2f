# Dates: every run pins the clock, zone and locale it depends on.
pin=(--now 2024-03-10T12:00:00-04:00 --tz America/New_York --locale en_US)
run date info "${pin[@]}"
run date info --now 2024-03-31T12:00:00+02:00 --tz Europe/Berlin --locale de_DE
run date classify 2024-03-09T23:30:00-05:00 "${pin[@]}"
run date classify 2024-05-01 "${pin[@]}"
run date add 2024-01-31T09:30:00-05:00 --months 1 "${pin[@]}"
run date add 2024-03-09T12:00:00-05:00 --days 1 --hour 8 "${pin[@]}"
run date syncable 2024-03-15T09:00:00-04:00 "${pin[@]}"
run date from-syncable 1710493200 --tz Europe/Berlin
run date from-absolute 1710504000 --tz Pacific/Kiritimati
run date relative 2024-03-10T10:30:00-04:00 "${pin[@]}"
run date grid 2024-02-14 --week-start 2 "${pin[@]}"
# Quick entry, pinned to a Monday 10:00 in Berlin with a 24-hour clock.
quick=(--now 2026-11-23T10:00:00+01:00 --tz Europe/Berlin --locale en_GB --24h)
run date parse "${quick[@]}" --explain tom "3d 5pm" "mon 9" "mon 9am" "next week" \
    "buy milk dec 24" "15th, 17" "24 12 1730" "0530pm" "buy milk"
run date parse --now 2026-11-23T10:00:00+01:00 --tz America/New_York --locale en_US --12h \
    "12/24/2026 5pm" "24/12/2026" "15th 5pm"
run date detect "${quick[@]}" "lunch next friday at 1pm, call 3-5pm; flight 2026-12-24T09:30:00Z"
