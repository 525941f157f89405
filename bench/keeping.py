#!/usr/bin/env python3
"""What the audit trail takes on the disk in a year, and what a commit takes while old records leave.

Usage: bench/keeping.py size [CHANGES]      a realistic mix of changes, extrapolated to a year at 1,000 a day
       bench/keeping.py commits [RECORDS]   by default a million; ratios to the same commits of the same run, in turn with
                                            them: one client that asks and asks, and one that pauses in between
"""

import contextlib
import json
import os
import pathlib
import random
import socket
import sqlite3
import sys
import time
import uuid

TREE = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("BRENIC_BIN", str(TREE / "build/release/bin"))
sys.path.insert(0, str(TREE / "tests/e2e"))

from farm import Farm  # noqa: E402
from frames import answer, framed  # noqa: E402

A_YEAR = 365 * 1000  # changes
DAY = 24 * 60 * 60 * 1000
BLOCKS = 6
CASES = {"one after the other": (0, 2000), "with pauses of 20 ms": (0.02, 400)}  # seconds, commits in a block


def pages(farm):
    """Used by the database, in bytes, and free."""
    with contextlib.closing(sqlite3.connect(farm.data / "master.db")) as connection:
        connection.execute("PRAGMA wal_checkpoint(PASSIVE)")
        count, free = (connection.execute(f"PRAGMA {name}").fetchone()[0] for name in ("page_count", "freelist_count"))
        return (count - free) * 4096, free * 4096


def roots(number):
    return f"P:\\projects\\show{number:04}", f"/mnt/projects/show{number:04}", f"/Volumes/projects/show{number:04}"


def size(count):
    """Of 100 changes 50 set an option, 15 one of a product, 15 a limit, 10 a user's limit of 300, 4 a restriction, 4 a path
    translation of 500, 2 a product."""
    farm = Farm()
    chance = random.Random(1)
    own = farm.folder / "own.json"

    def run(*arguments):
        ended = farm.run(*arguments)
        if ended.status != 0:
            sys.exit(f"setwright {arguments[:3]}: {ended.err}")

    def change(number):
        kind = chance.randrange(100)
        if kind < 50:
            run("-Option", f"Setting.{chance.randrange(80)}", f"some value {number}")
        elif kind < 65:
            run("-TypeOption", "fluid", f"Parameter.{chance.randrange(40)}", str(number))
        elif kind < 80:
            run("-Limit", chance.choice(("fluid", "shell", "movie")), str(number % 500))
        elif kind < 90:
            run("-SetUserLimit", f"user{chance.randrange(300):03}", str(number % 90))
        elif kind < 94:
            run(f"-{chance.choice(('Add', 'Remove'))}Restriction", f"restriction{chance.randrange(20)}")
        elif kind < 98:
            run("-PathTranslation", roots(chance.randrange(500))[0], f"/srv/{number}", f"/Volumes/{number}")
        else:
            own.write_text(json.dumps({"id": str(uuid.UUID(int=7)), "name": "Own", "version": str(number), "parameters": [
                {"name": f"Parameter{i}", "type": "integer", "default": i, "description": "what it does" * 5}
                for i in range(20)]}))
            run("-ImportProduct", own)

    try:
        for first in range(0, 500, 100):
            run(*(a for number in range(first, first + 100) for a in ("-PathTranslation", *roots(number))))
        run("-Option", "UserLimits", "".join(f"user{number:03}=5;" for number in range(300)))
        for number in range(50):
            change(number)
        before = pages(farm)[0]
        for number in range(50, 50 + count):
            change(number)
        each = (pages(farm)[0] - before) / count
        print(f"{count} changes: {each:.0f} bytes each; a year at 1,000 a day: {each * A_YEAR / 2**20:.0f} MiB")
    finally:
        farm.close()


def envelope_of(farm):
    """How this Master's requests look: one that setwright sent, with the places of its identifier and value."""
    done = farm.run("-Option", "Measured", "00000000")
    if done.status != 0:
        sys.exit(done.err)
    with contextlib.closing(sqlite3.connect(farm.data / "master.db")) as connection:
        identifier, request = connection.execute(
            "SELECT message_id, request FROM audit ORDER BY sequence DESC LIMIT 1").fetchone()
    return lambda number: request.replace(identifier, uuid.uuid4().bytes).replace(b"00000000", b"%08d" % number)


