"""The Master's local sockets, when others take them away."""

import socket

from configured import ConfigurationTest


class LocalSockets(ConfigurationTest):
    def setUp(self):
        super().setUp()
        self.configure()
        self.serve()
        self.sockets = [self.farm.data / "manage.sock", self.farm.folder / "master.sock"]

    def test_a_reload_makes_them_anew(self):
        before = [path.stat().st_ino for path in self.sockets]
        for path in self.sockets:
            path.rename(path.with_suffix(".away"))
        self.reload()
        self.assertNotEqual([path.stat().st_ino for path in self.sockets], before)
        self.assertDone(self.farm.run("-Option", "a", "1", address=f"unix:{self.sockets[1]}"))
        self.farm.admin("revoke", "admin", "--data-dir", self.farm.data)
        for path in self.sockets:
            self.assertIn(f"WARNING The local socket was taken away, and is made anew: unix:{path}\n", self.log_file())

    def test_a_subcommand_waits_for_it(self):
        self.sockets[0].unlink()
        self.farm.admin("revoke", "admin", "--data-dir", self.farm.data)

    def test_a_socket_of_another_process_is_left_alone(self):
        path = self.sockets[0]
        path.unlink()
        with socket.socket(socket.AF_UNIX) as other:
            other.bind(str(path))
            other.listen()
            self.reload()
            self.reload()
            told = "ERROR The local socket was taken away, and cannot be made anew: "
            self.assertEqual(self.log_file().count(told), 1, "told once")
            self.assertIn("Another process serves the local socket", self.log_file())
            self.assertDone(self.farm.run("-Option", "a", "1"))
            self.assertEqual(self.farm.stop(), 0)
            self.assertTrue(path.exists(), "nor does the end remove it")

    def test_each_that_cannot_be_made_anew_is_told_once(self):
        self.sockets[0].unlink()
        self.sockets[0].write_text("")
        self.reload()
        self.sockets[1].unlink()
        self.sockets[1].write_text("")
        self.reload()
        self.reload()
        for path in self.sockets:
            told = f"ERROR The local socket was taken away, and cannot be made anew: unix:{path}: "
            self.assertEqual(self.log_file().count(told), 1)

    def test_what_is_no_socket_is_told_at_once(self):
        self.sockets[0].unlink()
        self.sockets[0].write_text("")
        with self.assertRaisesRegex(AssertionError, "manage.sock', by which the Master is asked, is no socket; take"):
            self.farm.admin("revoke", "admin", "--data-dir", self.farm.data)
