"""tools/make-manuals: what it reads from the comments of classes, and which comments it refuses."""

import subprocess
import sys
import unittest

from zrk_program import ROOT, ZrkTest

MANUAL = """/// A pebble. It is small.
///
/// | property | kind   | unit | default | range  | meaning              |
/// |----------|--------|------|---------|--------|----------------------|
/// | size     | double | mu   | 1.0     | 0 to 2 | how large it is, and |
/// |          |        |      |         |        | how heavy            |
/// | form     | enum   |      | 0       |        | what it looks like   |
///
/// | stored key | kind | unit | default | range | meaning   |
/// |------------|------|------|---------|-------|-----------|
/// | spots      | list |      | []      |       | its spots |
///
/// | spots[] | kind | unit | default | range | meaning    |
/// |---------|------|------|---------|-------|------------|
/// | tint    | int  |      | 0       |       | its colour |
///
/// | form | name  | meaning |
/// |------|-------|---------|
/// | 0    | round | a ball  |
///
/// | spots[].tint | name | meaning |
/// |--------------|------|---------|
/// | 0            | grey | dull    |
///
/// | output    | unit | meaning      |
/// |-----------|------|--------------|
/// | (unnamed) | mu   | the |distance| |
///
/// Formula: With r the size,
///
///     d = |p| - r
///
/// - one;
/// - two.
///
/// Example: A pebble.
///
///     {"zrkGraph": 1}
class ZRKPebble final : public ZRKComponent<ZRKPebble> {
"""


class Generator(ZrkTest):
    def make(self, header, name="pebble.h"):
        """The generated source, and the message of a refusal."""
        family = self.folder / "stones"
        family.mkdir(exist_ok=True)
        (family / name).write_text(header)
        output = self.folder / "manuals.cpp"
        finished = subprocess.run([sys.executable, "-B", ROOT / "tools/make-manuals", output, *sorted(family.iterdir())],
                                  capture_output=True, text=True)
        source = output.read_text() if finished.returncode == 0 else None
        output.unlink(missing_ok=True)
        return source, finished.stderr

    def test_reads_all_parts(self):
        source, told = self.make(MANUAL)
        self.assertEqual(told, "")
        for part in ('"ZRKPebble"', '"stones"', '"A pebble."', '"It is small."', '"0 to 2", "how large it is, and how heavy"',
                     '{"0", "round", "a ball"}', '{"0", "grey", "dull"}', '{"", "mu", "the |distance|"}',
                     '"With r the size,\\n"', '"    d = |p| - r\\n"', '"- one;\\n"', '"{\\"zrkGraph\\": 1}"'):
            self.assertIn(part, source)

    def test_a_template_lends_what_a_class_lacks(self):
        lender = MANUAL.split("/// | output")[0] + "/// Formula: None.\ntemplate <int N>\nclass ZRKStone : public ZRKExtensionBase {\n"
        heir = MANUAL.split("///\n")[0] + "///\n/// | output" + MANUAL.split("/// | output")[1].replace(
            "public ZRKComponent<ZRKPebble>", "public ZRKComponent<ZRKPebble, ZRKStone<3>>")
        source, told = self.make(lender + "};\n" + heir)
        self.assertEqual(told, "")
        self.assertIn('"how large it is, and how heavy"', source)
        self.assertIn('"With r the size,\\n"', source)
        self.assertNotIn('"ZRKStone"', source)

    def test_refuses_what_breaks_the_form_and_names_the_line(self):
        cases = [
            ("| 0 to 2 |", "| 0..2   |", 3, "range"),
            ("| mu   | 1.0", "| inch | 1.0", 3, "unit"),
            ("| double |", "| number |", 3, "kind"),
            ("| 1.0     |", "| one     |", 3, "JSON"),
            ("| its spots |", "|           |", 9, "meaning"),
            ("/// | form | name  | meaning |\n/// |------|-------|---------|\n/// | 0    | round | a ball  |\n///\n", "", 1,
             "form"),
            ("| 0    | round |", "| zero | round |", 17, "JSON"),
            ("| spots[].tint |", "| spots[].hue  |", 21, "spots[].hue"),
            ("| spots[] | kind ", "| spot[]  | kind ", 13, "spot[]"),
            ("| form     | enum   |      | 0       |        |", "| form     | enum   | 0       |        |", 7, "cells"),
            ("/// Formula: With r the size,", "/// With r the size,", 29, "Formula:"),
            ("/// Example: A pebble.\n///\n///     {\"zrkGraph\": 1}\n", "/// Notes: None.\n", 1, "Example"),
            ("///     {\"zrkGraph\": 1}", "///     {\"zrkGraph\": 1", 1, "JSON"),
            ("/// Example: A pebble.", "/// Notes: None.\n///\n/// Formula: Again.\n///\n/// Example: A pebble.", 38, "order"),
            ("/// A pebble. It is small.", "/// A pebble", 1, "full stop"),
        ]
        for found, broken, line, word in cases:
            with self.subTest(broken):
                self.assertEqual(MANUAL.count(found), 1, found)
                source, told = self.make(MANUAL.replace(found, broken))
                self.assertIsNone(source, "it was taken")
                self.assertIn(f"pebble.h:{line}: ", told)
                self.assertIn(word, told)
                self.assertIn("docs/manuals.md", told)


if __name__ == "__main__":
    unittest.main()
