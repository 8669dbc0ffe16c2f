#!/usr/bin/python3
"""Times the peer parsers on the quick-entry corpus, inside this interpreter (start-up and
imports excluded), with the same pinned now and zone as the C++ benchmark. Times are the
process's CPU time, as Google Benchmark reports ours, so that a loaded machine does not
favour either side.

usage: date_parser_peers.py CORPUS NOW_EPOCH ZONE [REPEATS]
Prints one line per peer:
  peer NAME mean_us M worst_us W answered A of N worst_text TEXT
or "peer NAME unavailable REASON" when the peer is not installed.
"""
import sys
import time
from datetime import datetime
from zoneinfo import ZoneInfo


def measure(name, parse, texts, repeats):
    for text in texts:  # warm caches (dateparser loads its language data lazily)
        parse(text)
    answered = sum(1 for text in texts if parse(text) is not None)
    total = 0.0
    worst = (0.0, "")
    for text in texts:
        best = None
        for _ in range(repeats):
            start = time.process_time()
            parse(text)
            elapsed = time.process_time() - start
            best = elapsed if best is None else min(best, elapsed)
            total += elapsed
        if best > worst[0]:
            worst = (best, text)
    mean_us = total / (len(texts) * repeats) * 1e6
    print(f"peer {name} mean_us {mean_us:.2f} worst_us {worst[0] * 1e6:.2f} "
          f"answered {answered} of {len(texts)} worst_text {worst[1]}", flush=True)


def main():
    corpus, now_epoch, zone = sys.argv[1], float(sys.argv[2]), sys.argv[3]
    repeats = int(sys.argv[4]) if len(sys.argv) > 4 else 3
    with open(corpus, encoding="utf-8") as f:
        texts = [line.rstrip("\n") for line in f]
    base = datetime.fromtimestamp(now_epoch, ZoneInfo(zone)).replace(tzinfo=None)

    try:
        import dateparser
        settings = {"RELATIVE_BASE": base, "TIMEZONE": zone, "PREFER_DATES_FROM": "future"}
        parser = dateparser.DateDataParser(languages=["en"], settings=settings)

        def parse_dateparser(text):
            return parser.get_date_data(text).date_obj
        measure("dateparser", parse_dateparser, texts, repeats)
    except ImportError as error:
        print(f"peer dateparser unavailable {error}", flush=True)

    try:
        import parsedatetime
        calendar = parsedatetime.Calendar(version=parsedatetime.VERSION_CONTEXT_STYLE)

        def parse_parsedatetime(text):
            result, context = calendar.parseDT(text, sourceTime=base)
            return result if context.hasDateOrTime else None
        measure("parsedatetime", parse_parsedatetime, texts, repeats)
    except ImportError as error:
        print(f"peer parsedatetime unavailable {error}", flush=True)


if __name__ == "__main__":
    main()
