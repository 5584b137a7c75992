"""Commands around documents: new, graph, convert, completion in real shells, manual pages, JSON of check, colours."""

import json
import os
import pty
import re
import shutil
import struct
import subprocess
import unittest
import xml.etree.ElementTree as xml

from zrk_program import PROGRAM, ROOT, SPHERE, TWIST, ZrkTest, doubles, graph, read_npy, run

COMMANDS = re.findall(r"^  (\w+)", run("--help").out.split("Subcommands:")[1], re.MULTILINE)


class New(ZrkTest):
    def test_documents_are_good_and_complete(self):
        types = json.loads(run("types", "--json").out)
        path = self.folder / "all.zrk.json"
        self.succeed("new", *(entry["class"] for entry in types), "-o", path)
        document = json.loads(path.read_text())
        self.assertEqual([node["uuid"] for node in document["nodes"]], [entry["uuid"] for entry in types])
        for node, entry in zip(document["nodes"], types):
            details = json.loads(run("types", "--json", entry["class"]).out)
            stored = {p["name"]: p["default"] for p in details["properties"] + details["storedKeys"] if p["stored"]}
            self.assertEqual(node["values"], stored, entry["class"])
            self.assertIn(entry["description"], node["comment"][0])
            for key, comment in zip(stored, node["comment"][1:]):
                self.assertTrue(comment.startswith(key + ": "), comment)
        self.assertEqual(self.succeed("check", "--strict", path).err, "")
        before = path.read_bytes()
        self.refused(2, "new", "-o", path, contains=["-o", "exists"])
        self.assertEqual(path.read_bytes(), before)

    def test_outputs_are_linked_where_they_fit(self):
        def links(*types):
            path = self.folder / "new.zrk.json"
            path.unlink(missing_ok=True)
            self.succeed("new", *types, "-o", path)
            document = json.loads(path.read_text())
            return [(*link["from"], *link["to"]) for link in document["links"]], document.get("output")

        self.assertEqual(links("TwistTransform", "BoxSDF"), ([(1, 0, 2, 0)], [2, 0]))
        self.assertEqual(links("SphereSDF", "Gyroid", "BinaryOperator"), ([(1, 0, 3, 0), (2, 0, 3, 1)], [3, 0]))
        self.assertEqual(links("SphereSDF", "BoxSDF"), ([], [2, 0]))
        self.assertEqual(links(), links("Gyroid", "SphereSDF", "BinaryOperator"))
        self.refused(2, "new", "Shpere", "-o", self.folder / "x.zrk.json", contains=['"SphereSDF"'])
        self.refused(2, "new", "Invert", "-o", self.folder / "x.zrk.json", contains=["ZRKLevelsetIsoValue"])
        self.assertEqual(self.files(), ["new.zrk.json"])

    def test_examples_of_manuals(self):
        path = self.folder / "e.zrk.json"
        self.succeed("new", "--example", "Gyroid", "-o", path)
        self.assertEqual(json.loads(path.read_text()), json.loads(run("types", "--json", "Gyroid").out)["examples"][0]["document"])
        self.refused(2, "new", "--example", "Gyroid", "SphereSDF", "-o", self.folder / "f.zrk.json")

    def test_examples_of_manuals_bring_the_files_that_they_name(self):
        told = {entry["class"]: json.loads(run("types", "--json", entry["class"]).out)["examples"]
                for entry in json.loads(run("types", "--json").out)}
        for name, examples in told.items():
            if examples:
                path = self.folder / name / "e.zrk.json"
                path.parent.mkdir()
                self.succeed("new", "--example", name, "-o", path)
                self.assertEqual(self.succeed("check", "--strict", path).err, "", name)
        knot = self.folder / "ZRKMeshSDF" / "torus_knot.obj"
        self.assertEqual(knot.read_bytes(), (ROOT / "examples" / "torus_knot.obj").read_bytes())
        self.succeed("new", "--example", "MeshSDF", "-o", knot.parent / "again.zrk.json")  # beside the same file
        knot.write_text("v 1 2 3\n")
        self.refused(2, "new", "--example", "MeshSDF", "-o", knot.parent / "f.zrk.json", contains=["torus_knot.obj"])
        self.assertEqual((knot.read_text(), (knot.parent / "f.zrk.json").exists()), ("v 1 2 3\n", False))
        knot.unlink()
        os.mkfifo(knot)  # nobody writes to it
        self.refused(2, "new", "--example", "MeshSDF", "-o", knot.parent / "f.zrk.json", contains=["torus_knot.obj"])

    def test_documents_go_from_one_command_to_the_next(self):
        for arguments in (["SphereSDF"], ["--example", "SphereSDF"]):
            with self.subTest(arguments):
                text = self.succeed("new", *arguments, "-o", "-").out
                node = json.loads(text)["nodes"][0]["id"]
                edited = self.succeed("edit", "-", f"{node}.radius=0.25", "-o", "-", stdin=text.encode()).out
                self.assertEqual(json.loads(edited)["nodes"][0]["values"]["radius"], 0.25)
        self.assertEqual(self.files(), [])


