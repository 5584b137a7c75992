"""Malformed documents: one message with file, place and remedy, status 2, nothing written.
Odd but readable ones: warnings, and the result that the rest of the document gives."""

import json
import unittest

from zrk_program import ROOT, SPHERE, TWIST, ZrkTest, graph, run

OPERATOR = {"id": 2, "type": "BinaryOperator"}


def chain(*links):
    """Two transforms, 1 and 2, a sphere, 3, and the links."""
    return graph([TWIST, {"id": 2, "type": "BendTransform"}, {"id": 3, "type": "SphereSDF"}], links)


def node(**members):
    return graph([{**SPHERE, **members}])


# Name, document, what the message must tell.
MALFORMED = [
    ("empty file", "", ["line 1, column 1", "broken JSON"]),
    ("not JSON", "zrkGraph: 1", ["line 1, column 1", "broken JSON"]),
    ("comma too many", '{\n  "zrkGraph": 1,\n  "nodes": [],\n}', ["line 4, column 1", "broken JSON"]),
    ("cut off", '{"zrkGraph": 1, "nodes": [', ["line 1, column", "broken JSON"]),
    ("two documents", '{"zrkGraph": 1} {"zrkGraph": 1}', ["line 1, column 17", "broken JSON"]),
    ("NUL byte", b'{"zrkGraph":\x00 1}', ["line 1, column 13", "broken JSON"]),
    ("bytes behind a NUL", b'{"zrkGraph": 1}\n\x00lost', ["line 2, column 1", "a byte of 0", "UTF-8"]),
    ("NUL in an image's path", {"zrkGraph": 1, "resources": [{"uuid": "a", "kind": "image2d", "path": "a.png\0.obj"}]},
     ['resources[0], "path"', '"a.png\\x00.obj"', "byte of 0"]),
    ("NUL in an import", graph([{"id": 1, "type": "MeshSDF", "import": "a.obj\0"}]), ['"import"', "byte of 0"]),
    ("NUL byte in a string", b'{"zrkGraph": 1, "nodes": [{"id": 1, "type": "Sph\x00ere"}]}', ["line 1, column 49"]),
    ("invalid UTF-8", b'{"zrkGraph": 1, "name": "\xff\xfe"}', ["line 1, column", "UTF-8"]),
    ("UTF-16", '{"zrkGraph": 1}'.encode("utf-16"), ["broken JSON"]),
    ("number too large", '{"zrkGraph": 1, "context": {"modelBounds": [[0, 0, 0], [1e999, 1, 1]]}}', ["line 1, column 57", "1e999"]),
    ("nested too deep", '{"zrkGraph": 1, "x": ' + "[" * 100_000 + "]" * 100_000 + "}", ["nested 100001 deep"]),
    ("key twice in the document", '{"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}], "nodes": []}',
     ['case.zrk.json, "nodes": found this key a second time', '[{"id":1,"type":"SphereSDF"}]', "keep the one"]),
    ("values twice", '{"zrkGraph": 1, "nodes": [{}, {"id": 1, "type": "SphereSDF", "values": {}, "values": {"radius": 2}}]}',
     ['nodes[1], "values": found this key a second time', "first value is {}"]),
    ("property twice", '{"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 1, "radius": 1}}]}',
     ['nodes[0], "values", "radius": found', "first value is 1"]),
    ("key twice deep below, once escaped", '{"zrkGraph": 1, "x": {"y": [0, [{"a": [], "b": {"k\u00e9y": 1, "k": 2, "kéy": 3}}]]}}',
     ['case.zrk.json, "x", y[1][0], "b", "kéy": found', "first value is 1"]),
    ("key twice before broken JSON", '{"zrkGraph": 1, "": null, "": ', ['case.zrk.json, "": found', "first value is null"]),
    ("long key twice", '{"' + "k" * 5000 + '": 1, "' + "k" * 5000 + '": 2}', ['kkk...: found this key a second time']),
    ("an array", "[1, 2]", ["top level", "[1,2]", '{"zrkGraph": 1, ...}']),
    ("no version", "{}", ['"zrkGraph"', 'add "zrkGraph": 1']),
    ("newer version", '{"zrkGraph": 2}', ['"zrkGraph"', "version 2", "at most 1", "newer zrk"]),
    ("older version", '{"zrkGraph": 0}', ['"zrkGraph"', "version 0", "expected 1"]),
    ("version as text", '{"zrkGraph": "1"}', ['"zrkGraph"', '"1"', "whole number"]),

    ("context no object", {"zrkGraph": 1, "context": []}, ['"context"', "expected an object"]),
    ("bounds of two numbers", {"zrkGraph": 1, "context": {"modelBounds": [[0, 0], [1, 1]]}},
     ['"modelBounds"', "[[x0, y0, z0], [x1, y1, z1]]"]),
    ("local bounds as text", {"zrkGraph": 1, "context": {"modelLocalBounds": "unit"}}, ['"modelLocalBounds"', '"unit"']),
    ("matrix of 15", {"zrkGraph": 1, "context": {"modelTransform": [0] * 15}}, ['"modelTransform"', "16 numbers"]),
    ("resources no array", {"zrkGraph": 1, "resources": {}}, ['"resources"', "expected an array"]),
    ("resource of unknown kind", {"zrkGraph": 1, "resources": [{"uuid": "a", "kind": "sound"}]},
     ["resources[0]", '"sound"', '"geometry"']),

    ("nodes no array", {"zrkGraph": 1, "nodes": {"id": 1}}, ['"nodes"', "expected an array"]),
    ("node no object", graph([SPHERE, 7]), ["nodes[1]", "found 7", "expected an object"]),
    ("no id", graph([{"type": "SphereSDF"}]), ["nodes[0]", '"id"', "0 to 65534"]),
    ("negative id", node(id=-1), ["nodes[0]", '"id"', "found -1"]),
    ("id too large", node(id=65535), ["nodes[0]", '"id"', "found 65535"]),
    ("id far too large", node(id=2**64 + 1), ["nodes[0]", '"id"']),
    ("fraction as id", node(id=1.5), ["nodes[0]", '"id"', "found 1.5"]),
    ("double id", graph([SPHERE, TWIST]), ["nodes[1]", '"id"', "nodes[0] has it already"]),
    ("no type", graph([{"id": 1}]), ["node 1", '"type"', "zrk types"]),
    ("type no text", node(type=5), ["node 1", '"type"', "found 5"]),
    ("unknown type", node(type="Shpere"), ["node 1", '"type"', '"Shpere"', 'did you mean "SphereSDF"']),
    ("ambiguous type", node(type="Invert"), ["node 1", "ZRKInvert", "ZRKLevelsetIsoValue"]),
    ("uuid no text", node(uuid=[]), ["node 1", '"uuid"']),
    ("unknown uuid", node(uuid="0"), ["node 1", "6E8C3D87-C1B8-4F58-A88A-E8E774076AFF"]),
    ("uuid of another type", node(uuid="643A5F35-7A73-481F-8D10-DACAA3EF38AB"),
     ["node 1", "ZRKSphereSDF", "ZRKBoxSDF"]),
    ("import of a number", graph([{"id": 1, "type": "BeamSDF", "import": 5}]),
     ["node 1 (BeamSDF)", '"import"', "found 5", "a path or an array of paths"]),
    ("import of numbers", graph([{"id": 1, "type": "BeamSDF", "import": ["a.obj", 5]}]), ['"import"', "array of paths"]),
    ("import of nothing", graph([{"id": 1, "type": "BeamSDF", "import": []}]), ['"import"', "found []"]),
    ("values no object", node(values=[1]), ["node 1 (SphereSDF)", '"values"', "expected an object"]),
    ("number as a name", graph([{**OPERATOR, "values": {"op_name": 5}}]),
     ["node 2 (BinaryOperator)", '"op_name"', "found 5", "string"]),
    ("text as a parameter", graph([{**OPERATOR, "values": {"strengthA": "x", "op_params": [0, "a", 0, 0]}}]),
     ["node 2 (BinaryOperator)", '"op_params"', "number"]),

    ("a number beyond memory", graph([{"id": 1, "type": "ImageSweep", "values": {
        "resolution": 2**31 - 1, "imageA": "a", "imageB": "a"}}],
        resources=[{"uuid": "a", "kind": "image2d", "path": str(ROOT / "examples/pictures/ring.png")}]),
     ["node 1 (ImageSweep)", '"resolution"', "found 2147483647", "at most 16383"]),

    ("links no array", {**graph([SPHERE]), "links": "none"}, ['"links"', "expected an array"]),
    ("link no object", {**graph([SPHERE]), "links": [[1, 0]]}, ["links[0]", "[1,0]", '{"from"']),
    ("link without an end", {**graph([SPHERE]), "links": [{"from": [1, 0]}]}, ["links[0]", '"to"']),
    ("end of one number", {**graph([SPHERE]), "links": [{"from": [1], "to": [1, 0]}]}, ["links[0]", '"from"', "[1]"]),
    ("end of texts", {**graph([SPHERE]), "links": [{"from": ["1", 0], "to": [1, 0]}]}, ["links[0]", '"from"']),
    ("link from a missing node", chain((9, 0, 3, 0)), ["links[0]", '"from"', "node 9", "1 to 3"]),
    ("link to a missing node", chain((1, 0, 9, 0)), ["links[0]", '"to"', "node 9"]),
    ("node id beyond all", chain((65536 + 1, 0, 3, 0)), ["links[0]", '"from"', "node 65537"]),
    ("missing output", chain((1, 0, 2, 0), (2, 1, 3, 0)),
     ["links[1]", '"from"', "output 1 of node 2 (BendTransform)", "expected output 0", "zrk types BendTransform"]),
    # Two types are called Invert: the remedy leads to the class.
    ("missing output of a shared type name", graph([{"id": 1, "type": "ZRKLevelsetIsoValue"}, SPHERE | {"id": 2}],
                                                   [(1, 1, 2, 0)]),
     ["node 1 (Invert)", "zrk types ZRKLevelsetIsoValue"]),
    ("missing input", chain((1, 0, 3, 1)), ["links[0]", '"to"', "input 1 of node 3 (SphereSDF)"]),
    ("pin index beyond a byte", chain((1, 256, 3, 0)), ["links[0]", '"from"', "output 256"]),
    ("second link into an input", chain((1, 0, 3, 0), (2, 0, 3, 0)),
     ["links[1]", "second link into input 0 of node 3 (SphereSDF)", "output 0 of node 1 (TwistTransform)"]),
    ("the same link twice", chain((1, 0, 3, 0), (1, 0, 3, 0)), ["links[1]", "second link"]),
    ("link to itself", chain((1, 0, 1, 0)), ["links[0]", "cycle"]),
    ("cycle", chain((1, 0, 2, 0), (2, 0, 1, 0)), ["links[1]", "node 2 (BendTransform)", "cycle"]),
    ("tags that differ", chain((3, 0, 1, 0)), ["links[0]", "Scalar", "Vector3d"]),

    ("output no pair", graph([SPHERE], output=[1]), ['"output"', "[1]"]),
    ("output of a missing node", graph([SPHERE], output=(2, 0)), ['"output"', "node 2"]),
    ("output in a graph without nodes", graph([], output=(2, 0)), ['"output"', "no nodes"]),
    ("missing output pin", graph([SPHERE], output=(1, 1)), ['"output"', "output 1 of node 1 (SphereSDF)"]),
    ("output no number", graph([SPHERE], output=("1", 0)), ['"output"']),
]


