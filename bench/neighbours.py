#!/usr/bin/env python3
"""What others cost an administrator: the time for 8,000 new options beside user limits of 4 MiB, as a ratio to that
without them; how long a connected client waits for the Master, the slowest in a hundred of its Pings, while others
shake hands without end, as a ratio to that without them. Usage: bench/neighbours.py [FOLDER_OF_PROGRAMS]
"""

import contextlib
import os
import pathlib
import socket
import ssl
import sys
import threading
import time

TREE = pathlib.Path(__file__).resolve().parents[1]
os.environ["BRENIC_BIN"] = sys.argv[1] if len(sys.argv) > 1 else str(TREE / "build/release/bin")
sys.path.insert(0, str(TREE / "tests/e2e"))

import farm as harness  # noqa: E402
from frames import framed  # noqa: E402


def timed(farm, *args):
    begin = time.monotonic()
    ended = farm.run(*args)
    if ended.status != 0:
        sys.exit(f"setwright {args[:2]} failed: {ended.err}")
    return time.monotonic() - begin


def options(farm, prefix):
    file = farm.folder / "options.ini"
    file.write_text("[Distribution]\n" + "".join(f"{prefix}{number} = 1\n" for number in range(8000)))
    return timed(farm, "-CopyFile", file)


def long_values(farm):
    without = options(farm, "First")
    file = farm.folder / "limits.ini"
    users = "".join(f"user{number:07}=1;" for number in range(4 * 1024 * 1024 // 14))
    file.write_text(f"[Distribution]\nUserLimits = {users[:1_000_000]}\n")
    timed(farm, "-CopyFile", file)
    beside = options(farm, "Second")
    print(f"8,000 new options beside long user limits: {beside:.2f} s, without {without:.2f} s, "
          f"ratio {beside / without:.2f}")


def connected(farm):
    """A client that has been welcomed and told everything."""
    client = socket.socket(socket.AF_UNIX)
    client.connect(str(farm.socket))
    client.sendall(framed(1, b"\x08\x01\x12\x10" + bytes(16)))
    while True:
        frame = received(client)
        if frame[0] == 0x3a and b"\xba\x01" in frame:  # EndProducts
            return client


def received(client):
    length = int.from_bytes(client.recv(4, socket.MSG_WAITALL), "big")
    return client.recv(length, socket.MSG_WAITALL)


def waits(client, count=1000):
    times = []
    for _ in range(count):
        begin = time.monotonic()
        client.sendall(framed(3, b""))
        received(client)
        times.append(time.monotonic() - begin)
    return sorted(times)[count * 99 // 100]


def handshakes(farm):
    """Strangers with a certificate of the farm, which makes each handshake cost as much as it can."""
    folder = farm.data / "clients/admin"
    context = ssl.create_default_context(cafile=folder / "ca.pem")
    context.load_cert_chain(folder / "client.pem", folder / "client.key")
    over = threading.Event()
    count = 0

    def shake():
        nonlocal count
        while not over.is_set():
            try:
                with socket.create_connection(("127.0.0.1", farm.port), timeout=5) as raw:
                    context.wrap_socket(raw, server_hostname="127.0.0.1").close()
                count += 1
            except OSError:
                pass

    with contextlib.closing(connected(farm)) as client:
        without = waits(client)
        threads = [threading.Thread(target=shake) for _ in range(16)]
        for thread in threads:
            thread.start()
        begin = time.monotonic()
        beside = waits(client)
        seconds = time.monotonic() - begin
        over.set()
        for thread in threads:
            thread.join()
    print(f"slowest in a hundred Pings during {count / seconds:.0f} handshakes a second: {1000 * beside:.1f} ms, "
          f"without {1000 * without:.1f} ms, ratio {beside / without:.1f}")


for work in (long_values, handshakes):
    farm = harness.Farm()
    try:
        work(farm)
    finally:
        farm.close()
