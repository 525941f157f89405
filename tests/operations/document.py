"""The commands of a document, with who runs them and what they print."""

import dataclasses
import re

USERS = {"#": "root", "brenic$": "brenic", "$": "admin"}
PROMPT = re.compile(r"(#|brenic\$|\$) (.*)")


@dataclasses.dataclass
class Command:
    section: str
    line: int
    prompt: str
    text: str
    output: list

    @property
    def user(self):
        return USERS[self.prompt]


class Document:
    def __init__(self, file):
        self._commands = []
        self._blocks = []  # language, lines
        section = language = None
        for number, line in enumerate(file.read_text().splitlines(), 1):
            if line.startswith("```"):
                language = None if language is not None else line[3:]
                if language is not None:
                    self._blocks.append((language, []))
            elif language is None:
                if line.startswith("#"):
                    section = line.lstrip("# ")
            else:
                self._blocks[-1][1].append(line)
                prompt = PROMPT.fullmatch(line) if language == "console" else None
                if prompt:
                    self._commands.append(Command(section, number, prompt[1], prompt[2], []))
                elif language == "console":
                    self._commands[-1].output.append(line)

    def commands(self, section=None):
        return [command for command in self._commands if section in (None, command.section)]

    def output_of(self, text):
        return next(command.output for command in self._commands if command.text == text)

    def blocks(self, language):
        return ["\n".join(lines) + "\n" for found, lines in self._blocks if found == language]


def plain(line):
    """Without what differs from one farm and day to another."""
    return re.sub(r"\d+", "N", re.sub(r"\b[0-9a-f]{32}\b", "SERIAL", line.strip()))


def same(shown, printed, may_say_more):
    shown = [plain(line) for line in shown]
    printed = [plain(line) for line in printed]
    if not may_say_more:
        return shown == printed
    rest = iter(printed)
    return all(line in rest for line in shown)
