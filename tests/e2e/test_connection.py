"""How a run ends when the Master cannot be reached, or does not let the tool in."""

import datetime
import os
import pathlib
import pty
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from farm import BIN, Farm, FarmTest, finish
from proxy import ANSWER, PRODUCTS, Proxy


class Silent:
    """A port that accepts and says nothing."""

    def __init__(self):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.socket.getsockname()[1]


class NoMaster(FarmTest):
    def setUp(self):
        self.farm = Farm(serve=False)
        self.addCleanup(self.farm.close)

    def test_a_refused_connection_is_told_at_once_and_tried_again(self):
        silent = Silent()
        silent.socket.close()
        process = self.farm.start("-Info", address=silent.address)
        line = process.stderr.readline().decode()
        self.assertIn(silent.address, line)
        self.assertIn("Connection refused: nothing listens there; check the address and port, and that the Master runs; "
                      "trying again", line)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertDone(finish(process), 130)

    def test_the_connect_timeout_ends_the_run_with_3(self):
        for busy in (True, False):
            silent = Silent()
            if not busy:
                silent.socket.close()
            started = time.monotonic()
            result = self.farm.run("-Option", "a", "1", "-ConnectTimeout", "1", address=silent.address)
            self.assertGreaterEqual(time.monotonic() - started, 1)
            self.assertDone(result, 3)
            self.assertEqual(result.out, "")
            self.assertOneLine(result.err.splitlines()[-1], f"No connection to the Master at {silent.address} within 1 s")
            self.assertIn("; check the address and port, and that the Master runs", result.err.splitlines()[-1])
            silent.socket.close()

    def test_the_configuration_can_limit_the_first_connection(self):
        silent = Silent()
        silent.socket.close()
        with self.farm.credentials.open("a") as configuration:
            configuration.write("ConnectTimeout = 0.5\n")
        process = self.farm.start("-Info", address=silent.address)
        self.addCleanup(process.kill)
        self.assertIn("trying again for up to 0.5 s", process.stderr.readline().decode())
        self.assertDone(finish(process), 3)
        process = self.farm.start("-Info", "-ConnectTimeout", "0", address=silent.address)
        self.addCleanup(process.kill)
        self.assertIn("trying again until it answers", process.stderr.readline().decode())
        process.send_signal(signal.SIGINT)
        self.assertDone(finish(process), 130)

    def test_a_silent_master_is_told_after_one_attempt(self):
        silent = Silent()
        process = self.farm.start("-Info", address=silent.address)
        line = process.stderr.readline().decode()
        self.assertIn(f"{silent.address}: no answer within 5 s; check the address and port, and that the "
                      "Master runs; trying again", line)
        process.send_signal(signal.SIGINT)
        self.assertDone(finish(process), 130)
        silent.socket.close()

    def test_an_unknown_host_is_told_and_tried_again(self):
        result = self.farm.run("-Info", "-ConnectTimeout", "0.5", address="no-such-host.invalid")
        self.assertDone(result, 3)
        self.assertIn("no-such-host.invalid:8730", result.err)

    def test_switches_that_leave_the_master_unclear_end_the_run(self):
        for switches, part in ((["-MasterPort", "abc"], "-MasterPort 'abc'"), (["-MasterPort"], "-MasterPort ''"),
                               (["-MasterPort", "70000"], "-MasterPort '70000'"),
                               (["-Master", "nonsense:"], "-Master 'nonsense:'"), (["-Master"], "-Master ''"),
                               (["-Master", "::1"], "[::1]:8730"), (["-Master", "-Info"], "-Master '-Info'"),
                               (["-ConnectTimeout", "x"], "-ConnectTimeout 'x'"),
                               (["-ConnectTimeout", "-1"], "-ConnectTimeout '-1'")):
            process = subprocess.Popen([BIN / "setwright", "-LogFolder", self.farm.folder / "log", "-Option", "a", "1",
                                        *switches], env=self.farm.environment(), stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
            result = finish(process)
            self.assertDone(result, 3)
            self.assertOneLine(result.err, part)


class Credentials(FarmTest):
    def issue(self, name, *options):
        folder = self.farm.folder / name
        self.farm.admin("client", name, "--data-dir", self.farm.data, "--out", folder, *options)
        return folder / "brenic.conf"

    def refused(self, credentials, *parts, status=3, args=("-Option", "a", "1")):
        result = self.farm.run(*args, "-ConnectTimeout", "20", credentials=credentials)
        self.assertDone(result, status)
        self.assertOneLine(result.err, *parts)
        self.assertEqual(self.farm.state()["options"], {})

    def test_a_master_of_another_authority_is_not_believed(self):
        other = Farm(serve=False)
        self.addCleanup(other.close)
        self.refused(other.credentials, "certificate is not accepted", "another authority", "check the address",
                     "this machine was away while the farm's authority was renewed",
                     "have 'brenic-master client admin --renew --data-dir DIR --out FOLDER' run on the Master's")

    def test_a_file_of_several_authorities_holds_the_masters_in_any_place(self):
        other = Farm(serve=False)
        self.addCleanup(other.close)
        file = self.farm.credentials.parent / "ca.pem"
        own, next_one = file.read_text(), (other.credentials.parent / "ca.pem").read_text()
        for text in (own + next_one, next_one + own, f"# the next\n{next_one}# the old\n{own}".replace("\n", "\r\n")):
            file.write_text(text)
            result = self.farm.run("-GetUserLimits")
            self.assertDone(result)
            self.assertEqual(result.err, "")
        for damaged in (own + next_one.replace("-----BEGIN", "----BEGIN"), own + next_one[:300]):
            file.write_text(damaged)
            self.refused(self.farm.credentials, f"'{file}' cannot be used: its certificate 2 is damaged (",
                         "take the file as 'brenic-master client' made it")

    def on_terminal(self, credentials):
        """What a user at a terminal sees on standard error."""
        reader, terminal = pty.openpty()
        self.assertDone(finish(self.farm.start("-DumpLogs", credentials=credentials, stderr=terminal)))
        os.close(terminal)
        with open(reader, "rb", buffering=0) as seen:
            try:
                return seen.read(65536).decode().replace("\r\n", "\n")
            except OSError:  # nothing was written, and nobody has it open any more
                return ""

    def test_a_certificate_that_ends_soon_is_told_to_a_user_and_not_to_a_script(self):
        soon = self.issue("soon", "--role", "administrator", "--valid-days", "59")
        log = self.farm.folder / "log/setwright.log"
        text = subprocess.run(["openssl", "x509", "-noout", "-enddate", "-in", soon.parent / "client.pem"],
                              capture_output=True, check=True).stdout.decode().strip()
        end = datetime.datetime.strptime(text, "notAfter=%b %d %H:%M:%S %Y GMT").date()
        for _ in range(2):  # on each run
            line = self.on_terminal(soon)
            self.assertRegex(line, f"^The certificate '{soon.parent}/client.pem' ends on {end} "
                             r"\(5[89] days left, by this machine's clock\): have 'brenic-master client soon "
                             "--renew --data-dir DIR --out FOLDER' run on the Master's machine, and put the new "
                             "files in place of these\n$")
        log.unlink()
        result = self.farm.run("-DumpLogs", credentials=soon)
        self.assertDone(result)
        self.assertEqual(result.err, "")
        warnings = [text for text in log.read_text().splitlines() if " warning " in text.lower()]
        self.assertOneLine("\n".join(warnings), line.strip())
        self.assertEqual(self.on_terminal(self.issue("later", "--role", "administrator", "--valid-days", "62")), "")

    def test_a_client_of_another_authority_is_not_let_in(self):
        other = Farm(serve=False)
        self.addCleanup(other.close)
        # It trusts this Master, but its own certificate comes from elsewhere.
        (other.credentials.parent / "ca.pem").write_text((self.farm.credentials.parent / "ca.pem").read_text())
        self.refused(other.credentials, "does not accept this client's certificate", "another authority issued it",
                     "this machine was away while the farm's authority was renewed",
                     "have 'brenic-master client admin --renew --data-dir DIR --out FOLDER' run on the Master's")

    def test_an_expired_certificate_is_not_let_in(self):
        self.refused(self.issue("late", "--role", "administrator", "--valid-days", "-1"),
                     "does not let this client in: The certificate of 'late' ended on",
                     "brenic-master client --renew")

    def test_a_certificate_that_the_master_does_not_know_is_not_let_in(self):
        # The same authority issued it, in a copy of the Master's data.
        copy, folder = self.farm.folder / "copy", self.farm.folder / "late"
        shutil.copytree(self.farm.data, copy, ignore=shutil.ignore_patterns("manage.sock"))
        self.farm.admin("client", "late", "--data-dir", copy, "--out", folder, "--role", "administrator")
        self.refused(folder / "brenic.conf", "does not let this client in", "does not know the certificate",
                     "ask its administrator for new credentials")

    def test_a_missing_configuration_says_what_to_do(self):
        self.refused(self.farm.folder / "nowhere.conf", "nowhere.conf", "No such file")

    def test_a_configuration_that_is_not_understood_ends_the_run(self):
        good = self.farm.credentials.read_text()
        for text, part in ((good + "Mastr = 127.0.0.1\n", "line 6: the name 'Mastr' is not known"),
                           (good + "Master = 127.0.0.1\n", "line 6: 'Master' is given a second time"),
                           (good.replace("[Client]", "[Clients]"), "line 1: the section [Clients] is not known")):
            self.farm.credentials.write_text(text)
            self.refused(self.farm.credentials, f"'{self.farm.credentials}' cannot be used: {part}")
        self.farm.credentials.unlink()
        os.mkfifo(self.farm.credentials)
        self.refused(self.farm.credentials, "it is not a regular file")

    def test_an_address_that_nobody_can_have_ends_the_run(self):
        for address in ("[farm]", "me@farm", "farm/8730", "farm..example", "010.0.0.1"):
            process = self.farm.start("-Option", "a", "1", address=address)  # without -ConnectTimeout
            result = finish(process)
            self.assertDone(result, 3)
            self.assertOneLine(result.err, f"-Master '{address}' is not an address: ")

    def test_a_key_readable_by_others_is_not_used(self):
        key = self.farm.credentials.parent / "client.key"
        key.chmod(0o640)
        self.refused(self.farm.credentials, "client.key", "chmod 600")

    def test_one_that_is_revoked_is_told_so_for_good(self):
        credentials = self.issue("leaver", "--role", "administrator")
        why = r"The certificate of 'leaver' .* was revoked on \d{4}-\d\d-\d\d; .*new credentials"
        watcher = self.farm.start(program="watcher", credentials=credentials)
        self.assertEqual(watcher.stdout.readline(), b"ready\n")
        self.farm.admin("revoke", "leaver", "--data-dir", self.farm.data)
        dropped = finish(watcher)
        self.assertDone(dropped, 3)
        self.assertRegex(dropped.err, f"^The Master at {self.farm.address} does not let this client in any more: "
                         f"{why}\n$")
        result = self.farm.run("-Option", "a", "1", credentials=credentials)  # without -ConnectTimeout
        self.assertDone(result, 3)
        self.assertRegex(result.err, f"^The Master at {self.farm.address} does not let this client in: {why}\n$")

    def test_a_component_is_let_in_and_may_change_nothing(self):
        component = self.issue("engine", "--role", "component")
        self.assertDone(self.farm.run("-Info", credentials=component))
        self.refused(component, "administrator", status=1)
        self.assertEqual([(r["client"]["name"], r["client"]["role"], r["result"]) for r in self.farm.audit()
                          if r["message"]["class"] != "IssueClientMsg"],
                         [("engine", "component", "refused")])

    def test_without_credentials_the_local_socket_serves_its_own_users(self):
        env = {"HOME": str(self.farm.folder), "XDG_RUNTIME_DIR": str(self.farm.folder / "run")}
        (self.farm.folder / "run/brenic").mkdir(parents=True)
        (self.farm.folder / "run/brenic/master.sock").symlink_to(self.farm.socket)
        process = subprocess.Popen([BIN / "setwright", "-Option", "a", "1", "-LogFolder", self.farm.folder / "log"],
                                   env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertDone(finish(process))
        self.assertEqual(self.farm.state()["options"], {"a": "1"})


class Interrupt(FarmTest):
    def interrupted(self, process):
        started = time.monotonic()
        process.send_signal(signal.SIGINT)
        result = finish(process)
        print(f"ended {1000 * (time.monotonic() - started):.0f} ms after Ctrl-C", end=" ", flush=True)
        self.assertDone(result, 130)
        self.assertEqual(result.err, "Interrupted\n")

    def test_while_it_connects(self):
        silent = Silent()
        process = self.farm.start("-Info", address=silent.address)
        connection, _ = silent.socket.accept()
        connection.recv(1)  # it has begun
        self.interrupted(process)
        connection.close()
        silent.socket.close()

    def held(self, kind):
        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket,
                      lambda connection, from_client, k: "hold" if k == kind and not from_client else "pass")
        self.addCleanup(proxy.close)
        process = self.farm.start("-Option", "a", "1", address=proxy.address)
        self.assertTrue(proxy.held.wait(30))
        self.interrupted(process)

    def test_while_it_waits_for_the_products(self):
        self.held(PRODUCTS)

    def test_while_it_waits_for_delivery(self):
        self.held(ANSWER)


class Output(FarmTest):
    def test_a_full_disk_is_noticed(self):
        with open("/dev/full", "w") as full:
            result = finish(self.farm.start("-Info", stdout=full))
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "standard output", "No space left on device")

    def test_a_closed_pipe_is_noticed(self):
        read, write = os.pipe()
        os.close(read)
        result = finish(self.farm.start("-Info", stdout=write))
        os.close(write)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "standard output", "Broken pipe")

    def test_the_log_does_not_stop_the_run(self):
        for switches, part in ((["-LogFileLevel", "7"], "-LogFileLevel '7'"), (["-LogFileLevel", "x"], "'x'"),
                               (["-LogDisplayLevel", "-1"], "-LogDisplayLevel '-1'")):
            result = self.farm.run("-Info", *switches)
            self.assertDone(result)
            self.assertOneLine(result.err, part)
            self.assertIn(" ERROR " + result.err, (self.farm.folder / "log/setwright.log").read_text())
        for folder in (["/proc/no/such"], [""]):
            process = subprocess.Popen(
                [BIN / "setwright", "-Info", "-Master", self.farm.address, "-LogFolder", *folder],
                env={**self.farm.environment(), "XDG_STATE_HOME": str(self.farm.folder / "state")},
                stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            result = finish(process)
            self.assertDone(result)
            self.assertOneLine(result.err, folder[0], str(self.farm.folder / "state/brenic/log"))
            self.assertIn("Master Name:", result.out)
            log = (self.farm.folder / "state/brenic/log/setwright.log").read_text()
            self.assertIn(" ERROR " + result.err, log)

    def test_the_log_tells_the_run(self):
        self.assertDone(self.farm.run("-Option", "a", "1"))
        log = (self.farm.folder / "log/setwright.log").read_text()
        places = [log.index(line) for line in ("Received products: Parsing command line",
                                               "Setting Distribution option 'a' to '1'", "Queue Messages",
                                               "Wait For Messages")]
        self.assertEqual(places, sorted(places))


if __name__ == "__main__":
    unittest.main()