def fill(farm, count):
    """Records of two years ago, as a Master writes them."""
    with contextlib.closing(sqlite3.connect(farm.data / "master.db")) as connection:
        columns = [row[1] for row in connection.execute("PRAGMA table_info(audit)")][1:]
        last = dict(zip(columns, connection.execute(
            f"SELECT {', '.join(columns)} FROM audit ORDER BY sequence DESC LIMIT 1").fetchone()))
        connection.execute("DELETE FROM audit")
        then = last["time"] - 800 * DAY
        connection.executemany(
            f"INSERT INTO audit ({', '.join(columns)}) VALUES ({', '.join('?' * len(columns))})",
            ([{**last, "message_id": (identifier := uuid.uuid4().bytes), "time": then + number,
               "request": last["request"].replace(last["message_id"], identifier)}[column] for column in columns]
             for number in range(count)))
        connection.commit()
        connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")


def old(farm):
    """The sequence of the first record where it is older than a year, else 0."""
    with contextlib.closing(sqlite3.connect(f"file:{farm.data / 'master.db'}?mode=ro", uri=True)) as connection:
        first = connection.execute("SELECT sequence, time FROM audit ORDER BY sequence LIMIT 1").fetchone()
        return 0 if first[1] > (time.time() * 1000 - 365 * DAY) else first[0]


class Client:
    """On the local socket."""

    def __init__(self, farm, request):
        self.request = request
        self.number = 0
        self.stream = socket.socket(socket.AF_UNIX)
        self.stream.settimeout(60)
        self.stream.connect(str(farm.socket))
        self.stream.sendall(framed(1, b"\x08\x01\x12\x10" + bytes(16) + b"\x18\x01\x22\x03raw\x28\x01"))

    def commit(self):
        """Milliseconds."""
        self.number += 1
        began = time.perf_counter()
        self.stream.sendall(framed(7, self.request(self.number)))
        outcome = answer(self.stream)
        took = (time.perf_counter() - began) * 1000
        if outcome[0] != "committed":
            sys.exit(f"the Master answered {outcome}")
        return took


def timed(client, pause, count):
    """Of so many commits."""
    times = []
    for _ in range(count):
        times.append(client.commit())
        if pause:
            time.sleep(pause * random.uniform(0.5, 1.5))
    return times


def commits(count):
    farm = Farm()
    try:
        request = envelope_of(farm)
        farm.stop()
        fill(farm, count)
        full = (farm.data / "master.db").stat().st_size

        def serve(days):
            farm.config.write_text(f"[Master]\nAuditKeep = {days}\n")
            farm.serve()
            client = Client(farm, request)
            timed(client, 0, 100)
            return client

        times = {(case, days): [] for case in CASES for days in (400, 100_000)}
        for _ in range(BLOCKS):  # in turn, since the disk is not always the same
            for days in (400, 100_000):
                client = serve(days)
                for case, (pause, number) in CASES.items():
                    times[case, days] += timed(client, pause, number)
                client.stream.close()
                if days == 400:
                    began, at = time.time(), old(farm)
                    time.sleep(5)
                    rate = (old(farm) - at) / (time.time() - began)
                    if rate <= 0:
                        sys.exit("the records had left too early; try more")
                farm.stop()
        for case in CASES:
            leaving, ordinary = sorted(times[case, 400]), sorted(times[case, 100_000])
            for name, at in (("median", len(leaving) // 2), ("99th percentile", len(leaving) * 99 // 100)):
                print(f"{case}, {name} of {len(leaving)}: {leaving[at]:.2f} ms while records leave, {ordinary[at]:.2f} ms "
                      f"ordinarily, ratio {leaving[at] / ordinary[at]:.2f}")
        print(f"without requests {rate:.0f} records leave in a second")
        print(f"file: {full / 2**20:.0f} MiB with {count} records, {(farm.data / 'master.db').stat().st_size / 2**20:.0f} "
              f"MiB now, {pages(farm)[1] / 2**20:.0f} MiB of it free for new ones")
    finally:
        farm.close()


if __name__ == "__main__":
    {"size": lambda n: size(n or 1000), "commits": lambda n: commits(n or 1_000_000)}[sys.argv[1]](
        int(sys.argv[2]) if len(sys.argv) > 2 else 0)
