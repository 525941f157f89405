#!/usr/bin/env python3
"""How long whole commands of setwright take against a Master on the same machine, each as a ratio to a command
measured in turn with it in the same run. Usage: bench/commands.py [RUNS] (BRENIC_BIN names the programs' folder).
"""

import os
import pathlib
import statistics
import sys
import time

TREE = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("BRENIC_BIN", str(TREE / "build/release/bin"))
sys.path.insert(0, str(TREE / "tests/e2e"))

from farm import Farm  # noqa: E402


def measure(run):
    started = time.perf_counter()
    result = run()
    elapsed = time.perf_counter() - started
    if result.status != 0:
        sys.exit(f"a command failed: {result}")
    return elapsed


def compare(name, run, base_name, base, runs):
    """Runs the two in turn and prints both medians and the median of the ratios."""
    pairs = [(measure(run), measure(base)) for _ in range(runs + 1)][1:]
    ratios = [a / b for a, b in pairs]
    print(f"{name}: {1000 * statistics.median(a for a, _ in pairs):.1f} ms; "
          f"{base_name}: {1000 * statistics.median(b for _, b in pairs):.1f} ms; "
          f"ratio {statistics.median(ratios):.2f} ({min(ratios):.2f} to {max(ratios):.2f})")


def main():
    runs = int(sys.argv[1]) if len(sys.argv) > 1 else 20
    farm = Farm()
    try:
        compare("-Option, committed", lambda: farm.run("-Option", "a", "1", "-Option", "A", "2"),
                "-Info, no request", lambda: farm.run("-Info"), runs)
    finally:
        farm.close()


if __name__ == "__main__":
    main()
