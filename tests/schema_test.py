"""The JSON Schema of documents: it takes what `zrk check --strict` takes, but for what stands beyond it.

Needs jsonschema 4 (Debian: python3-jsonschema), and is skipped without it."""

import copy
import json
import random
import re
import subprocess
import sys
import unittest

from documents_test import MALFORMED
from zrk_program import PROGRAM, ROOT, ZrkTest, graph, run

try:
    import jsonschema
except ImportError:
    sys.path.append("/usr/lib/python3/dist-packages")  # of another Python than Debian's; the package is plain Python
    try:
        import jsonschema
    except ImportError:
        jsonschema = None

# Of the malformed documents, what the schema can't see, and why.
BEYOND = {
    # not JSON, or not what JSON parsers agree on
    "UTF-16", "number too large", "key twice in the document", "property twice",
    # what nodes and links have in common
    "double id", "link from a missing node", "link to a missing node", "missing output", "missing output of a shared type name",
    "missing input", "second link into an input", "the same link twice", "link to itself", "cycle", "tags that differ",
    "output of a missing node", "output in a graph without nodes", "missing output pin",
    # memory
    "a number beyond memory",
}
# What zrk tells of other documents that the schema takes.
BEYOND_MESSAGES = [
    "no file", "No such file", "no such file", "a second time", "second link", "cycle", "the same tag at both ends",
    "the id of a node of this document", "expected (input|output) 0", "none, as it has no", "uuid of a resource of this document",
    "the uuid of a geometry of this document", "two directions that span a plane", "a direction", "at least the", "smaller one first", "no extent along",
    "of memory", "found (Scalar|Vector3d|Color) from output", "a geometry that is a", "a resource of another kind", "found no (slices|name)",
    "at most 16383", "expected a file", "expected a PNG", "a picture", "a volume",
    '"poles/\\d+/point',  # one of "point" and "point_handle" is read, by "is_ref"
]


def manual_examples():
    types = json.loads(run("types", "--json").out)
    return [(entry["class"], example["document"]) for entry in types
            for example in json.loads(run("types", "--json", entry["class"]).out)["examples"]]


def rich_document():
    """One with all that a document may have."""
    shapes = [{"shape": "point", "position": [0, 0, 0]}, {"shape": "polyline", "points": [[0, 0, 0], [1, 0, 0]], "closed": True},
              {"shape": "spline", "points": [[0, 0, 0], [1, 0, 0], [1, 1, 0]]}, {"shape": "box", "min": [0, 0, 0], "max": [1, 1, 1]},
              {"shape": "circle", "center": [0, 0, 0], "axis": [0, 0, 1], "radius": 1}, {"shape": "sphere", "center": [0, 0, 0], "radius": 1},
              {"shape": "plane", "origin": [0, 0, 0], "u": [1, 0, 0], "v": [0, 1, 0]}, {"shape": "group", "members": ["a0", "a3"]}]
    resources = [{"uuid": f"a{i}", "kind": "geometry", "name": f"shape {i}", **shape} for i, shape in enumerate(shapes)]
    nodes = [{"id": 1, "type": "ZRKLevelsetIsoValue", "values": {}, "position": [0, 0], "comment": "first"},
             {"id": 2, "type": "Invert", "uuid": next(e["uuid"] for e in json.loads(run("types", "--json").out)
                                                      if e["class"] == "ZRKInvert").lower()},
             {"id": 3, "type": "geometry blend", "values": {"geometries": "a7", "falloff params": {"start": 0, "curve": "gauss"}}},
             {"id": 4, "type": "PatternDesigner", "values": {"mutliply": True, "waves": [{"fx": 1, "fy": 2.5}, {"phase": 0.5}]}},
             {"id": 5, "type": "PipeSDF", "values": {"pathCurve": "a1", "cap style": 1, "scaling": [[0, 1, 0], [1, 0.5, 3]]}},
             {"id": 6, "type": "BinaryOperator", "values": {"op_name": "add", "op_params": [0, 0.5, 0, 1], "strengthA": 2}},
             {"id": 7, "type": "Multipole UVW", "values": {"poles": [{"strength": 1, "point": [0, 0, 1]}, {"is_ref": True, "point_handle": "a0"}]}}]
    return graph(nodes, [(3, 0, 6, 0), (4, 0, 6, 1)], (6, 0), resources=resources, comment=["a", "b"],
                 context={"unit": "mm", "modelBounds": [[0, 0, 0], [1, 1, 1]], "modelLocalBounds": [[0, 0, 0], [1, 1, 1]],
                          "modelTransform": [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]},
                 view={"axis": "y", "at": 0.25, "range": [-1, 1], "caption": "all of it"}, **{"$schema": "zrk.schema.json"})


