"""A Master that is told everything by its configuration, and what it tells systemd."""

import os
import select
import shutil
import signal
import socket
import sqlite3
import subprocess

from farm import BIN, LONGEST, TREE, Farm, FarmTest


class Notifications:
    """The socket on which systemd would be told."""

    def __init__(self, path):
        self.path = path
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(str(path))
        self.socket.settimeout(LONGEST)
        self.seen = []

    def next(self, *wanted):
        """The next message that has one of these assignments, which is returned; others are only kept."""
        while True:
            lines = self.socket.recv(4096).decode().splitlines()
            self.seen.append(lines)
            for line in lines:
                if line in wanted:
                    return line

    def expect(self, test, *order):
        for expected in order:
            test.assertEqual(self.next("READY=1", "RELOADING=1", "STOPPING=1"), expected)


class ConfigurationTest(FarmTest):
    """A Master that is told everything by its configuration."""

    def setUp(self):
        self.farm = Farm(serve=False)
        self.addCleanup(self.farm.close)
        self.products = self.farm.folder / "products"
        self.products.mkdir()
        shutil.copy(TREE / "samples/products/shell-task.json", self.products)
        self.told = Notifications(self.farm.folder / "notify")
        self.addCleanup(self.told.socket.close)

    def configure(self, **settings):
        """Relative paths, to show that they are relative to the file."""
        every = {"DataFolder": "master", "Listen": "127.0.0.1:0", "Products": "products", "Socket": "master.sock",
                 **settings}
        self.farm.config.write_text("[Master]\n" + "".join(
            f"{name} = {value}\n" for name, value in every.items() if value is not None))

    def start(self, *args, before=None, **environment):
        """Starts it; its standard output and error are told apart."""
        farm = self.farm
        farm.output = open(farm.folder / "master.out", "ab")
        farm.master = subprocess.Popen(
            [BIN / "brenic-master", "serve", "--config", farm.config, *map(str, args)], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=farm.output, preexec_fn=before,
            env={**os.environ, "NOTIFY_SOCKET": str(self.told.path), **environment})

    def serve(self, *args, **environment):
        self.start(*args, **environment)
        self.ready()

    def ready(self):
        self.line = self.farm.master.stdout.readline().decode()
        self.assertTrue(self.line.startswith("Serving on "), self.farm.log())
        self.addresses = self.line.removeprefix("Serving on ").strip().split(", ")
        self.farm.address = self.addresses[0]
        self.told.expect(self, "READY=1")

    def failure(self, *args, **environment):
        """What one that cannot start says."""
        self.start(*args, **environment)
        self.assertEqual(self.farm.master.wait(LONGEST), 1)
        return self.farm.log()

    def reload(self):
        self.farm.master.send_signal(signal.SIGHUP)
        # Built with the thread sanitizer, and only so as far as was seen, the program loses one signal in some thirty
        # that comes when it has just begun to serve.
        while "TSAN_OPTIONS" in os.environ and not select.select([self.told.socket], [], [], 10)[0]:
            self.farm.master.send_signal(signal.SIGHUP)
        self.told.expect(self, "RELOADING=1", "READY=1")

    def log_file(self):
        return (self.farm.data / "log/brenic-master.log").read_text()

    def product_names(self):
        return [product["name"] for product in self.farm.state()["products"]]

    def hold_database(self):
        held = sqlite3.connect(self.farm.data / "master.db", isolation_level=None)
        held.execute("BEGIN IMMEDIATE")
        self.addCleanup(held.close)
        return held
