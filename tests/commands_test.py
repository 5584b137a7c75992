"""Usage, `types`, `check` and `probe`: what they print and how they end."""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, TWIST, ZrkTest, graph, records, run


class Usage(ZrkTest):
    def test_help_and_version_answer_on_standard_output(self):
        for arguments in (["--help"], ["--version"], *([c, "--help"] for c in
                          ("types", "check", "probe", "sample", "slice", "surface", "measure", "render"))):
            answer = self.succeed(*arguments)
            self.assertEqual(answer.err, "")
            self.assertIn("zrk", answer.out)
        self.assertRegex(run("--version").out, r"^zrk \d+\.\d+\.\d+\nbuild: .+\nprocessor: code for .+ lanes?\nformats: .+\n$")

    def test_help_needs_no_dashes(self):
        whole = self.succeed("--help").out
        self.assertEqual(self.succeed().out, whole)
        self.assertEqual(self.succeed("help").out, whole)
        self.assertEqual(self.succeed("help", "probe").out, self.succeed("probe", "--help").out)
        self.assertEqual(self.succeed("help", "mesh").out, self.succeed("surface", "--help").out)

    def test_wrong_usage_is_status_2_with_a_remedy(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        volume = self.folder / "v.npy"
        picture = self.folder / "p.png"
        cases = [
            (["sampel", document], ["sampel", 'did you mean "sample"', "zrk --help"]),
            (["help", "sampel"], ["help", "zrk --help"]),
            (["probe", document, "--att", "0,0,0"], ["--att", 'did you mean "--at"', "zrk probe --help"]),
            (["sample", document, "--resolutoin=4"], ["--resolutoin", 'did you mean "--resolution"']),
            (["probe"], ["DOC", "zrk probe --help"]),
            (["probe", document], ["--at or --points"]),
            (["probe", document, "--at", "0,0,0", "--points", "-"], ["both --at and --points"]),
            (["probe", document, "--at", "0,0"], ["--at", '"0,0"']),
            (["probe", document, "--at", "0,0,zero"], ["--at", '"0,0,zero"']),
            (["probe", document, "--at", "0,0,inf"], ["--at", '"0,0,inf"']),
            (["probe", document, "--at", "0,0,0,0"], ["--at", '"0,0,0,0"']),
            (["probe", document, "--at", "0,0,+-1"], ["--at", '"0,0,+-1"']),
            (["probe", document, "--at", "0,0,0", "--pin", "1"], ["--pin", "NODE:OUT"]),
            (["probe", document, "--at", "0,0,0", "--pin", "-1:0"], ["--pin", "NODE:OUT"]),
            (["probe", document, "--at", "0,0,0", "--pin", "1:1"], ["output 1 of node 1", "zrk check"]),
            (["probe", document, "--at", "0,0,0", "--pin", "9:0"], ["output 0 of node 9", "zrk check"]),
            (["probe", document, "--at", "0,0,0", "--json", "--pin", "1:0", "1:0"], ["--pin", '"1:0" a second time']),
            (["sample", document, "-o", volume, "--pin", "1:0", "--pin", "1:0"], ["--pin", '"1:0" a second time']),
            (["probe", document, "--at", "0,0,0", "--threads", "0"],
             ['zrk: --threads: found "0", expected a whole number from 1 to 1024']),
            (["check", document, "--memory", "much"], ['zrk: --memory: found "much", expected a size above 0']),
            (["check", document, "--memory", "5 miles"], ['zrk: --memory: found "5 miles", expected a size above 0']),
            (["probe", document, "--points", self.folder / "none"], ["none", "--points"]),
            (["sample", document], ["zrk: sample: found no --output, expected volume to write"]),
            (["sample", document, "-o", volume, "-o", volume], ["zrk: --output: found 2 values, expected one"]),
            (["sample", document, "-o", volume, "--resolution"],
             ["zrk: --resolution: found no value, expected a whole number from 1 to"]),
            (["sample", document, "-o", volume, "--type", "int"], ['zrk: --type: found "int", expected one of float64, ']),
            (["sample", document, "-o", self.folder / "v.xyz"], [".xyz", ".npy, .nrrd"]),
            (["sample", document, "-o", volume, "--dims", "2,2"], ["--dims", '"2,2"']),
            (["sample", document, "-o", volume, "--dims", "2,2,1"], ["--dims", "from 2 to"]),
            (["sample", document, "-o", volume, "--dims", "2,2,2.5"], ["--dims", "whole numbers"]),
            (["sample", document, "-o", volume, "--dims", "1e10,2,2"], ["--dims", "2147483647"]),
            (["sample", document, "-o", volume, "--dims", "2,2,2", "--resolution", "4"],
             ["--dims", "beside it, expected one of the two"]),
            (["sample", document, "-o", volume, "--resolution", "2.5"],
             ['zrk: --resolution: found "2.5", expected a whole number']),
            (["sample", document, "-o", volume, "--bounds", "0,0,0,1,1"], ["--bounds", "six"]),
            (["slice", document, "-o", self.folder / "p.jpg"], ["p.jpg", ".png"]),
            (["slice", document, "-o", picture, "--axis", "w"], ['zrk: --axis: found "w", expected one of x, y, z']),
            (["slice", document, "-o", picture, "--at", "2"], ['zrk: --at: found "2", expected a number from 0 to 1']),
            (["slice", document, "-o", picture, "--range", "1,1"], ["--range"]),
        ]
        for arguments, parts in cases:
            with self.subTest(arguments=arguments[:1] + [str(a) for a in arguments[2:]]):
                self.refused(2, *arguments, contains=parts)
        self.assertEqual(self.files(), ["case.zrk.json"])


class Types(ZrkTest):
    def test_lists_all_types_in_registration_order(self):
        listed = json.loads(self.succeed("types", "--json").out)
        source = (ROOT / "components/registration.cpp").read_text()
        self.assertEqual([entry["class"] for entry in listed], re.findall(r"&(ZRK\w+)::registerType", source))
        self.assertEqual(len({entry["class"] for entry in listed}), len(listed))
        twice = [name for name in {e["type"] for e in listed}
                 if sum(e["type"] == name for e in listed) == 2]
        self.assertEqual(sorted(twice), ["2DImageExtrude", "Invert"])
        shared = [e["class"] for e in listed if e["uuid"] == "031925FC-C101-4C3E-A80D-0D0F3AB4E05E"]
        self.assertEqual(shared, ["ZRKNormalizeVec3", "ZRKColorFromVec3"])
        tags = {"None", "Any", "Scalar", "Vector3d", "Color"}
        for entry in listed:
            self.assertLessEqual({*entry["signature"]["inputs"], *entry["signature"]["outputs"]}, tags)
        apply = next(e for e in listed if e["class"] == "ZRKApplyTransform")
        self.assertEqual(apply["signature"], {"inputs": ["Vector3d", "Any"], "outputs": ["Vector3d"]})

    def test_table_and_json_tell_the_same(self):
        lines = self.succeed("types").out.splitlines()[1:]
        listed = json.loads(run("types", "--json").out)
        self.assertEqual(len(lines), len(listed))
        for line, entry in zip(lines, listed):
            # Two blanks between columns: names and descriptions hold single ones.
            columns = [column.strip() for column in line.split("  ") if column.strip()]
            signature = " -> ".join(", ".join(entry["signature"][side]) or "none" for side in ("inputs", "outputs"))
            self.assertEqual(columns, [entry["class"], entry["type"], entry["uuid"], signature, entry["family"], entry["description"]])

    def test_lists_a_family(self):
        listed = json.loads(self.succeed("types", "--json").out)
        for family in {entry["family"] for entry in listed}:
            of_family = [entry for entry in listed if entry["family"] == family]
            self.assertEqual(json.loads(self.succeed("types", family, "--json").out), of_family)
            self.assertEqual([line.split()[0] for line in self.succeed("types", family).out.splitlines()[1:]],
                             [entry["class"] for entry in of_family])

    def test_describes_a_type_by_class_and_by_name(self):
        by_name = json.loads(self.succeed("types", "--json", "BoxSDF").out)
        self.assertEqual(by_name, json.loads(self.succeed("types", "--json", "ZRKBoxSDF").out))
        pin, = by_name["inputs"]
        self.assertEqual(pin, {"name": "coords", "tag": "Vector3d", "option": "Coordinates", "default": None,
                               "unit": "mu", "meaning": pin["meaning"]})
        self.assertEqual(by_name["outputs"][0]["name"], "sdf")
        self.assertEqual(by_name["outputs"][0]["tag"], "Scalar")
        self.assertEqual([(p["name"], p["default"]) for p in by_name["properties"]],
                         [("radius", 0), ("center", [0.5, 0.5, 0.5]), ("dimensions", [1, 1, 1]),
                          ("wireframe", False), ("edge thickness", 0.1)])
        text = self.succeed("types", "BoxSDF").out
        for part in ("ZRKBoxSDF", "643A5F35-7A73-481F-8D10-DACAA3EF38AB", "coords", "sdf", '"edge thickness"'):
            self.assertIn(part, text)

    def test_refuses_names_that_mean_no_one_type(self):
        self.refused(2, "types", "Invert", contains=["ZRKInvert", "ZRKLevelsetIsoValue", "2 types share"])
        self.refused(2, "types", "Shpere", contains=['"SphereSDF"', "zrk types"])
        self.refused(2, "types", "boxsdf", contains=['"BoxSDF"'])
        self.refused(2, "types", "primitves", contains=['did you mean "primitives"', "zrk types"])
        self.refused(2, "types", "x" * 100_000, contains=["zrk types"])


class Check(ZrkTest):
    def test_lists_outputs_in_the_order_of_the_document(self):
        path = self.put(graph([{"id": 7, "type": "BinaryOperator"}, {"id": 2, "type": "SphereSDF"},
                               {"id": 0, "type": "TwistTransform"}, {"id": 3, "type": "BinaryOperator"}],
                              [(2, 0, 3, 0), (2, 0, 3, 1), (0, 0, 7, 0), (2, 0, 7, 1)]))
        answer = self.succeed("check", path)
        self.assertEqual(answer.out, "7:0 None\n2:0 Scalar\n0:0 Vector3d\n3:0 Scalar\n")
        self.assertEqual(answer.err, "")

    def test_an_empty_graph_has_no_outputs(self):
        self.assertEqual(self.succeed("check", self.put({"zrkGraph": 1})).out, "")


class Probe(ZrkTest):
    sphere_at_origin = [("0,0,0", -1), ("-1,0,0", 0), ("-.5,0,0", -0.5), ("3,4,0", 4), ("-3,-4,-0", 4),
                        ("1e1,0,0", 9), (" 0 , 2.5 ,0", 1.5)]

    def test_positions_after_at(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        expected = [(d, 1) for _, d in self.sphere_at_origin]
        together = ["--at", *(p for p, _ in self.sphere_at_origin)]
        repeated = [word for p, _ in self.sphere_at_origin for word in ("--at", p)]
        joined = [f"--at={p}" for p, _ in self.sphere_at_origin]
        for arguments in (together, repeated, joined):
            self.assertEqual(records(self.succeed("probe", path, *arguments)), expected)
        self.assertEqual(run("probe", "--at", "3,4,0", path).out, "4,1\n")

    def test_positions_from_a_file_and_from_standard_input(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        text = "# x,y,z\n\n0,0,0\r\n   \n  # more\n\t-3 ,\t4, +0  \n0,0,2"
        for arguments, stdin in (["--points", self.put(text, "points.txt")], b""), (["--points", "-"], text.encode()):
            self.assertEqual(self.succeed("probe", path, *arguments, stdin=stdin).out, "-1,1\n4,1\n1,1\n")
        self.assertEqual(self.succeed("probe", path, "--points", "-", stdin=b"# none\n").out, "")

    def test_a_malformed_line_is_named_by_its_number(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        for line in ("1,2", "1,2,3,4", "1 2 3", "a,b,c", "nan,0,0", "0,inf,0", "0,0,-inf", "1e999,0,0",
                     "0,0,0 # centre", "1,,2", "1,2,3,", "0x10,0,0", "\xff,0,0", "1,2,\x003"):
            with self.subTest(line=line):
                points = self.put(f"0,0,0\n\n# a\n{line}\n5,5,5\n", "points.txt")
                self.refused(2, "probe", path, "--points", points, contains=["points.txt, line 4:"])

    def test_records_hold_all_components_and_the_weight(self):
        path = self.put(graph([{**TWIST, "values": {"angle": 0.0}}], output=(1, 0)))
        self.assertEqual(self.succeed("probe", path, "--at", "0.1,-2,1e300").out,
                         "0.10000000000000001,-2,1.0000000000000001e+300,1\n")

    def test_special_values_have_plain_names(self):
        # The distance to a sphere so far away overflows; near - far and far - far follow from it.
        far = {"id": 1, "type": "SphereSDF", "values": {"center": [1e300, 0, 0]}}
        difference = {"type": "BinaryOperator", "values": {"op_name": "subtract"}}
        path = self.put(graph([far, {"id": 2, "type": "SphereSDF"}, {"id": 3, **difference}, {"id": 4, **difference}],
                              [(2, 0, 3, 0), (1, 0, 3, 1), (1, 0, 4, 0), (1, 0, 4, 1)]))
        for pin, expected in (("1:0", "inf,1\n"), ("3:0", "-inf,1\n"), ("4:0", "nan,1\n")):
            self.assertEqual(self.succeed("probe", path, "--pin", pin, "--at", "0,0,0").out, expected)

    def test_the_pin_is_chosen_by_option_then_document(self):
        path = self.put(graph([TWIST, {"id": 2, "type": "SphereSDF"}], [(1, 0, 2, 0)], (2, 0)))
        self.assertEqual(self.succeed("probe", path, "--at", "0,0,0").out, "-1,1\n")
        self.assertEqual(self.succeed("probe", path, "--at", "0,0,0", "--pin", "1:0").out, "0,0,0,1\n")
        without = self.put(graph([SPHERE]), "without.zrk.json")
        self.refused(2, "probe", without, "--at", "0,0,0", contains=['without.zrk.json, "output"', "--pin NODE:OUT"])

    def test_several_outputs_stand_side_by_side(self):
        path = self.put(graph([TWIST | {"values": {"angle": 0.0}}, {"id": 2, "type": "SphereSDF"}], [(1, 0, 2, 0)], (2, 0)))
        for pins in (["--pin", "2:0", "1:0"], ["--pin", "2:0", "--pin", "1:0"]):
            answer = self.succeed("probe", path, *pins, "--at", "3,4,0", "0,0,0")
            self.assertEqual(answer.out, "4,1,3,4,0,1\n-1,1,0,0,0,1\n")

    def test_values_are_set_for_one_run(self):
        path = self.put(graph([TWIST | {"values": {"angle": 0.0}}, {"id": 2, "type": "SphereSDF"},
                               {"id": 3, "type": "BinaryOperator", "values": {"op_name": "add"}}],
                              [(1, 0, 2, 0), (2, 0, 3, 0), (2, 0, 3, 1)], (3, 0)))
        before = path.read_bytes()
        for changes, expected in ((["2.radius=0.5"], "9,1\n"), (["2.center=[3, 4, 0]", "2.radius=0.25"], "-0.5,1\n"),
                                  (["3.op_name=subtract"], "0,1\n"), (['3.op_name="minimum"', "2.radius=1"], "4,1\n")):
            answer = self.succeed("probe", path, "--set", *changes, "--at", "3,4,0")
            self.assertEqual((answer.out, answer.err), (expected, ""))
        self.assertEqual(path.read_bytes(), before)
        for change, parts in (("2.radius", ["NODE.KEY=VALUE"]), ("radius=2", ["NODE.KEY"]), ("9.radius=2", ["node 9"]),
                              ("2.raduis=2", ['did you mean "radius"']), ("2.radius=big", ['"big"', "number"]),
                              ("2.center=[1, 2]", ["array of 3 numbers"])):
            self.refused(2, "probe", path, "--at", "0,0,0", "--set", change, contains=["--set", *parts])

    def test_values_beyond_an_enum_are_warned_of(self):
        path = self.put(graph([{"id": 1, "type": "CylinderSDF"}], output=(1, 0)))
        answer = self.succeed("probe", path, "--at", "0,0,0", "--set", "1.cap style=98")
        self.assertIn("found 98, expected one of 0", answer.err)
        self.assertEqual(run("probe", path, "--at", "0,0,0", "--strict", "--set", "1.cap style=98").status, 2)
        before = path.read_bytes()
        self.refused(2, "edit", path, "--strict", "1.cap style=98", contains=["1.cap style", "98"])
        self.assertEqual(path.read_bytes(), before)

    def test_what_was_imported_stays_when_other_values_are_set(self):
        for number in range(3):
            shutil.copy(ROOT / "fuzz/corpus/png_reader/grey16.png", self.folder / f"{number}.png")
        path = self.put(graph([{"id": 1, "type": "ZRK3DImage", "import": [f"{n}.png" for n in range(3)]}], output=(1, 0)))
        whole = self.succeed("probe", path, "--at", "0.2,0.3,0.4").out
        self.assertNotEqual(whole, "0,0\n")
        for change in ("1.wrap=false", "1.wrap=true", "1.size x=1"):
            self.assertEqual(self.succeed("probe", path, "--at", "0.2,0.3,0.4", "--set", change).out, whole)

    def test_json_tells_positions_and_outputs(self):
        far = {"id": 1, "type": "SphereSDF", "values": {"center": [1e300, 0, 0]}}
        path = self.put(graph([far, TWIST | {"id": 2, "values": {"angle": 0.0}}], output=(1, 0)))
        answer = self.succeed("probe", path, "--json", "--pin", "1:0", "2:0", "--at", "3,4,0.1", "0,0,0")
        self.assertEqual(json.loads(answer.out), [
            {"position": [3, 4, 0.1], "1:0": {"value": "inf", "weight": 1}, "2:0": {"value": [3, 4, 0.1], "weight": 1}},
            {"position": [0, 0, 0], "1:0": {"value": "inf", "weight": 1}, "2:0": {"value": [0, 0, 0], "weight": 1}}])
        self.assertEqual(json.loads(self.succeed("probe", path, "--json", "--points", "-", stdin=b"").out), [])
        many = b"0.5,1,2\n" * 5000
        self.assertEqual(len(json.loads(self.succeed("probe", path, "--json", "--points", "-", stdin=many).out)), 5000)

    def test_a_document_from_standard_input(self):
        document = json.dumps(graph([{"id": 1, "type": "BeamSDF", "import": "mesh.obj"}], output=(1, 0))).encode()
        self.put("v 0 0 0\nv 5 0 0\nv 5 5 5\nf 1 2 3\n", "mesh.obj")
        here = os.getcwd()
        os.chdir(self.folder)  # where its paths start
        self.addCleanup(os.chdir, here)
        self.assertEqual(self.succeed("probe", "-", "--at", "2,0,-1", stdin=document).out, "0.999,1\n")
        self.refused(2, "check", "-", stdin=b"{", contains=["standard input, line 1"])
        self.refused(2, "probe", "-", "--points", "-", stdin=document, contains=["--points", "standard input"])

    def test_a_pin_without_a_type_is_failed_work(self):
        path = self.put(graph([{"id": 1, "type": "BinaryOperator"}], output=(1, 0)))
        for arguments in (["probe", path, "--at", "0,0,0"], ["sample", path, "-o", self.folder / "v.npy"],
                          ["slice", path, "-o", self.folder / "p.png"]):
            self.refused(1, *arguments, contains=["output 0 of node 1", "without a data type", "link inputs"])
        self.assertEqual(self.files(), ["case.zrk.json"])


class Watch(ZrkTest):
    """Draws anew when the document, or a file that it names, is saved in whatever way."""

    def setUp(self):
        super().setUp()
        self.picture = self.folder / "out" / "p.png"
        self.picture.parent.mkdir()

    def start(self, document, *options):
        process = subprocess.Popen([PROGRAM, "watch", document, "-o", self.picture, "--size", "32", *options],
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def picture_after(self, former):
        """The bytes of the picture once they are others than before."""
        end = time.monotonic() + 20 * PATIENCE
        while time.monotonic() < end:
            if self.picture.exists() and self.picture.read_bytes() != former:
                return self.picture.read_bytes()
            time.sleep(0.02)
        self.fail("no new picture")

    def save_by_rename(self, document, text):
        new = self.put(text, "new~")
        os.replace(new, document)

    def test_redraws_after_every_kind_of_save(self):
        def sphere(radius):
            return json.dumps(graph([{**SPHERE, "values": {"radius": radius}}], output=(1, 0)))
        document = self.put(sphere(0.3))
        process = self.start(document)
        first = self.picture_after(None)
        document.write_text(sphere(0.5))
        second = self.picture_after(first)
        self.save_by_rename(document, sphere(0.7))
        third = self.picture_after(second)
        # A broken document is told, and the picture stays.
        document.write_text(sphere(0.9)[:-4])
        message = next(line for line in process.stderr if line.startswith("zrk: "))
        self.assertIn("broken JSON", message)
        self.assertEqual(self.picture.read_bytes(), third)
        document.unlink()
        self.save_by_rename(document, sphere(0.3))
        self.assertEqual(self.picture_after(third), first)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(10 * PATIENCE), 130)

    def test_redraws_when_a_file_of_the_document_changes(self):
        self.put("v 0 0 0\nv 5 0 0\nv 5 5 5\nf 1 2 3\n", "mesh.obj")
        document = self.put(graph([{"id": 1, "type": "BeamSDF", "import": "mesh.obj"}], output=(1, 0),
                                  context={"modelBounds": [[0, 0, 0], [5, 5, 5]]}))
        self.start(document)
        first = self.picture_after(None)
        self.put("v 0 0 0\nv 5 5 0\nv 0 5 5\nf 1 2 3\n", "mesh.obj")
        self.picture_after(first)

    def test_refuses_what_no_save_makes_good(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        self.refused(2, "watch", document, "-o", self.folder / "p.jpg", contains=[".png"])
        self.refused(2, "watch", self.folder / "none.zrk.json", "-o", self.picture, contains=["none.zrk.json"])
        self.refused(2, "watch", "-", "-o", self.picture, contains=["standard input"])
        self.refused(2, "watch", document, "-o", self.picture, "--solid", "--axis", "x")

    def test_ends_where_the_target_is_a_file_of_the_document(self):
        shutil.copy(ROOT / "examples/pictures/gear.png", self.picture)
        before = self.picture.read_bytes()
        reads = graph([SPHERE], output=(1, 0), resources=[{"uuid": "a", "kind": "image2d", "path": "out/p.png"}])
        for options in ([], ["--solid"]):
            self.refused(2, "watch", self.put(reads), "-o", self.picture, *options,
                         contains=["p.png", "read from", "give it another name"])
        self.assertEqual(self.picture.read_bytes(), before)
        # So it does where another save makes it one.
        document = self.put(graph([SPHERE], output=(1, 0)))
        process = self.start(document)
        drawn = self.picture_after(before)
        self.put(reads)
        self.assertEqual(process.wait(20 * PATIENCE), 2)
        self.assertEqual(self.picture.read_bytes(), drawn)


class Targets(ZrkTest):
    def test_are_none_of_the_files_that_the_document_is_read_from(self):
        picture = self.folder / "own.png"
        shutil.copy(ROOT / "fuzz/corpus/png_reader/grey16.png", picture)
        (self.folder / "link.png").symlink_to(picture)
        mesh = self.put("v 0 0 0\nv 1 0 0\nv 0 1 1\nf 1 2 3\n", "own.obj")
        document = self.put(graph([{"id": 1, "type": "ScalarImageSampler", "values": {"image": "a1"}},
                                   {"id": 2, "type": "MeshSDF", "import": "own.obj"}], output=(1, 0),
                                  resources=[{"uuid": "a1", "kind": "image2d", "path": "own.png"}]))
        before = {path: path.read_bytes() for path in (picture, mesh, document)}
        for words in (["slice", document, "-o", picture], ["slice", document, "-o", self.folder / "link.png"],
                      ["render", document, "-o", picture], ["surface", document, "--pin", "2:0", "-o", mesh]):
            self.refused(2, *words, contains=["a file that the document is read from", "another name"])
        self.assertEqual({path: path.read_bytes() for path in before}, before)

    def test_that_cannot_be_made_are_told_before_the_work(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        for name in ("no/folder/x", "n" * 300):
            for command, ending, options in (("render", ".png", ["--size", "5000x5000"]), ("slice", ".png", ["--size", "16384"]),
                                             ("surface", ".stl", ["--resolution", 900]),
                                             ("sample", ".npy", ["--resolution", 700])):
                begun = time.monotonic()
                self.refused(1, command, document, "-o", self.folder / (name + ending), *options)
                self.assertLess(time.monotonic() - begun, PATIENCE)

    def test_standard_input_has_no_file_to_write_back(self):
        answer = run("edit", "-", "1.radius=2", stdin=json.dumps(graph([SPHERE], output=(1, 0))).encode())
        self.assertEqual(answer.status, 2)
        self.assertIn("give -o FILE", answer.err)
        self.assertFalse(pathlib.Path("-").exists())


class Inputs(ZrkTest):
    def test_nothing_that_a_document_is_read_from_is_written_over(self):
        picture = (ROOT / "examples/pictures/gear.png").read_bytes()
        (self.folder / "slices").mkdir()
        for name in ("t_001.png", "slices/0.png", "slices/1.png"):
            (self.folder / name).write_bytes(picture)
        resources = [{"uuid": "a", "kind": "image2d", "path": "t_001.png"},
                     {"uuid": "b", "kind": "image3d", "path": "slices"}]
        path = self.put(graph([SPHERE], output=(1, 0), resources=resources), "ball.json")
        (self.folder / "link.json").symlink_to(path)
        before = {file: file.read_bytes() for file in self.folder.glob("**/*") if file.is_file()}
        out = self.folder / "t.png"
        cases = [["surface", path, "-o", self.folder / "a.stl", "--report", path],
                 ["surface", path, "-o", self.folder / "a.stl", "--report", self.folder / "link.json"],
                 ["surface", path, "-o", self.folder / "a.stl", "--report", self.folder / "t_001.png"],
                 ["render", path, "-o", out, "--size", "16x16", "--turntable", "2"],
                 ["render", path, "-o", self.folder / "slices/1.png"],
                 ["slice", path, "-o", self.folder / "slices/2.png"],
                 ["edit", path, "1.radius=1", "-o", self.folder / "t_001.png"],
                 ["measure", path, "--solve", "1.radius", "--for", "volume=0.1", "-o", self.folder / "t_001.png"]]
        for arguments in cases:
            with self.subTest([str(a)[-20:] for a in arguments]):
                self.refused(2, *arguments, contains=["read", "give it another name"])
        after = {file: file.read_bytes() for file in self.folder.glob("**/*") if file.is_file()}
        self.assertEqual(after, before)
        # The document itself takes on its new values, which is told.
        self.assertEqual(self.succeed("edit", path, "1.radius=0.4").err, f"{path}: written; 1 value set\n")
        answer = self.succeed("edit", path, "1.radius=0.4", "1.center=[0,0,1]", "-o", self.folder / "b.json")
        self.assertEqual(answer.err, f"{self.folder / 'b.json'}: written; 2 values set\n")
        self.assertEqual(answer.out, b"" if isinstance(answer.out, bytes) else "")
        for options in (["--quiet"], ["-o", "-"]):
            self.assertEqual(self.succeed("edit", path, "1.radius=0.4", *options).err, "")
        mesh = self.folder / "mesh"
        mesh.write_text("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")
        self.refused(2, "surface", mesh, "--report", mesh, contains=["mesh", "read from"])


class Numbers(ZrkTest):
    def test_whole_ones_are_decimal(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        for text in ("10", "010", "0010"):
            self.succeed("surface", document, "--resolution", text, "-o", self.folder / f"{text}.stl", "--quiet")
        self.assertEqual(len({path.read_bytes() for path in self.folder.glob("*.stl")}), 1)
        self.refused(2, "check", document, "--memory", "-5", contains=["--memory"])

    def test_those_nearer_to_0_than_any_double_are_0(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        center = self.succeed("probe", document, "--at", "0,0,0").out
        self.assertEqual(self.succeed("probe", document, "--at", "1e-400,-1e-400,0.000e-999").out, center)
        self.refused(2, "probe", document, "--at", "1e400,0,0", contains=["finite"])


if __name__ == "__main__":
    unittest.main()