class Graph(ZrkTest):
    NS = "{http://www.w3.org/2000/svg}"

    def draw(self, document):
        picture = self.folder / "g.svg"
        self.succeed("graph", self.put(document) if isinstance(document, dict) else document, "-o", picture, "--quiet")
        return xml.parse(picture).getroot()

    def test_shows_nodes_pins_values_and_wires(self):
        document = graph([TWIST, {**SPHERE, "id": 2, "values": {"radius": 0.5}}, {"id": 3, "type": "BinaryOperator"}],
                         [(1, 0, 2, 0), (2, 0, 3, 0), (2, 0, 3, 1)], (3, 0))
        root = self.draw(document)
        words = [text.text for text in root.iter(self.NS + "text")]
        for word in ("1  TwistTransform", "2  SphereSDF", "3  BinaryOperator", "sdf", "radius = 0.5", "output"):
            self.assertEqual(words.count(word), 1, words)
        self.assertFalse([w for w in words if w and w.startswith("center")], "a value that is the default one")
        wires = [p.get("stroke") for p in root.iter(self.NS + "path") if p.get("fill") == "none"]
        self.assertEqual(wires, ["#2c8a57", "#2f6db5", "#2f6db5"])

    def test_feeding_nodes_stand_left_and_boxes_apart(self):
        for name in ("sphere_and_twisted_gyroid", "color_of_fields"):
            path = ROOT / f"examples/{name}.zrk.json"
            root = self.draw(path)
            boxes = {}
            for group in root.iter(self.NS + "g"):
                frame = group.find(self.NS + "rect")
                boxes[int(group.find(self.NS + "text").text.split()[0])] = [float(frame.get(k)) for k in ("x", "y", "width", "height")]
            document = json.loads(path.read_text())
            self.assertEqual(set(boxes), {node["id"] for node in document["nodes"]})
            for link in document["links"]:
                a, b = boxes[link["from"][0]], boxes[link["to"][0]]
                self.assertLess(a[0] + a[2], b[0])
            for i in boxes:
                for j in boxes:
                    (x, y, w, h), (u, v, p, q) = boxes[i], boxes[j]
                    self.assertTrue(i == j or x + w < u or u + p < x or y + h < v or v + q < y, (i, j))
            width, height = float(root.get("width")), float(root.get("height"))
            self.assertTrue(all(x >= 0 and y >= 0 and x + w <= width and y + h <= height for x, y, w, h in boxes.values()))

    def test_foreign_names_stay_texts(self):
        document = graph([{"id": 1, "type": "ZRK2DImageExtrude", "values": {"compositing": "<script>&\"\u0001"}}])
        self.assertIn("compositing = \"<script>&", " ".join(t.text or "" for t in self.draw(document).iter(self.NS + "text")))

    def test_an_empty_graph_and_a_wrong_name(self):
        self.draw({"zrkGraph": 1})
        told = self.succeed("graph", self.put(graph([SPHERE])), "-o", self.folder / "g.svg").err
        self.assertEqual(told, f"{self.folder / 'g.svg'}: written; 1 node\n")
        self.refused(2, "graph", self.put({"zrkGraph": 1}), "-o", self.folder / "g.png", contains=[".svg"])


