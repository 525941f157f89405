#!/usr/bin/env python3
"""Makes a folder like layout2 and layout3, which hold what a Master of an earlier layout kept: runs the programs of that
time. Usage: tests/master/store/make_layout.py FOLDER_OF_THE_PROGRAMS NEW_FOLDER (as root, for the local socket's key)
"""

import contextlib
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys

os.environ["BRENIC_BIN"] = sys.argv[1]
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "e2e"))

from farm import BIN, Farm  # noqa: E402

FLUID = "7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c03"
NULL = "00000000-0000-0000-0000-000000000000"
OWN = "11111111-2222-3333-4444-555555555555"


def product(farm, file, **members):
    path = farm.folder / file
    path.write_text(json.dumps(members))
    return path


def first_run(farm, run):
    """Every kind of change, refusal and question."""
    run("-Option", "MaxJobs", "5", "-Option", "maxjobs", "6", "-Option", "Ümlaut", "a \"b\" \\ ; =", "-Option", "empty", "")
    run("-Option", "long", "x" * 3000, "-Option", "Message", "Welcome to the farm", "-Option", "DefaultIdleTimeout", "15")
    run("-TypeOption", "fluid", "Frames", "100", "-TypeOption", "fluid", "frames", "101")
    run("-TypeOption", "shell", "Niceness", "10")
    run("-Limit", "fluid", "7", "-Limit", "shell", "-1", "-Limit", "movie", "0")
    run("-Limit", "fluid", "8")
    run("-AddRestriction", "night", "-AddRestriction", "weekend", "-AddRestriction", "day")
    run("-RemoveRestriction", "day")
    run("-PathTranslation", "P:\\projects", "/mnt/projects", "/Volumes/projects", "-PathTranslation", "Q:\\", "/mnt/q", "")
    run("-PathTranslation", "R:\\old", "/mnt/old", "/Volumes/old")
    run("-PathTranslation", "P:\\projects", "/srv/projects", "/Volumes/projects")
    run("-RemovePathTranslation", "/mnt/old")
    run("-Option", "UserLimits", "".join(f"user{number:02}={number % 9 + 1};" for number in range(60)))
    run("-SetUserLimit", "user17", "99", "-SetUserLimit", "50%n%s%d", "5")
    run("-RemoveUserLimit", "user03")
    run("-GetUserLimits", "-GetPathTranslations", "-Info")
    own = {"id": OWN, "name": "Own Tool", "aliases": ["own"]}
    run("-ImportProduct", product(farm, "own.json", **own))
    run("-ImportProduct", product(farm, "newer.json", version="2", **own))
    run("-ImportProduct", product(farm, "fluid.json", id=FLUID, name="Driftwater, ours", aliases=["fluid", "drift"]))
    run("-TypeOption", "own", "Threads", "4", "-Limit", "own", "3")
    run("-RemoveProduct", "shell")
    run("-RemoveProduct", "own")
    run("-RemoveProduct", NULL)
    run("-ImportProduct", product(farm, "again.json", version="3", **own))
    run("-RemoveProduct", "movie")
    run("-Option", "n" * 300, "1", status=1)
    run("-Option", "one", "x" * 70_000, "-Option", "two", "small", status=1)
    run("-Option", "wild\x1b", "1", status=1)
    run("-ImportProduct", product(farm, "clash.json", id=NULL[:-1] + "7", name="OWN", aliases=[]), status=1)
    farm.admin("client", "worker-17", "--role", "component", "--data-dir", farm.data, "--out", farm.folder / "worker")
    run("-Option", "MaxJobs", "7", credentials=farm.folder / "worker/brenic.conf", status=None)
    local = f"unix:{farm.socket}"
    run("-Option", "Local", "1", "-Limit", "still", "2", address=local)
    run("-Option", "local", "", "-AddRestriction", "lunch", address=local)
    run("-PathTranslation", "L:\\", "/local", "/Volumes/local", address=local)
    run("-SetUserLimit", "local", "4", address=local)
    run("-Limit", "still", "-7", address=local, status=1)
    run("-DumpLogs", address=local)
    run("-SuperExit", address=local)


def second_run(farm, run):
    """Other default products, and an operation that is not repeated."""
    farm.products = shutil.copytree(farm.products, farm.folder / "products")
    (farm.products / "shell-task.json").unlink()
    changed = json.loads((farm.products / "lumen-sequence.json").read_text())
    (farm.products / "lumen-sequence.json").write_text(json.dumps({**changed, "version": "99"}))
    farm.serve()
    local = f"unix:{farm.socket}"
    run("-Option", "Second", "run", address=local)
    run("-Reboot", address=local, status=None)
    run("-Option", "Second", "still there")


def main():
    target = pathlib.Path(sys.argv[2])
    farm = Farm(config="[Master]\nRebootCommand = true\n")

    def run(*arguments, status=0, **options):
        ended = farm.run(*arguments, **options)
        if status is not None and ended.status != status:
            sys.exit(f"setwright {arguments[:2]}: {ended}")

    try:
        first_run(farm, run)
        farm.master.wait(60)
        farm.master.stdout.close()
        farm.output.close()
        second_run(farm, run)
        if farm.stop() != 0:
            sys.exit(farm.log())
        target.mkdir()
        with contextlib.closing(sqlite3.connect(farm.data / "master.db")) as connection:
            connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        shutil.copyfile(farm.data / "master.db", target / "master.db")
        for name, *arguments in (("state.json", "state", "--json"), ("state.ini", "state", "--ini"), ("state.txt", "state"),
                                 ("audit.jsonl", "audit", "--json"), ("audit.txt", "audit")):
            with open(target / name, "wb") as out:
                subprocess.run([BIN / "brenic-master", *arguments, "--data-dir", farm.data], stdout=out, check=True)
    finally:
        farm.close()


if __name__ == "__main__":
    main()
