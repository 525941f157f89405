"""What the manual page says of arguments that are swallowed: every command of that section is run, prints what stands
there, and asks of the Master what is told here, and nothing else."""

import os
import re
import subprocess
import unittest

from farm import BIN, LONGEST, TREE, FarmTest

PAGE = TREE / "docs/man/setwright.1"
RAYMARCH = "7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c01"
REBOOT = ("MachineMsg", {"command": 1})
DUMP = ("LogDumpMsg", {})


def option(name, value, section="Distribution"):
    return "SetMasterOptionsMsg", {"m_Section": section, "m_Options": {name: value}}


def translations(*sets):
    return "PathTranslationsMsg", {"m_Translations": [dict(zip("012", roots)) for roots in sets]}


# What a command asks of the Master; the others ask for nothing.
REQUESTS = {
    'setwright -Option Message $TEXT -Reboot': [option("Message", "-Reboot")],
    'setwright -Option Message "$TEXT" -Reboot': [option("Message", ""), REBOOT],
    'setwright -TypeOption raymarch Samples $TEXT -DumpLogs': [option("Samples", "-DumpLogs", RAYMARCH)],
    'setwright -AddRestriction $NAME -DumpLogs':
        [("SetMasterRestrictionsMsg", {"m_Restrictions": {"-DumpLogs": True}})],
    'setwright -PathTranslation X: /mnt/x -DumpLogs': [translations(("X:", "/mnt/x", "-DumpLogs"))],
    'setwright -RemovePathTranslation $NAME -DumpLogs': [translations()],
    'setwright -RemoveUserLimit $NAME -GetUserLimits':
        [("GetMasterOptionsMsg", {"m_OptionNames": ["UserLimits"]}), option("UserLimits", "")],
    'setwright -Limit raymarch $TEXT -DumpLogs': [("SetMasterLimitsMsg", {"m_Limits": {RAYMARCH: -(1 << 31)}})],
    'setwright -Option Message $TEXT': [option("Message", "")],
    'setwright -TypeOption raymarch Samples $TEXT': [option("Samples", "", RAYMARCH)],
    'setwright -Limit raymarch $TEXT': [("SetMasterLimitsMsg", {"m_Limits": {RAYMARCH: -1}})],
    'setwright -PathTranslation X: /mnt/x $TEXT': [translations(("X:", "/mnt/x", ""))],
    'setwright -RemovePathTranslation $TEXT': [translations()],
    'setwright -ImportProduct $FILE -Reboot': [REBOOT],
    'setwright -RemoveProduct "$NAME" -Reboot': [REBOOT],
    'setwright -Optoin Message Hello -DumpLogs': [DUMP],
    'setwright -CopyFile $FILE -Reboot': [REBOOT],
    'setwright -Option Message $TEXT -Master farm2': [option("Message", "-Master")],
    'setwright -Option Message $TEXT -JSON -GetPathTranslations': [option("Message", "-JSON")],
    'setwright -LogFileLevel $TEXT -DumpLogs': [DUMP],
    'setwright -LogFolder $NAME -DumpLogs': [DUMP],
}


def examples():
    """The blocks of the section: each a list of commands with their output."""
    section = PAGE.read_text().split(".SH SWALLOWED ARGUMENTS\n")[1].split("\n.SH ")[0]
    for block in re.findall(r"\.EX\n(.*?)\n\.EE", section, re.DOTALL):
        transcript = []
        for line in block.replace("\\-", "-").replace("\\(aq", "'").splitlines():
            if line.startswith("$ "):
                transcript.append((line[2:], []))
            else:
                transcript[-1][1].append(line)
        yield transcript


class SwallowedArguments(FarmTest):
    CONFIG = "[Master]\nRebootCommand = true\n"

    def setUp(self):
        super().setUp()
        self.folder = self.farm.folder / "here"
        self.folder.mkdir()
        conf = self.farm.credentials
        conf.write_text(re.sub("^Master = .*", f"Master = {self.farm.address}", conf.read_text(), flags=re.MULTILINE))
        self.status = None

    def shell(self, command):
        """As somebody types it, who sees both outputs; the lines."""
        environment = self.farm.environment()
        environment["PATH"] = f"{BIN}:{environment['PATH']}"
        for name in ("FILE", "NAME", "TEXT"):
            environment.pop(name, None)
        command = command.replace("farm2", self.farm.address).replace("$?", str(self.status))
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=LONGEST)
        if command.startswith("setwright"):
            self.status = done.returncode
        return [line.rstrip() for line in done.stdout.decode().splitlines()]

    def requests(self, after):
        """What was asked of the Master since, with the fields that count."""
        fields = ("m_Section", "m_Options", "m_Limits", "m_Restrictions", "m_Translations", "m_OptionNames", "command")
        return [(record["message"]["class"], {name: record["message"][name] for name in fields
                                              if name in record["message"]})
                for record in self.farm.audit()[after:]]

    def test_every_example_does_what_the_manual_page_says(self):
        self.shell("setwright -SetUserLimit -GetUserLimits 5")
        seen = set()
        for transcript in examples():
            for command, output in transcript:
                with self.subTest(command):
                    before = len(self.farm.audit())
                    self.assertEqual(self.shell(command), output)
                    self.assertEqual(self.requests(before), REQUESTS.get(command, []))
                    seen.add(command)
        self.assertEqual(set(REQUESTS) - seen, set(), "commands that the manual page does not have any more")
        self.assertGreater(len(seen), len(REQUESTS))
        self.assertTrue((self.folder / "-DumpLogs").is_dir(), "the log's folder")

    def test_the_last_of_several_counts(self):
        self.assertEqual(self.shell("setwright -DumpLogs -Master nowhere.invalid -Master farm2"), [])
        self.assertEqual(self.requests(0), [DUMP])

    def test_a_file_with_the_name_of_a_switch_can_be_named_with_its_folder(self):
        (self.folder / "-Reboot").write_text("[Distribution]\na = 1\n")
        self.assertEqual(self.shell("setwright -CopyFile ./-Reboot"), [])
        self.assertEqual(self.requests(0), [option("a", "1")])

    def test_the_log_tells_what_was_understood(self):
        self.assertIn("Setting Distribution option 'Message' to '-Reboot'",
                      "\n".join(self.shell("setwright -LogDisplayLevel 3 -Option Message -Reboot")))


if __name__ == "__main__":
    unittest.main()