class Convert(ZrkTest):
    def setUp(self):
        super().setUp()
        self.document = self.put(graph([SPHERE], output=(1, 0)))
        self.npy = self.folder / "a.npy"
        self.succeed("sample", self.document, "-o", self.npy, "--dims", "4,3,2", "--bounds", "0,0,0,3,2,1")

    def test_gives_what_sampling_gives(self):
        for extension in ("npy", "nrrd", "vti"):
            for kind in ("float64", "float32"):
                sampled, converted = self.folder / f"s.{extension}", self.folder / f"c.{extension}"
                self.succeed("sample", self.document, "-o", sampled, "--dims", "4,3,2", "--bounds", "0,0,0,3,2,1", "--type", kind)
                self.succeed("convert", self.npy, converted, "--type", kind)  # nodes are 1 apart, as there
                strip = re.compile(rb"sdf|\ba\b")  # the name of the values: that of the pin, and that of the file
                self.assertEqual(strip.sub(b"", converted.read_bytes()), strip.sub(b"", sampled.read_bytes()), extension)
        self.succeed("convert", self.npy, self.folder / "b.nrrd", "--bounds", "1,1,1,4,5,6", "--unit", "mm")
        self.succeed("convert", "-o", self.folder / "o.nrrd", self.npy, "--bounds", "1,1,1,4,5,6", "--unit", "mm")
        self.assertEqual((self.folder / "o.nrrd").read_bytes(), (self.folder / "b.nrrd").read_bytes())
        head = (self.folder / "b.nrrd").read_bytes().split(b"\n\n")[0].decode()
        self.assertIn("(1,0,0) (0,2,0) (0,0,5)", head)
        self.assertIn('"mm"', head)

    def put_npy(self, name, descr, code, numbers):
        header = f"{{'descr': '{descr}', 'fortran_order': False, 'shape': (1, 1, {len(numbers)}), }}"
        header += " " * (117 - len(header)) + "\n"
        return self.put(b"\x93NUMPY\1\0" + struct.pack("<H", len(header)) + header.encode() +
                        struct.pack(f"<{len(numbers)}{code}", *numbers), name)

    def test_whole_numbers_stay_as_they_are(self):
        every = tuple(range(256))
        before = self.put_npy("u.npy", "|u1", "B", every)
        self.succeed("convert", before, self.folder / "v.npy")
        self.assertEqual(read_npy(self.folder / "v.npy"), ((1, 1, 256), every))
        for extension in ("npy", "nrrd", "vti"):
            first = self.folder / f"a.{extension}"
            self.assertNotIn("warning", self.succeed("convert", before, first, "--type", "uint8").err)
            self.assertIn(bytes(every), first.read_bytes())
        wide = self.put_npy("w.npy", "<u2", "H", (0, 255, 256, 65535))
        told = self.succeed("convert", wide, self.folder / "b.npy", "--type", "uint8").err
        self.assertIn("2 numbers beyond 0 to 255", told)
        self.assertTrue((self.folder / "b.npy").read_bytes().endswith(bytes([0, 255, 255, 255])))
        floats = self.put_npy("f.npy", "<f4", "f", (0, 0.2, 1, 2))
        self.assertIn("1 numbers beyond 0 to 1,", self.succeed("convert", floats, self.folder / "c.npy", "--type", "uint8").err)
        self.assertTrue((self.folder / "c.npy").read_bytes().endswith(bytes([0, 51, 255, 255])))

    def test_reads_what_is_written(self):
        gradient = self.put(graph([SPHERE, {"id": 2, "type": "GradDerivative"}], [(1, 0, 2, 0)], output=(2, 0), context={"unit": "cm"}))
        vdb = ["vdb"] if "VDB" in run("--version").out else []
        for document in (self.document, gradient):
            first = self.folder / "first.nrrd"
            self.succeed("sample", document, "-o", first, "--dims", "5,4,3", "--bounds", "-1,0,0,0.1,2,7", "--type", "float32")
            before = first
            # Through all formats that tell positions and back: the same bytes, unit and name among them.
            for extension in ["vti", *vdb, "nrrd", "vti", "nrrd"]:
                after = self.folder / f"next_{before.stem[-8:]}.{extension}"
                self.succeed("convert", before, after, "--type", "float32")
                before = after
            self.assertEqual(before.read_bytes(), first.read_bytes())

    def test_refuses_what_it_cannot_read_or_write(self):
        out = self.folder / "out.nrrd"
        self.put(b"NRRD0005\ntype: double\ndimension: 3\nsizes: 9 9 9\nendian: little\nencoding: raw\n\n12345678", "cut.nrrd")
        for arguments, parts in (([self.folder / "b.obj", self.folder / "out.npy"], [".nrrd, .vti", "folder of slices"]),
                                 ([self.folder / "cut.nrrd", out], ["cut.nrrd", "8 bytes of values", "5832"]),
                                 ([self.npy, self.folder / "out.xyz"], [".nrrd"]), ([self.folder / "none.npy", out], ["none.npy"]),
                                 ([self.npy], ["--output"]), ([self.npy, out, "-o", out], ["found 2 values"]),
                                 ([self.npy, out, "--unit", "furlong"], ["--unit"]), ([self.npy, out, "--bounds", "0,0,0,1,1"], ["six"]),
                                 ([self.npy, out, "--bounds", "0,0,0,1,-1,1"], ["lower corner"])):
            self.refused(2, "convert", *arguments, contains=parts)
        self.assertFalse(out.exists())


