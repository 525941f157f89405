#!/usr/bin/env python3
"""What a small change of a large value costs the Master: its CPU and the growth of its database for each, as ratios to
those of other programs in the same run. Usage: bench/commits.py FOLDER_OF_OTHER_PROGRAMS [RUNS]
"""

import contextlib
import os
import pathlib
import sqlite3
import statistics
import sys

TREE = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("BRENIC_BIN", str(TREE / "build/release/bin"))
sys.path.insert(0, str(TREE / "tests/e2e"))

import farm as harness  # noqa: E402

CHANGES = 30


def cpu(farm):
    """Seconds that the Master has used."""
    fields = pathlib.Path(f"/proc/{farm.master.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def size(farm):
    with contextlib.closing(sqlite3.connect(farm.data / "master.db")) as connection:
        connection.execute("PRAGMA wal_checkpoint(PASSIVE)")
        used = connection.execute("SELECT page_count - freelist_count FROM pragma_page_count, pragma_freelist_count")
        return used.fetchone()[0] * 4096


def done(farm, *args):
    ended = farm.run(*args)
    if ended.status != 0:
        sys.exit(f"setwright {args[:4]} failed: {ended.err}")


def roots(number):
    return f"P:\\projects\\show{number:06}", f"/mnt/projects/show{number:06}", f"/Volumes/projects/show{number:06}"


def add_roots(farm, first, count):
    for at in range(first, first + count, 10_000):
        numbers = range(at, min(at + 10_000, first + count))
        done(farm, *(argument for number in numbers for argument in ("-PathTranslation", *roots(number))))


def translations(count):
    """Makes a farm of so many, and changes it."""
    def change(farm, number):
        done(farm, "-PathTranslation", *roots(count + number))

    return (lambda farm: add_roots(farm, 0, count)), change


def user_limits(count):
    def make(farm):
        done(farm, "-Option", "UserLimits", "".join(f"user{number:05}=5;" for number in range(count)))

    return make, lambda farm, number: done(farm, "-SetUserLimit", f"user{number * 7:05}", "9")


def measure(programs, make, change):
    """Milliseconds of CPU and KiB for each change."""
    harness.BIN = pathlib.Path(programs)
    farm = harness.Farm()
    try:
        make(farm)
        change(farm, 0)
        before = cpu(farm), size(farm)
        for number in range(1, CHANGES + 1):
            change(farm, number)
        return (cpu(farm) - before[0]) * 1000 / CHANGES, (size(farm) - before[1]) / 1024 / CHANGES
    finally:
        farm.close()


def main():
    other = sys.argv[1]
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    this = harness.BIN
    for name, case in (("a root added to 700", translations(700)), ("a root added to 10,000", translations(10_000)),
                       ("one of 5,000 users' limits", user_limits(5000))):
        pairs = [(measure(this, *case), measure(other, *case)) for _ in range(runs)]
        for at, unit in enumerate(("ms of CPU", "KiB of database")):
            ratios = [mine[at] / theirs[at] for mine, theirs in pairs]
            print(f"{name}: {statistics.median(mine[at] for mine, _ in pairs):.2f} {unit}, of the other "
                  f"{statistics.median(theirs[at] for _, theirs in pairs):.2f}; ratio {statistics.median(ratios):.2f} "
                  f"({min(ratios):.2f} to {max(ratios):.2f})", flush=True)


if __name__ == "__main__":
    main()
