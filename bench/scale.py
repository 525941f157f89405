#!/usr/bin/env python3
"""How commands of setwright grow with what the Master holds: products, options of a file, path translations. Each
figure is a ratio to the same command at a tenth of the size, measured in turn with it in the same run, with the tool's
peak memory. Usage: bench/scale.py [RUNS]
"""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import time
import uuid

TREE = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("BRENIC_BIN", str(TREE / "build/release/bin"))
sys.path.insert(0, str(TREE / "tests/e2e"))

from farm import BIN, Farm  # noqa: E402


def measure(farm, args):
    """Seconds and peak memory in MiB of one run of setwright."""
    started = time.perf_counter()
    process = subprocess.Popen([BIN / "setwright", *map(str, args), "-Master", farm.address, "-LogFolder",
                                farm.folder / "log"], env=farm.environment(), stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    elapsed = time.perf_counter() - started
    if status != 0:
        sys.exit(f"setwright {args} failed: {status}")
    return elapsed, usage.ru_maxrss / 1024


def compare(name, small, large, runs):
    """`small` and `large`: (farm, arguments). Prints the medians and the ratio of the times."""
    pairs = [(measure(*large), measure(*small)) for _ in range(runs + 1)][1:]
    ratios = [a[0] / b[0] for a, b in pairs]
    print(f"{name}: {statistics.median(a[0] for a, _ in pairs):.3f} s, {max(a[1] for a, _ in pairs):.0f} MiB; "
          f"a tenth of it: {statistics.median(b[0] for _, b in pairs):.3f} s; ratio {statistics.median(ratios):.1f} "
          f"({min(ratios):.1f} to {max(ratios):.1f})", flush=True)


def with_products(count):
    """A farm with so many default products of about 8 KiB each."""
    farm = Farm(serve=False)
    farm.products = farm.folder / "products"
    farm.products.mkdir()
    for number in range(count):
        (farm.products / f"{number}.json").write_text(json.dumps({
            "id": str(uuid.UUID(int=number + 1)), "name": f"Product {number}", "aliases": [f"p{number}"],
            "parameters": [{"name": f"Parameter{i}", "type": "integer", "default": i,
                            "description": "x" * 120} for i in range(40)]}))
    started = time.perf_counter()
    farm.serve()
    print(f"{count} products: the Master was ready after {time.perf_counter() - started:.2f} s", flush=True)
    return farm


def options_file(farm, count):
    path = farm.folder / f"{count}.ini"
    path.write_text("[Distribution]\n" + "".join(f"Option.{i} = value {i}\n" for i in range(count)))
    return path


def with_translations(count):
    farm = Farm()
    args = []
    for number in range(count):
        args += ["-PathTranslation", f"{number}:", f"/mnt/{number}", f"/V/{number}"]
        if len(args) >= 40_000 or number == count - 1:
            measure(farm, args)
            args = []
    return farm


def main():
    runs = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    farms = []
    try:
        farms += [small := with_products(1000), large := with_products(10_000)]
        compare("-Info with 10,000 products", (small, ["-Info"]), (large, ["-Info"]), runs)
        export = ["-ExportProduct", "p500", "/dev/null"]
        compare("-ExportProduct with 10,000 products", (small, export), (large, export), runs)
        farms.append(plain := Farm())
        compare("-CopyFile of 1,000,000 options", (plain, ["-CopyFile", options_file(plain, 100_000)]),
                (plain, ["-CopyFile", options_file(plain, 1_000_000)]), 1)
        print(f"the Master holds {len(plain.state()['options'])} options", flush=True)
        farms += [small := with_translations(10_000), large := with_translations(99_999)]
        for name, args in (("-GetPathTranslations", ["-GetPathTranslations"]),
                           ("-PathTranslation", ["-PathTranslation", "new:", "/new", "/new", "-RemovePathTranslation",
                                                 "new:"])):
            compare(f"{name} with 100,000 translations", (small, args), (large, args), runs)
    finally:
        for farm in farms:
            farm.close()


if __name__ == "__main__":
    main()