class Completion(ZrkTest):
    """By the words themselves, and in the shells that are there."""

    def words(self, *line):
        return [answer.split("\t")[0] for answer in self.succeed("completion", "words", "--", "zrk", *line).out.splitlines()]

    def test_all_commands_and_their_options(self):
        self.assertEqual(self.words(""), COMMANDS)
        for command in COMMANDS:
            told = re.findall(r"^ +(?:-\w,)?(--[\w-]+)", run(command, "--help").out, re.MULTILINE)
            self.assertGreater(len(told), 0)
            self.assertLessEqual(set(told), set(self.words(command, "-")), command)
        self.assertEqual(self.words("sample", "d.zrk.json", "--res"), ["--resolution"])
        self.assertEqual(self.words("slice", "--axis", ""), ["x", "y", "z"])
        self.assertEqual(self.words("sample", "--type", "float3"), ["float32"])
        self.assertEqual(self.words("sample", "--type=float3"), ["--type=float32"])
        self.assertEqual(self.words("completion", "z"), ["zsh"])
        self.assertEqual(self.words("probe", ""), [":files"])
        self.assertEqual(self.words("sample", "-o", ""), [":files"])
        self.assertEqual(self.words("convert", "a.npy", "-o", ""), [":files"])
        self.assertEqual(self.words("types", "SphereS"), ["SphereSDF"])
        self.assertEqual(self.words("types", "primi"), ["primitives"])
        self.assertEqual(self.words("new", "--example", "BoxS"), ["BoxSDF"])
        self.assertEqual(self.words("help", "lim"), ["limits"])

    def test_nodes_of_the_document(self):
        path = str(self.put(graph([TWIST, {**SPHERE, "id": 22}, {"id": 3, "type": "RGBA Split"}, {"id": 4, "type": "unknown"}])))
        self.assertEqual(self.words("probe", path, "--pin", "2"), ["22:0"])
        self.assertEqual(self.words("probe", path, "--pin", "22:0", "1"), ["1:0", ":files"])
        self.assertEqual(self.words("probe", path, "--set", "22.r"), ["22.radius="])
        self.assertEqual(self.words("edit", path, "22.r"), ["22.radius=", ":files"])
        self.assertEqual(self.words("measure", path, "--solve", "1.ang"), ["1.angle"])
        for broken in ("{", '{"nodes": 5}', '{"nodes": [5, {"id": "x"}, {"id": 1}]}'):
            path = str(self.put(broken, "broken.zrk.json"))
            self.assertEqual(self.words("probe", path, "--pin", ""), [])

    def test_in_bash(self):
        self.put(graph([TWIST, SPHERE | {"id": 2}]), "part.zrk.json")
        self.put("", "other.txt")
        (self.folder / "parts").mkdir()
        script = self.folder / "completion.sh"
        script.write_text(self.succeed("completion", "bash").out)
        program = str(PROGRAM)

        def complete(line):
            """What Bash offers for the line, as its own machinery calls the function."""
            told = subprocess.run(["bash", "--norc", "-c", f"""
                compopt() {{ :; }}
                source {script}
                cd {self.folder}
                COMP_LINE=$1 COMP_POINT=${{#1}}
                _zrk {program} "" ""
                printf '%s\\n' "${{COMPREPLY[@]}}" """, "bash", line], capture_output=True, text=True, timeout=60)
            self.assertEqual(told.stderr, "")
            return told.stdout.split()

        self.assertEqual(complete("zrk sam"), ["sample"])
        self.assertEqual(complete("zrk sample --resol"), ["--resolution"])
        self.assertEqual(sorted(complete("zrk check par")), ["part.zrk.json", "parts"])
        self.assertEqual(complete("zrk probe part.zrk.json --pin 2"), ["2:0"])
        self.assertEqual(complete("zrk probe part.zrk.json --pin 2:"), ["0"])  # the colon ends a word
        self.assertEqual(complete("zrk probe part.zrk.json --set 2.r"), ["2.radius="])
        self.assertEqual(complete("zrk sample --type=float6"), ["float64"])
        self.assertIn("z", complete("zrk slice --axis "))
        # The registration itself.
        told = subprocess.run(["bash", "--norc", "-c", f"source {script}; complete -p zrk"], capture_output=True, text=True)
        self.assertEqual(told.stdout, "complete -F _zrk zrk\n")

    @unittest.skipUnless(shutil.which("zsh"), "needs zsh")
    def test_in_zsh(self):
        path = self.put(graph([TWIST]))
        script = self.folder / "_zrk"
        script.write_text(self.succeed("completion", "zsh").out)
        told = subprocess.run(["zsh", "-f", "-c", f"""
            compdef() {{ :; }}
            _files() {{ print FILES }}
            _describe() {{ print -l -- "${{(@P)4}}"; (( $# == 4 )) || print -r -- "$5 '$6'" }}
            source {script}
            words=({PROGRAM} probe "") CURRENT=3; _zrk
            words=({PROGRAM} sam) CURRENT=2; _zrk
            words=({PROGRAM} slice --axis "") CURRENT=4; _zrk
            words=({PROGRAM} probe {path} --set 1.an) CURRENT=5; _zrk"""], capture_output=True, text=True, timeout=60)
        self.assertEqual(told.stderr, "")
        lines = told.stdout.splitlines()
        self.assertEqual(lines[0], "FILES")
        self.assertTrue(lines[1].startswith("sample:"), lines)
        self.assertEqual([line.rstrip(":") for line in lines[2:5]], ["x", "y", "z"])
        self.assertEqual(lines[5:], ["1.angle=:TwistTransform", "-S ''"])  # no blank before the value

    @unittest.skipUnless(shutil.which("fish"), "needs fish")
    def test_in_fish(self):
        script = self.folder / "zrk.fish"
        script.write_text(self.succeed("completion", "fish").out)
        self.put(graph([SPHERE]), "part.zrk.json")

        def complete(line):
            told = subprocess.run(["fish", "--no-config", "-c", f"source {script}; cd {self.folder}; complete -C '{line}'"],
                                  capture_output=True, text=True, timeout=60,
                                  env={**os.environ, "PATH": f"{os.path.dirname(PROGRAM)}:{os.environ['PATH']}", "HOME": str(self.folder)})
            self.assertEqual(told.stderr, "")
            return [answer.split("\t")[0] for answer in told.stdout.splitlines()]

        self.assertEqual(complete("zrk sam"), ["sample"])
        self.assertEqual(complete("zrk sample --resol"), ["--resolution"])
        self.assertEqual(complete("zrk check pa"), ["part.zrk.json"])
        self.assertEqual(complete("zrk probe part.zrk.json --pin 1"), ["1:0"])