class MalformedDocuments(ZrkTest):
    def test_every_fault_is_one_message(self):
        for name, document, parts in MALFORMED:
            with self.subTest(name):
                path = self.put(document)
                message = self.refused(2, "check", path, contains=["case.zrk.json", *parts])
                self.assertIn("expected", message)
                self.assertLess(len(message), 1000)

    def test_no_command_works_on_one(self):
        path = self.put(chain((3, 0, 1, 0)))
        for arguments in (["probe", path, "--at", "0,0,0"], ["sample", path, "-o", self.folder / "v.npy"],
                          ["slice", path, "-o", self.folder / "p.png"]):
            self.refused(2, *arguments, contains=["links[0]"])
        self.assertEqual(self.files(), ["case.zrk.json"])

    def test_a_file_that_is_none(self):
        self.refused(2, "check", self.folder / "missing.zrk.json", contains=["missing.zrk.json", "No such file"])
        self.refused(2, "check", self.folder, contains=[self.folder.name, "folder"])
        self.refused(2, "check", "/dev/zero", contains=["/dev/zero", "256 MiB"])
        self.refused(2, "check", "", contains=["expected a graph document"])

    def test_control_characters_of_a_document_stay_out_of_the_message(self):
        message = self.refused(2, "check", self.put(node(type="a\x00b\nzrk: c\x1b[31m")), contains=[r"a\x00b\nzrk: c\x1b[31m"])
        self.assertNotIn("\x1b", message)


