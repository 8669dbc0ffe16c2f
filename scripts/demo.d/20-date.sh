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
