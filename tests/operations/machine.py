"""A Debian in a container, started by its own systemd."""

import subprocess
import time
from pathlib import Path

START = 120  # seconds
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


class Machine:
    """Runs from `with` to its end. Without network it sees its loopback interface alone, with `hosts`: address to names."""

    def __init__(self, root, network, hosts=None):
        self.root = Path(root)
        options = [] if network else ["--private-network"]
        if hosts:
            lines = ["127.0.0.1 localhost", *(f"{address} {names}" for address, names in hosts.items())]
            (self.root / "etc/hosts").write_text("\n".join(lines) + "\n")
        self._container = subprocess.Popen(
            ["systemd-nspawn", "--quiet", "--register=no", "--keep-unit", "--boot", "-D", self.root,
             "--resolv-conf=copy-host", *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self._leader = None

    def __enter__(self):
        try:
            end = time.monotonic() + START
            while self._leader is None or self.run("root", "systemctl is-system-running --wait")[1].strip() not in (
                    "running", "degraded"):
                if time.monotonic() > end or self._container.poll() is not None:
                    raise TimeoutError("the machine did not start")
                self._leader = self._find_leader()
        except BaseException:
            self._end()
            raise
        return self

    def __exit__(self, *_):
        self.run("root", "systemctl poweroff")
        self._end()

    def _end(self):
        try:
            self._container.wait(60)
        except subprocess.TimeoutExpired:
            self._container.kill()
            self._container.wait()

    def _find_leader(self):
        """The container's first process, as the system outside knows it."""
        pid = self._container.pid
        children = Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
        return children[0] if children else None

    def command(self, user, text, folder=None):
        home = {"root": "/root", "brenic": "/var/lib/brenic"}.get(user, f"/home/{user}")
        become = [] if user == "root" else ["runuser", "-u", user, "--"]
        return ["nsenter", "-t", self._leader, "-m", "-u", "-i", "-n", "-p", "-r", "--",
                "env", "-i", "-C", folder or "/", f"PATH={PATH}", f"HOME={home}", "LANG=C.UTF-8",
                *become, "bash", "-c", text]

    def run(self, user, text, folder=None, seconds=1800):
        """Exit status, and both streams as one text, of what bash makes of `text`."""
        result = subprocess.run(self.command(user, text, folder), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, timeout=seconds)
        return result.returncode, result.stdout

    def must(self, user, text):
        status, output = self.run(user, text)
        if status != 0:
            raise RuntimeError(f"{text}: exit status {status}:\n{output}")
        return output

    def write(self, path, text):
        file = self.root / path.lstrip("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