class Warnings(ZrkTest):
    def check(self, document, *warnings):
        """`check` must succeed with these warnings, each given by its parts. A warning is a line and its remedy."""
        answer = self.succeed("check", self.put(document))
        lines = answer.err.splitlines()
        self.assertEqual(len(lines), 2 * len(warnings), answer.err)
        for line, remedy, parts in zip(lines[::2], lines[1::2], warnings):
            self.assertRegex(line, "^warning: .*: found .+, expected .+$")
            self.assertTrue(remedy.startswith("  remedy: "), remedy)
            for part in ("case.zrk.json", *parts):
                self.assertIn(part, line + "\n" + remedy)

    def test_values_of_the_wrong_kind_are_left_out_of_account(self):
        document = graph([{**SPHERE, "values": {"radius": "2", "center": [1, 2]}}], output=(1, 0))
        self.check(document, ("node 1 (SphereSDF)", '"radius"', "found string", "expected number", "the value is left out of account"),
                   ('"center"', "array of 2", "array of 3 numbers"))
        self.assertEqual(self.succeed("probe", self.put(document), "--at", "0,0,0").out, "-1,1\n")
        # Element by element in an array of the right length.
        document = graph([{**SPHERE, "values": {"center": [3, None, 4]}}], output=(1, 0))
        self.check(document, ('"center"', "null as element 1", "the other elements count"))
        self.assertEqual(self.succeed("probe", self.put(document), "--at", "0,0,0").out, "4,1\n")

    def test_numbers_that_are_not_whole(self):
        for stored, read in ((1.5, 1), (-0.5, 0), (3e9, 2**31 - 1), (-2**70, -2**31)):
            self.check(graph([{"id": 1, "type": "RasterFX", "values": {"resolution": stored}}]),
                       ('"resolution"', "whole number", f"it is read as {read}"))
        self.check(graph([{"id": 1, "type": "RasterFX", "values": {"resolution": 2.0}}]))

    def test_keys_and_names_that_a_type_does_not_know(self):
        self.check(graph([{**SPHERE, "values": {"raduis": 2}}]), ("node 1 (SphereSDF)", '"raduis"'))
        self.check(graph([{**OPERATOR, "values": {"op_name": "plus"}}]), ('"op_name"', '"plus"', '"add"', "the node writes nothing"))
        self.check(graph([{**OPERATOR, "values": {}}]), ('"op_name": found none', '"add"', "the node writes nothing"))
        self.check(graph([{**SPHERE, "import": "part.obj"}]), ("node 1 (SphereSDF)", '"import"'))

    def test_links_that_carry_another_tag_through_a_wildcard(self):
        def through_wildcards(first, last, pin=0, order=1):
            """Node 1 into a wildcard into a wildcard into `last`, node 4."""
            nodes = [{"id": 1, "type": first}, {"id": 2, "type": "Multiply"}, {"id": 3, "type": "mask"},
                     {"id": 4, "type": last}]
            return graph(nodes, [(1, 0, 2, 0), (2, 0, 3, 0), (3, 0, 4, pin)][::order], (4, 0))

        scalar = ("node 4 (SphereSDF), input 0: found Scalar from output 0 of node 3 (mask), expected Vector3d", "read as 0")
        self.check(through_wildcards("Gyroid", "SphereSDF"), scalar)
        self.check(through_wildcards("Gyroid", "SphereSDF", order=-1), scalar)
        self.check(through_wildcards("TwistTransform", "ZRKInvert"), ("node 4 (Invert)", "found Vector3d", "expected Scalar", "further components"))
        self.check(through_wildcards("ColorFromVec3", "SphereSDF"), ("found Color", "expected Vector3d"))
        self.check(through_wildcards("Gyroid", "ApplyTransform"), ("node 4 (ApplyTransform), input 0", "found Scalar"))
        # What it gives then: a position on the x axis, where the first field was 2.
        document = through_wildcards("SphereSDF", "SphereSDF")
        self.assertEqual(self.succeed("probe", self.put(document), "--at", "0,3,0").out, "1,1\n")
        # Tags that fit, wildcards that take every tag, and those that have none yet.
        self.check(through_wildcards("TwistTransform", "SphereSDF"))
        self.check(through_wildcards("Gyroid", "ZRKInvert"))
        self.check(through_wildcards("Gyroid", "ApplyTransform", pin=1))
        self.check(graph([{"id": 1, "type": "mask"}, {**SPHERE, "id": 2}], [(1, 0, 2, 0)]))

    def test_imports_that_fail(self):
        def importing(path):
            return graph([{"id": 1, "type": "BeamSDF", "import": path}], output=(1, 0))
        self.check(importing("none.obj"), ("node 1 (BeamSDF)", '"import"', str(self.folder / "none.obj"), "no file"))
        nothing = "1.7976931348623157e+308,1\n"
        self.assertEqual(self.succeed("probe", self.put(importing("none.obj")), "--at", "0,0,0").out, nothing)
        self.put("v 1 1 1\nf 1 2 3\n", "torn.obj")
        self.check(importing("torn.obj"), ("torn.obj, line 2: ", "vertex 3"))
        self.assertEqual(self.succeed("probe", self.put(importing("torn.obj")), "--at", "1,1,1").out,
                         "-0.34999999999999998,1\n")

    def test_keys_that_a_document_does_not_know(self):
        document = graph([{**SPHERE, "value": {"radius": 2}}], output=(1, 0), context={"modelbounds": []}, link=[])
        self.check(document, ('"link"', 'did you mean "links"'), ('"context", "modelbounds"', '"modelBounds"'),
                   ("node 1 (SphereSDF)", '"value"', 'did you mean "values"', "kept and not used"))
        twist = {"id": 2, "type": "TwistTransform"}
        document = graph([SPHERE, twist], [(2, 0, 1, 0)])
        document["links"][0]["form"] = [2, 0]
        self.check(document, ("links[0]", '"form"', 'did you mean "from"'))
        self.check(graph([{**SPHERE, "values": {"raduis": 2}}]), ('"raduis"', 'did you mean "radius"'))

        values = {"falloff params": {"start": 0.25, "more": 1}, "a/b": 2}
        poles = {"poles": [{"strength": 1, "note": 3}]}
        document = graph([SPHERE, {"id": 2, "type": "FallOff", "values": values},
                          {"id": 3, "type": "Multipole UVW", "values": poles}])
        self.check(document, ("falloff params/more", "is kept and not used"), ('"a/b"', "is kept and not used"),
                   ("poles/0/note", "neither used nor kept"))
        self.succeed("edit", self.put(document), "1.radius=2", "-o", self.folder / "saved.json")
        saved = json.loads((self.folder / "saved.json").read_text())["nodes"]
        self.assertEqual((saved[1]["values"]["falloff params"]["more"], saved[1]["values"]["a/b"]), (1, 2))
        self.assertNotIn("note", saved[2]["values"]["poles"][0])

    def test_keys_that_a_resource_does_not_know(self):
        def resource(**members):
            return graph([SPHERE], resources=[{"uuid": "a1", **members}])
        circle = {"kind": "geometry", "shape": "circle", "center": [0, 0, 0], "axis": [0, 0, 1], "radius": 1}
        self.check(resource(**circle, name="rim"))
        self.check(resource(**circle, centre=[1, 0, 0]), ("resources[0]", '"centre"', 'did you mean "center"'))
        self.check(resource(**circle, points=[]), ("resources[0]", '"points"', "kept and not used"))
        self.check(resource(kind="geometry", shape="group", members=[], member=["a2"]), ('"member"', '"members"'))
        picture = str(ROOT / "examples/pictures/ring.png")
        self.check(resource(kind="image2d", path=picture, gamma=2), ("resources[0]", '"gamma"'))

    def test_geometry_of_another_kind_than_a_type_takes(self):
        shapes = {"point": {"position": [0, 0, 0]}, "circle": {"center": [0, 0, 0], "axis": [0, 0, 1], "radius": 1},
                  "sphere": {"center": [0, 0, 0], "radius": 1}, "box": {"min": [0, 0, 0], "max": [1, 1, 1]},
                  "group": {"members": []}}
        kinds = {"point": "point", "circle": "curve", "sphere": "surface", "box": "solid or a group", "group": "solid or a group"}
        for type, key, taken in (("Face UVW", "face", "sphere"), ("Curve UVW", "curve", "circle"), ("Curve Length", "curve", "circle"),
                                 ("PipeSDF", "pathCurve", "circle")):
            for shape, members in shapes.items():
                document = graph([{"id": 1, "type": type, "values": {key: "a1"}}],
                                 resources=[{"uuid": "a1", "kind": "geometry", "shape": shape, **members}])
                self.check(document, *([] if shape == taken else
                                       [(f"node 1 ({type})", f'"{key}"', f"is a {kinds[shape]}", f"is a {kinds[taken]}")]))

    def test_a_context_or_view_that_cannot_be_used(self):
        for unit in ("furlong", "MM", 5, None):
            self.check(graph([SPHERE], context={"unit": unit}), ('"context", "unit"', '"mm"', "no unit is known"))
        for unit in ("m", "cm", "mm", "um", "inch", "ft"):
            self.check(graph([SPHERE], context={"unit": unit}))
        self.check(graph([SPHERE], view={"axis": "w", "at": 1.5, "range": [1, 1]}), ('"view", "axis"', '"w"'),
                   ('"view", "at"', "found 1.5"), ('"view", "range"', "found [1,1]"))
        self.check(graph([SPHERE], view=3), ('"view"', "found 3", "an object"))

    def test_bounds_that_no_grid_fits_into(self):
        for bounds, found in (([[0, 0, 0], [0, 1, 1]], "no extent along x"),
                              ([[0, 0, -1e308], [1, 1, 1e308]], "beyond all numbers along z")):
            path = self.put(graph([SPHERE], output=(1, 0)) | {"context": {"modelBounds": bounds}})
            answer = self.succeed("check", path)
            self.assertRegex(answer.err, r'^warning: .*"modelBounds": found ' + f".*{found}")
            self.assertIn(found, json.loads(run("check", "--json", path).out)["warnings"][0]["found"])
            self.refused(2, "check", "--strict", path, contains=[found])

    def test_a_dangling_reference_leaves_other_values_open(self):
        poles = [{"strength": 0.5, "is_ref": True, "point_handle": "0b0e"}, {"strength": 1, "is_ref": False, "point": [1, 0, 0]}]
        path = self.put(graph([{"id": 1, "type": "Multipole UVW", "values": {"poles": poles}}], output=(1, 0)))
        poles[1]["strength"] = 2
        self.succeed("edit", path, f"1.poles={json.dumps(poles)}")
        self.assertEqual(json.loads(path.read_text())["nodes"][0]["values"]["poles"][1]["strength"], 2)
        before = path.read_bytes()
        poles[1] = {"strength": 2, "is_ref": True, "point_handle": "77"}
        self.refused(2, "edit", path, "--quiet", f"1.poles={json.dumps(poles)}", contains=["uuid of a resource"])
        self.assertEqual(path.read_bytes(), before)

    def test_forms_that_are_as_good(self):
        self.check(graph([{**SPHERE, "position": [3, 4], "values": {}}], resources=[], context={}, view={"at": 1}))
        self.check(graph([{**SPHERE, "uuid": "6e8c3d87-c1b8-4f58-a88a-e8e774076aff"}]))
        self.check(graph([{**SPHERE, "type": "ZRKSphereSDF"}]))
        self.check("\ufeff" + json.dumps(graph([SPHERE])))
        # Equal keys of objects beside and within each other are no key given twice.
        self.check({**graph([{**SPHERE, "a": {"a": {"a": 1}}}, {**TWIST, "id": 2, "a": [{"b": 1}, {"b": 2}]}]), "a": 1},
                   ('"a"',), ("node 1", '"a"'), ("node 2", '"a"'))

    def test_strict_commands_refuse_what_is_warned_of(self):
        path = self.put(graph([{**SPHERE, "radius": 2}], output=(1, 0)))
        for arguments in (["check", path], ["probe", path, "--at", "0,0,0"], ["slice", path, "-o", self.folder / "s.png"]):
            answer = run(*arguments, "--strict")
            self.assertEqual((answer.status, answer.out), (2, ""))
            self.assertRegex(answer.err, r"^warning: .*\n.*\nzrk: .*1 warning, expected none with --strict\n")
        self.assertFalse((self.folder / "s.png").exists())
        self.succeed("check", self.put(graph([SPHERE], output=(1, 0)), "good.zrk.json"), "--strict")

    def test_quiet_commands_tell_nothing(self):
        path = self.put(graph([{**SPHERE, "radius": 2}], output=(1, 0)))
        self.assertEqual(self.succeed("probe", path, "--at", "0,0,0", "--quiet").err, "")

    def test_other_commands_tell_them_too(self):
        path = self.put(graph([{**SPHERE, "values": {"radius": "2"}}], output=(1, 0)))
        answer = self.succeed("probe", path, "--at", "0,0,0")
        self.assertEqual(answer.out, "-1,1\n")
        self.assertIn("warning: ", answer.err)


