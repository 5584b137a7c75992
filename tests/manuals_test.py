"""tools/make-manuals: what it reads from the comments of classes, and which comments it refuses. tools/component_pages.py:
documents without a component, and drawings of graphs."""

import subprocess
import sys
import unittest
import xml.etree.ElementTree

from zrk_program import ROOT, ZrkTest, graph

sys.path.append(str(ROOT / "tools"))
import component_pages

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


def entry(name, inputs, output):
    """What `zrk types --json` tells of a type; an input is a tag, and ends with * where the position stands in for it."""
    return {"class": name, "outputs": [{"tag": output}],
            "inputs": [{"name": f"in{i}", "tag": tag.rstrip("*"), "option": "Coordinates" if tag.endswith("*") else "None"}
                       for i, tag in enumerate(inputs)]}


class Pages(unittest.TestCase):
    TYPES = {one["class"]: one for one in (
        entry("Bend", ["Vector*"], "Vector"), entry("Ball", ["Vector*"], "Scalar"), entry("Both", ["Any", "Any"], "Any"),
        entry("Norm", ["Vector"], "Scalar"), entry("ZRKApplyTransform", ["Vector", "Any"], "Any"))}

    def without(self, name, nodes, links, output):
        document = graph([{"id": i, "type": type} for i, type in enumerate(nodes)], links, output)
        return component_pages.without(document, self.TYPES[name], self.TYPES)

    def test_a_control_leaves_the_component_out(self):
        cases = [
            ("the position takes its place", "Bend", ["Bend", "Ball"], [(0, 0, 1, 0)], (1, 0), [1, 0]),
            ("what feeds it takes its place", "Both", ["Ball", "Ball", "Both", "Both"],
             [(0, 0, 2, 0), (1, 0, 2, 1), (2, 0, 3, 0)], (2, 0), [0, 0]),
            ("so it does in a chain", "Bend", ["Bend", "Bend", "Ball"], [(0, 0, 1, 0), (1, 0, 2, 0)], (2, 0), [2, 0]),
            ("the field at plain positions", "ZRKApplyTransform", ["Bend", "Ball", "ZRKApplyTransform"],
             [(0, 0, 2, 0), (1, 0, 2, 1)], (2, 0), [1, 0]),
            ("nothing is left", "Ball", ["Ball"], [], (0, 0), None),
            ("what it feeds needs it", "Norm", ["Bend", "Norm", "Both"], [(0, 0, 1, 0), (1, 0, 2, 0)], (2, 0), None),
        ]
        for what, name, nodes, links, output, shown in cases:
            with self.subTest(what):
                control = self.without(name, nodes, links, output)
                if shown is None:
                    self.assertIsNone(control)
                    continue
                self.assertEqual(control["output"], shown)
                self.assertEqual([link for link in control["links"] if nodes[link["from"][0]] == name], [])

    def test_a_graph_is_drawn_whole(self):
        document = graph([{"id": 1, "type": "Bend", "values": {"a<b": "&" * 50}}, {"id": 2, "type": "Ball"},
                          {"id": 3, "type": "Both"}], [(1, 0, 2, 0), (1, 0, 3, 0), (2, 0, 3, 1)], (3, 0))
        drawing = xml.etree.ElementTree.fromstring(component_pages.Graph(document, self.TYPES).svg())
        parts = [part.tag.split("}")[1] for part in drawing]
        self.assertEqual((parts.count("rect"), parts.count("path")), (3, 3))
        columns = [float(part.get("x")) for part in drawing if part.tag.endswith("rect")]
        self.assertEqual(columns, sorted(set(columns)), "a node stands left of what it feeds")


if __name__ == "__main__":
    unittest.main()