def places(value, path=()):
    """The ways to all values within one."""
    children = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, child in children:
        yield (*path, key)
        yield from places(child, (*path, key))


def changed(document, draw):
    """The document with one value taken out, replaced or added."""
    document = copy.deepcopy(document)
    path = draw.choice(list(places(document)))
    around = document
    for key in path[:-1]:
        around = around[key]
    key = path[-1]
    what = draw.choice(["remove", "replace", "replace", "replace", "add", "again"])
    if what == "remove":
        del around[key]
    elif what == "replace":
        around[key] = draw.choice([None, True, 0, 7, -1, 1.5, 70000, 2 ** 40, 1e200, "", "x", "0-0", "add", [], [1], [1, 2], [1, 2, 3], {}])
    elif what == "add" and isinstance(around, dict):
        around[draw.choice(["zzz", "values", "import", "closed", "comment"])] = draw.choice([1, "x", {}])
    elif isinstance(around, list):
        around.append(copy.deepcopy(around[key]))
    return document, f"{what} {path}"


@unittest.skipUnless(jsonschema, "needs python3-jsonschema")
class Schema(ZrkTest):
    @classmethod
    def setUpClass(cls):
        cls.text = run("schema").out
        cls.schema = json.loads(cls.text)
        cls.validator = jsonschema.Draft202012Validator(cls.schema)

    def refuses(self, document):
        return not self.validator.is_valid(document)

    def test_is_a_schema_and_the_one_in_the_repository(self):
        jsonschema.Draft202012Validator.check_schema(self.schema)
        self.assertEqual((ROOT / "docs/zrk.schema.json").read_text(), self.text,
                         "run: build/develop/bin/zrk schema > docs/zrk.schema.json")

    def test_takes_all_examples(self):
        examples = [(str(path), json.loads(path.read_text())) for path in ROOT.glob("**/*.zrk.json") if "build" not in path.parts]
        self.assertGreater(len(examples), 10)
        for name, document in [*examples, *manual_examples(), ("rich", rich_document())]:
            with self.subTest(name):
                self.validator.validate(document)
        self.succeed("check", "--strict", self.put(rich_document()))

    def test_refuses_malformed_documents(self):
        taken = set()
        for name, document, _ in MALFORMED:
            try:
                parsed = document if isinstance(document, dict) else json.loads(document)
            except (ValueError, RecursionError):
                continue
            if not self.refuses(parsed):
                taken.add(name)
        self.assertEqual(taken, BEYOND)

    def test_refuses_malformed_geometry(self):
        source = (ROOT / "host/tests/geometry_test.cpp").read_text()
        table = source[source.index("TEST(GeometryDocuments, AreRefusedWithThePlace)"):]
        shapes = re.findall(r'\{one\(R"\((.*?)\)"\)', table)
        self.assertGreater(len(shapes), 15)
        # Files, what directions and corners have in common, and members that must exist.
        beyond = ["nowhere.obj", '"axis": [0,0,0]', '"u": [1,2,3]', '"max": [1,-1,1]', '"members": ["']
        for members in shapes:
            document = json.loads('{"zrkGraph": 1, "resources": [{"uuid": "a", "kind": "geometry", %s}]}' % members)
            self.assertEqual(self.refuses(document), not any(part in members for part in beyond), members)

    def test_agrees_with_the_program(self):
        """Documents with one fault, by chance."""
        draw = random.Random(7)
        documents = [rich_document()] * 20 + [document for _, document in manual_examples()]
        for i in range(300):
            document, change = changed(draw.choice(documents), draw)
            path = self.put(document)
            answer = subprocess.run([PROGRAM, "check", "--strict", path], capture_output=True, text=True, timeout=60)
            errors = [f"{list(e.absolute_path)}: {e.message[:200]}" for e in self.validator.iter_errors(document)]
            if bool(errors) == (answer.returncode != 0):
                continue
            with self.subTest(number=i, change=change):
                self.assertFalse(errors, "the schema refuses what the program takes")
                self.assertTrue(any(re.search(m, answer.stderr) for m in BEYOND_MESSAGES), answer.stderr)


if __name__ == "__main__":
    unittest.main()