class Imports(ZrkTest):
    TRIANGLE = "v 0 0 0\nv 5 0 0\nv 5 5 5\nf 1 2 3\n"

    def test_paths_are_relative_to_the_document_and_values_come_first(self):
        (self.folder / "below").mkdir()
        self.put(self.TRIANGLE, "below/mesh.obj")
        for path in ("mesh.obj", ["mesh.obj"], "../below/mesh.obj", str(self.folder / "below/mesh.obj")):
            node = {"import": path, "id": 1, "type": "BeamSDF", "values": {"max": [9, 9, 9]}}
            document = self.put(graph([node], output=(1, 0)), "below/case.zrk.json")
            answer = self.succeed("probe", document, "--at", "2,0,-1")
            self.assertEqual((answer.out, answer.err), ("0.999,1\n", ""))

    def test_complaints_of_importers_stay_out_of_the_results(self):
        self.put(self.TRIANGLE + "foo bar\n", "mesh.obj")
        document = self.put(graph([{"id": 1, "type": "BeamSDF", "import": "mesh.obj"}], output=(1, 0)))
        answer = self.succeed("probe", document, "--at", "2,0,-1")
        self.assertEqual(answer.out, "0.999,1\n")
        self.assertIn("Error: does not appear to be a valid Wavefront OBJ file!\n(Offending line: foo bar)\n",
                      answer.err)
        self.assertIn('mesh.obj, line 5: found "foo bar"', answer.err)

    def test_percents_of_a_solver_stay_out_of_the_results(self):
        pictures = ROOT / "examples" / "pictures"
        resources = [{"uuid": name, "kind": "image2d", "path": str(pictures / f"{name}.png")}
                     for name in ("letter", "ring")]
        values = {"imageA": "letter", "imageB": "ring", "resolution": 8, "steps": 2,
                  "scaling": [[0, 1, 0]], "interpolation": [[0, 0, 0], [1, 1, 0]]}
        document = self.put(graph([{"id": 1, "type": "ImageSweep", "values": values}], output=(1, 0),
                                  resources=resources))
        answer = self.succeed("probe", document, "--at", "0.5,0.5,0.5")
        self.assertRegex(answer.out, r"^0\.\d+,1\n$")
        self.assertEqual(answer.err, "")  # a terminal would see a progress bar


if __name__ == "__main__":
    unittest.main()