class ManualPages(ZrkTest):
    def test_pages_are_sound_and_tell_all_options(self):
        subprocess.run([ROOT / "tools/make-man-pages", PROGRAM, self.folder], check=True)
        self.assertEqual(self.files(), sorted(["zrk.1", *(f"zrk-{command}.1" for command in COMMANDS)]))
        for command in COMMANDS:
            page = (self.folder / f"zrk-{command}.1").read_text()
            for option in self.options(command):
                self.assertIn(option.replace("-", "\\-"), page)
        if shutil.which("man"):
            for name in self.files():
                shown = subprocess.run(["man", "--warnings", "-l", self.folder / name], capture_output=True, text=True,
                                       env={**os.environ, "MANWIDTH": "100", "LC_ALL": "C.UTF-8", "MAN_KEEP_FORMATTING": ""})
                self.assertEqual((shown.returncode, shown.stderr), (0, ""), name)
                self.assertIn("EXIT STATUS", shown.stdout)
        self.refused(2, "man", "sampel", contains=['"sample"'])
        # What has a place and a name is asked for once.
        synopsis = (self.folder / "zrk-convert.1").read_text().partition(".SH OPTIONS")[0]
        self.assertEqual((synopsis.count("OUT"), synopsis.count("-o")), (1, 0))

    def options(self, command):
        return re.findall(r"^ +(?:-\w,)?(--[\w-]+)", run(command, "--help").out, re.MULTILINE)


