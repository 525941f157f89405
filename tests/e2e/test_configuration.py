"""The Master's configuration, and how it is read anew."""

import pathlib
import re
import shutil
import signal
import socket

from configured import ConfigurationTest
from farm import LONGEST, TREE, Farm


class Start(ConfigurationTest):
    def test_everything_may_stand_in_the_file(self):
        self.configure(Listen="127.0.0.1:0, 127.0.0.1:0", PortFile="port", LogFolder="logs", LogFileLevel=5)
        self.serve()
        self.assertEqual(len(self.addresses), 2, self.line)
        for address in [*self.addresses, f"unix:{self.farm.folder}/master.sock"]:
            self.assertDone(self.farm.run("-Option", "a", address, address=address))
        self.assertEqual((self.farm.folder / "port").read_text(), self.addresses[0].rsplit(":", 1)[1] + "\n")
        self.assertEqual(self.product_names(), ["Shell Task"])
        self.assertIn(self.line.strip(), (self.farm.folder / "logs/brenic-master.log").read_text())

    def test_the_command_line_overrides_it(self):
        other = Farm(serve=False)
        self.addCleanup(other.close)
        self.configure(DataFolder="missing", Listen="192.0.2.1:1", Products="missing", Socket="missing/socket",
                       PortFile="missing/port")
        self.serve("--data-dir", self.farm.data, "--listen", "127.0.0.1:0", "--listen", "127.0.0.2:0", "--products",
                   self.products, "--socket", self.farm.socket, "--port-file", self.farm.folder / "given")
        self.assertEqual([address.split(":")[0] for address in self.addresses], ["127.0.0.1", "127.0.0.2"])
        self.assertTrue(self.farm.socket.exists() and (self.farm.folder / "given").exists())
        self.assertEqual(self.product_names(), ["Shell Task"])

    def test_one_address_that_cannot_be_listened_on_is_told(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            taken = f"127.0.0.1:{other.getsockname()[1]}"
            self.configure(Listen=f"127.0.0.1:0, {taken}", PortFile="port")
            self.assertOneLine(self.failure(), f"Cannot listen on {taken}: Address already in use")
        self.assertFalse((self.farm.folder / "port").exists())

    def test_both_addresses_of_all_may_be_listened_on(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
        self.configure(Listen=f"0.0.0.0:{port}, [::]:{port}")
        if not socket.has_dualstack_ipv6():
            self.skipTest("there is no IPv6")
        self.serve()
        for address in (f"127.0.0.1:{port}", f"[::1]:{port}"):
            self.assertDone(self.farm.run("-Option", "a", "1", address=address))

    def test_an_address_that_is_given_twice_is_told(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            address = f"127.0.0.1:{other.getsockname()[1]}"
        self.configure(Listen=f"{address}, {address}")
        self.assertOneLine(self.failure(), f"What to listen on has '{address}' twice")

    def test_the_management_socket_is_no_local_socket(self):
        self.configure(Socket="./master/../master/manage.sock")
        self.assertOneLine(self.failure(), "is the Master's own management socket, which is always there")

    def test_a_path_without_value_is_told(self):
        self.configure(DataFolder="")
        self.assertOneLine(self.failure(), "Line 2 of the configuration", "DataFolder has no value; give a path")

    def test_without_a_data_folder_it_says_what_to_give(self):
        self.configure(DataFolder=None)
        self.assertOneLine(self.failure(), "--data-dir DIR", "DataFolder in the configuration")


class Reload(ConfigurationTest):
    def test_levels_products_commands_and_limits_are_taken_anew(self):
        self.configure(LogFileLevel=3)
        self.serve()
        self.assertDone(self.farm.run("-Reboot"), 1)
        shutil.copytree(self.products, self.farm.folder / "more")
        shutil.copy(TREE / "samples/products/raymarch-still.json", self.farm.folder / "more")
        self.configure(LogFileLevel=0, LogDisplayLevel=3, Products="more", ConnectionsPerCertificate=1,
                       RebootCommand="true")
        self.reload()
        self.assertIn("SYSTEM The configuration was read anew", self.farm.log())
        self.assertNotIn("read anew", self.log_file())
        self.assertEqual(len(self.product_names()), 2)
        self.assertDone(self.farm.run("-Reboot"))
        self.watcher()
        self.assertDone(self.farm.run("-Option", "a", "1", "-ConnectTimeout", "1"), 3)
        self.assertIn("ConnectionsPerCertificate", self.farm.log())

    def watcher(self):
        watcher = self.farm.start(program="watcher")
        self.addCleanup(watcher.communicate)
        self.addCleanup(watcher.kill)
        while watcher.stdout.readline() != b"ready\n":
            self.assertIsNone(watcher.poll())
        return watcher

    def test_clients_stay_connected_and_are_told_of_products(self):
        self.configure()
        self.serve()
        watcher = self.watcher()
        shutil.copy(TREE / "samples/products/raymarch-still.json", self.products)
        self.reload()
        self.assertDone(self.farm.run("-ImportProduct", TREE / "samples/products/lumen-sequence.json"))
        self.assertRegex(watcher.stdout.readline(), b"^installed Lumen .*, now 3\n")
        self.assertDone(self.farm.run("-SuperExit"))
        self.assertEqual(watcher.wait(LONGEST), 0)

    def test_what_is_wrong_is_told_and_nothing_is_taken(self):
        self.configure(LogFileLevel=3, RebootCommand="true")
        self.serve()
        shutil.copytree(self.products, self.farm.folder / "more")
        shutil.copy(TREE / "samples/products/raymarch-still.json", self.farm.folder / "more")
        for wrong, why in (({"LogFileLevel": 7}, "LogFileLevel must be a number from 0 to 6"),
                           ({"LogFilelevl": 1}, "unknown name 'LogFilelevl'"),
                           ({"Listen": "nowhere"}, "ADDRESS:PORT, not 'nowhere'"),
                           ({"Products": "missing"}, f"'{self.farm.folder}/missing'")):
            with self.subTest(wrong):
                before = len(self.farm.log())
                self.configure(**{"Products": "more", "LogFileLevel": 0, "LogDisplayLevel": 6, **wrong})
                self.reload()
                text = "The configuration is not taken, and all settings stay as they were: "
                self.assertOneLine(self.farm.log()[before:], text, why)
                self.assertRegex(self.log_file().splitlines()[-1], "ERROR " + text)
                self.assertEqual(self.product_names(), ["Shell Task"])
        self.assertDone(self.farm.run("-Reboot"))

    def test_what_is_wrong_is_told_once_where_the_log_is_shown(self):
        self.configure(LogDisplayLevel=1)
        self.serve()
        self.configure(LogDisplayLevel=7)
        self.reload()
        self.assertOneLine(self.farm.log(), " ERROR The configuration is not taken, ")

    def test_a_configuration_that_cannot_be_read_is_not_taken_for_an_empty_one(self):
        self.configure(RebootCommand="true")
        self.serve()
        self.farm.config.unlink()
        self.reload()
        self.assertOneLine(self.farm.log(), f"Cannot read the configuration '{self.farm.config}': No such file")
        self.assertDone(self.farm.run("-Reboot"))

    def test_an_empty_one_is_not_taken_while_there_were_settings(self):
        self.configure(RebootCommand="true", AuditKeep=4000)
        self.serve()
        for text, why in (("", "no settings any more"), ("[Master]\n", "no settings any more"),
                          (f"[Master]\nDataFolder = master\n", "AuditKeep, which is 4000, is missing now")):
            before = len(self.farm.log())
            self.farm.config.write_text(text)
            self.reload()
            self.assertOneLine(self.farm.log()[before:], "all settings stay as they were: ", why)
        self.assertDone(self.farm.run("-Reboot"))

    def test_one_that_is_cut_off_within_a_number_is_not_taken(self):
        self.configure(AuditKeep=400)
        self.serve()
        whole = self.farm.config.read_text().rstrip("\n")
        self.farm.config.write_text(whole.replace("AuditKeep = 400", "").rstrip("\n") + "\nAuditKeep = 4")
        self.reload()
        self.assertOneLine(self.farm.log(), "all settings stay as they were: The file's last line has no end")

    def test_a_smaller_number_of_days_is_told(self):
        self.configure(AuditKeep=400)
        self.serve()
        for days in (500, 500, 4):
            self.configure(AuditKeep=days)
            self.reload()
        told = "WARNING AuditKeep was 500 days and is 4 now: older records leave the audit trail for good\n"
        self.assertEqual(self.log_file().count(told), 1)
        self.assertEqual(self.log_file().count("WARNING AuditKeep"), 1)

    def test_at_a_start_an_empty_one_is_fine(self):
        self.farm.config.write_text("; nothing\n")
        self.serve("--data-dir", self.farm.data, "--listen", "127.0.0.1:0")
        self.assertEqual(self.farm.log(), "")
        self.assertRegex(self.log_file(), "SYSTEM The configuration '.*' has no settings")
        self.reload()
        self.assertEqual(self.farm.log(), "")

    def test_what_only_a_start_takes_is_named(self):
        self.configure()
        self.serve()
        self.configure(Listen="127.0.0.1:1", DataFolder="other", RebootCommand="true")
        self.reload()
        warning = "WARNING The configuration has changes that only a new start of the Master takes: DataFolder, Listen\n"
        self.assertIn(warning, self.log_file())
        self.assertDone(self.farm.run("-Reboot"))

    def test_the_log_is_opened_anew_whatever_the_configuration_holds(self):
        self.configure()
        self.serve()
        for settings in ({}, {"Nonsense": 1}):
            self.configure(**settings)
            moved = self.farm.data / f"log/moved{len(settings)}"
            (self.farm.data / "log/brenic-master.log").rename(moved)
            self.reload()
            self.assertIn("The configuration", self.log_file())
            self.assertNotIn(self.log_file(), moved.read_text())

    def test_a_signal_while_it_reads_is_not_lost(self):
        self.configure()
        self.serve()
        shutil.copy(TREE / "samples/products/raymarch-still.json", self.products)
        held = self.hold_database()
        self.farm.master.send_signal(signal.SIGHUP)
        self.told.expect(self, "RELOADING=1")
        self.configure(RebootCommand="true")
        self.farm.master.send_signal(signal.SIGHUP)
        held.execute("ROLLBACK")
        self.told.expect(self, "READY=1", "RELOADING=1", "READY=1")
        self.assertDone(self.farm.run("-Reboot"))

    def test_a_signal_before_it_is_ready_is_kept(self):
        self.configure(LogDisplayLevel=3)
        held = self.hold_database() # so that it waits before it serves
        self.start()
        status = pathlib.Path(f"/proc/{self.farm.master.pid}/status")
        blocked = re.compile(r"SigBlk:\s*[0-9a-f]*[13579bdf]$", re.MULTILINE)
        while not blocked.search(status.read_text()):
            self.assertIsNone(self.farm.master.poll(), self.farm.log())
            self.assertNotIn("Serving", self.farm.log(), "it does not hold the signal")
        self.farm.master.send_signal(signal.SIGHUP)
        held.execute("ROLLBACK")
        self.ready()
        self.told.expect(self, "RELOADING=1", "READY=1")

    def test_systemd_is_told_when_it_began(self):
        self.configure()
        self.serve()
        self.reload()
        moments = [line for lines in self.told.seen for line in lines if line.startswith("MONOTONIC_USEC=")]
        self.assertEqual(len(moments), 1)
