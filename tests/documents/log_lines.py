"""Every line of level warning or error that the Master's sources write stands in docs/operations.md."""

import pathlib
import re
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
CALL = re.compile(r"(?:\bLogWarning|\bLogError|\bReport|\bm_Report|\bReportStranger|\bTryToStore|\bPerform|m_TurnedAway\.Log)\(")
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
SHORTEST = 10  # characters by which a line can be told from others
# Calls whose texts are made elsewhere, and these texts.
MADE_ELSEWHERE = {"rlib::LogWarning(line)", "ReportStranger(line)", "m_Report(std::move(report))",
                  "rlib::Report(rlib::Log::k_Error, status)", "rlib::LogError(status)", "k_System, *news)", "TryToStore(what, "}
TEXTS = ["The configuration is not taken, and all settings stay as they were: ", " broke the protocol: ",
         " of clients end within ", "The Master's own certificate ends on ", "The authority ends on ",
         "The clock was set from ", "The clock says "]


def argument_text(source, begin):
    """What stands between the parentheses; `begin` is behind the first one."""
    depth, quoted, at = 1, False, begin
    while depth:
        character = source[at]
        if quoted and character == "\\":
            at += 1
        elif character == '"':
            quoted = not quoted
        elif not quoted:
            depth += {"(": 1, ")": -1}.get(character, 0)
        at += 1
    return source[begin:at - 1]


def fixed_part(arguments):
    """The longest part of the line that does not vary; empty when there is none."""
    joined = re.sub(r'"\s*"', "", arguments.partition("[&")[0])  # what it runs speaks for itself
    parts = [part for literal in LITERAL.findall(joined) for part in re.split(r"\{[^}]*\}", literal)]
    return max(parts, key=len, default="")


def fixed_parts(source):
    """That of every call of a source, and the calls that have none."""
    parts, without = [], []
    for call in CALL.finditer(source):
        begin = source.rfind("\n", 0, call.start()) + 1
        arguments = argument_text(source, call.end())
        statement = " ".join((source[begin:call.end()] + arguments + ")").split())
        if re.match(r"void\b|const auto report\b|: m_", statement):
            continue  # no call
        part = fixed_part(arguments)
        if len(part) >= SHORTEST:
            parts.append(part)
        else:
            without.append(statement)
    return parts, without


def plain(text):
    return " ".join(text.split())


class LogLines(unittest.TestCase):
    def test_each_is_explained(self):
        table = plain((TREE / "docs/operations.md").read_text())
        missing, without = [plain(text) for text in TEXTS if plain(text) not in table], []
        for file in sorted((TREE / "master").rglob("*.cpp")):
            parts, unclear = fixed_parts(file.read_text())
            missing += [f"{file.name}: {part}" for part in parts if plain(part) not in table]
            without += [f"{file.name}: {call}" for call in unclear
                        if not any(known in call for known in MADE_ELSEWHERE)]
        self.assertEqual(missing, [], "lines that docs/operations.md does not explain")
        self.assertEqual(without, [], "calls whose text is not seen here; name it in this test")

    def test_a_line_is_found_however_it_is_put_together(self):
        source = """  rlib::LogWarning(fmt::format("Only {} of "
            "the {} places (all) are left", a(")"), b));
  rlib::LogError("Short " + name + " does not show: it is hidden");
  rlib::LogWarning(line);"""
        self.assertEqual(fixed_parts(source), ([" places (all) are left", " does not show: it is hidden"],
                                               ["rlib::LogWarning(line)"]))


if __name__ == "__main__":
    unittest.main()