class CheckJson(ZrkTest):
    def test_outputs_warnings_and_notes(self):
        path = self.put(graph([{**SPHERE, "radius": 2}, {**TWIST, "id": 2}], output=(1, 0)))
        answer = self.succeed("check", "--json", path)
        self.assertEqual(answer.err, "")
        told = json.loads(answer.out)
        self.assertEqual(told["outputs"], [{"node": 1, "output": 0, "name": "sdf", "tag": "Scalar"},
                                           {"node": 2, "output": 0, "name": "coords", "tag": "Vector3d"}])
        warning, = told["warnings"]
        self.assertIn('"radius"', warning["place"])
        self.assertEqual((told["isGood"], told["fault"], told["notes"]), (True, None, []))
        constant = self.put(graph([{"id": 1, "type": "BinaryOperator", "values": {"op_name": "add"}}, {"id": 2, "type": "SphereSDF", "values": {"radius": 0}}]))
        self.assertGreater(len(json.loads(self.succeed("check", "--json", "--fields", constant).out)["notes"]), 0)

    def test_what_is_refused(self):
        for document, part in (("{", "broken JSON"), (graph([{**SPHERE, "id": -1}]), "-1")):
            answer = run("check", "--json", self.put(document))
            self.assertEqual(answer.status, 2)
            told = json.loads(answer.out)
            self.assertEqual((told["isGood"], told["outputs"]), (False, []))
            self.assertIn(part, told["fault"]["found"])
            self.assertTrue(answer.err.startswith("zrk: "))
        strict = run("check", "--json", "--strict", self.put(graph([{**SPHERE, "radius": 2}])))
        self.assertEqual((strict.status, len(json.loads(strict.out)["warnings"])), (2, 1))


class Colour(ZrkTest):
    def told(self, *arguments, **variables):
        """Standard error as a terminal."""
        environment = {k: v for k, v in os.environ.items() if k not in ("NO_COLOR", "TERM")} | variables
        near, far = pty.openpty()
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdout=subprocess.DEVNULL, stderr=far, env=environment)
        os.close(far)
        told = b""
        try:
            while part := os.read(near, 65536):
                told += part
        except OSError:
            pass  # its other end is closed
        process.wait()
        os.close(near)
        return told.decode()

    def test_on_terminals_that_have_them(self):
        path = self.put(graph([{**SPHERE, "radius": 2}]))
        for arguments, word in ((["check", path], "warning:"), (["check", self.folder / "none"], "zrk:")):
            told = self.told(*arguments, TERM="xterm")
            self.assertRegex(told, rf"\x1b\[[\d;]+m{word}\x1b\[0m ")
            self.assertRegex(told, r"\r\n  \x1b\[\d+mremedy:\x1b\[0m ")
            for variables in ({"TERM": "xterm", "NO_COLOR": "1"}, {"TERM": "dumb"}, {}):
                plain = self.told(*arguments, **variables)
                self.assertIn(word, plain)
                self.assertNotRegex(plain, r"\x1b\[[\d;]+m", variables)
            self.assertRegex(self.told(*arguments, TERM="xterm", NO_COLOR=""), r"\x1b\[[\d;]+m")
            self.assertNotIn("\x1b", run(*arguments).err)


if __name__ == "__main__":
    unittest.main()
