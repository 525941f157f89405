"""A private Master and the programs under test, for the end-to-end tests.

Every Farm lives in a temporary folder on a free loopback port and is gone after its test. What the Master wrote
is shown when a test fails.
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

BIN = pathlib.Path(os.environ["BRENIC_BIN"])
TREE = pathlib.Path(__file__).resolve().parents[2]
LONGEST = 60  # seconds that any process may run
NOBODY = 65534  # user and group


class Result:
    """How a command ended."""

    def __init__(self, process, out, err):
        self.status, self.out, self.err = process.returncode, out.decode(), err.decode()

    def __repr__(self):
        return f"status {self.status}\nstdout: {self.out}\nstderr: {self.err}"


class Farm:
    """A Master of its own, with an administrator's credentials."""

    def __init__(self, config="", serve=True):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="farm-"))
        self.data = self.folder / "master"
        self.socket = self.folder / "master.sock"
        self.config = self.folder / "master.conf"
        self.config.write_text(config)
        self.master = None
        self.port = 0
        self.products = TREE / "samples/products"
        self.admin("init", "--data-dir", self.data, "--name", "Test farm")
        self.credentials = self.data / "clients/admin/brenic.conf"
        if serve:
            self.serve()

    def admin(self, *args):
        """Runs brenic-master with a subcommand that ends by itself; its standard output."""
        done = subprocess.run([BIN / "brenic-master", *map(str, args)], capture_output=True, timeout=LONGEST)
        if done.returncode != 0:
            raise AssertionError(f"brenic-master {args}: {done.returncode}\n{done.stderr.decode()}")
        return done.stdout.decode()

    def serve(self):
        """Starts the Master and returns when it is ready; again on the same port."""
        if not self.try_to_serve():
            raise AssertionError(f"the Master did not start: {self.log()}")

    def try_to_serve(self, **environment):
        """The same; false when it ended instead."""
        self.output = open(self.folder / "master.out", "a+b")
        self.master = subprocess.Popen(
            [BIN / "brenic-master", "serve", "--data-dir", self.data, "--listen", f"127.0.0.1:{self.port}",
             "--socket", self.socket, "--config", self.config, "--products", self.products],
            stdout=subprocess.PIPE, stderr=self.output, stdin=subprocess.DEVNULL, env={**os.environ, **environment})
        ready = self.master.stdout.readline().decode()
        if "Serving on" not in ready:
            return False
        self.port = int(ready.rsplit(":", 1)[1])
        self.address = f"127.0.0.1:{self.port}"
        return True

    def log(self):
        return (self.folder / "master.out").read_text(errors="replace")

    def stop(self):
        """Ends it cleanly; its exit status."""
        self.master.terminate()
        status = self.master.wait(LONGEST)
        self.master.stdout.close()
        self.output.close()
        return status

    def kill(self):
        self.master.kill()
        self.master.wait()
        self.master.stdout.close()
        self.output.close()

    def close(self):
        if self.master and self.master.poll() is None:
            self.master.send_signal(signal.SIGCONT)
            self.master.terminate()
            try:
                self.master.wait(LONGEST)
            except subprocess.TimeoutExpired:
                self.kill()
        if self.master:
            self.master.stdout.close()
            self.output.close()
        shutil.rmtree(self.folder)

    def environment(self, credentials=None):
        env = {k: v for k, v in os.environ.items() if not k.startswith(("XDG_", "BRENIC_CONFIG"))}
        env["BRENIC_CONFIG"] = str(credentials or self.credentials)
        env["HOME"] = str(self.folder)
        return env

    def ordinary_user(self):
        """Options for start and run, by which the program has no privileges, also where the tests run as root."""
        if os.geteuid() != 0:
            return {}
        home, log = self.folder / "ordinary", self.folder / "log"
        if not home.exists():
            self.folder.chmod(0o755)
            shutil.copytree(self.credentials.parent, home)
            shutil.copy(BIN / "setwright", home)
            log.mkdir(exist_ok=True)
            for path in (home, *home.iterdir(), log, *log.iterdir()):
                os.chown(path, NOBODY, NOBODY)
        return {"user": NOBODY, "group": NOBODY, "extra_groups": [], "program": home / "setwright",
                "credentials": home / "brenic.conf"}

    def start(self, *args, program="setwright", address=None, credentials=None, **options):
        """Starts a program against this Master."""
        command = [BIN / program, *map(str, args), "-LogFolder", self.folder / "log"]
        if address is None:
            address = self.address
        if address:
            command += ["-Master", address]
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        return subprocess.Popen(command, stdin=subprocess.DEVNULL, env=self.environment(credentials), **options)

    def run(self, *args, **options):
        """Runs setwright to its end."""
        return finish(self.start(*args, **options))

    def last(self, *args):
        """Runs setwright with nothing behind these arguments."""
        return finish(subprocess.Popen(
            [BIN / "setwright", "-Master", self.address, "-LogFolder", self.folder / "log", *map(str, args)],
            env=self.environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE))

    def state(self):
        return json.loads(self.admin("state", "--data-dir", self.data, "--json"))

    def audit(self):
        return [json.loads(line) for line in self.admin("audit", "--data-dir", self.data, "--json").splitlines()]


def finish(process):
    try:
        out, err = process.communicate(timeout=LONGEST)
    except subprocess.TimeoutExpired:
        process.kill()
        out, err = process.communicate()
        raise AssertionError(f"did not end\nstdout: {out.decode()}\nstderr: {err.decode()}")
    return Result(process, out or b"", err or b"")


class FarmTest(unittest.TestCase):
    """A test with a Farm of its own."""

    CONFIG = ""

    def setUp(self):
        self.farm = Farm(self.CONFIG)
        self.addCleanup(self.farm.close)

    def tearDown(self):
        outcome = self._outcome.result
        if any(test is self for test, _ in outcome.failures + outcome.errors):
            print(self.farm.log())

    def assertDone(self, result, status=0):
        self.assertEqual(result.status, status, result)

    def assertOneLine(self, text, *parts):
        """Exactly one line, which holds every part."""
        self.assertEqual(len(text.splitlines()), 1, text)
        for part in parts:
            self.assertIn(part, text)
