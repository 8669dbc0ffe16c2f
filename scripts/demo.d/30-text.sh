# Text utilities: phonetic codes, phone-number layout, escaping for each destination.
run soundex Robert Rupert Ashcraft
run soundex --mode 1 Ashcraft
run soundex --mode 0 --length 6 Phillips Thompson
run phone --country us 5551234 15551234567 +1555
run phone --country gb 02079460958
run phone --strip "+1 (555) 123-4567"
run escape --for mail "Lunch? Fri 12:30 @ Café #2"
run escape --for all "#1 a&b"
run escape --for json 'Milk/eggs {"qty": 2}'
run escape --for unjson 'Milk\/eggs^20^7B^22qty^22^3A^202^7D'
run escape --for export 'say "hi", then leave'
run escape --for xml "a;b:c"
