"""The documentation is true: examples load, command lines run, tables are whole, linked files are there."""

import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).parent / "new_component"))
import apply_page
from zrk_program import PATIENCE, PROGRAM, ROOT, ZrkTest, run

PAGES = sorted(path for path in ROOT.rglob("*.md")
               if not {"build", "out", ".git"} & set(path.relative_to(ROOT).parts))


def blocks(page, language):
    """Fenced blocks of one language, each with the text before it."""
    text = page.read_text()
    for match in re.finditer(rf"^```{language}\n(.*?)^```$", text, re.M | re.S):
        yield text[:match.start()], match.group(1)


class Examples(ZrkTest):
    def test_every_example_loads_without_a_warning_and_gives_a_field(self):
        examples = sorted((ROOT / "examples").glob("*.zrk.json"))
        self.assertGreaterEqual(len(examples), 10)
        for path in examples:
            with self.subTest(path.name):
                told = self.succeed("check", path).err
                self.assertEqual(told, "")
                self.succeed("slice", path, "-o", self.folder / "p.png", "--size", 32)

    def test_documents_in_the_pages_load_without_a_warning(self):
        for file in (ROOT / "examples").iterdir():  # files that they name
            (self.folder / file.name).symlink_to(file)
        documents = [(page, text) for page in PAGES for before, text in blocks(page, "json")
                     if '"zrkGraph"' in text and not re.search(r"^New file `[^`]+`:\n\n$", before, re.M)]
        self.assertGreaterEqual(len(documents), 2)
        for page, text in documents:
            with self.subTest(page=page.name):
                self.assertEqual(self.succeed("check", self.put(text)).err, "")


    def test_the_readme_shows_the_document_of_its_picture(self):
        """In a shorter form: without what a new component has by itself."""
        [(_, text)] = blocks(ROOT / "README.md", "json")
        example = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
        for name, document in (("shown", self.put(text)), ("drawn", example)):
            self.succeed("sample", document, "-o", self.folder / f"{name}.npy", "--resolution", 9, "--quiet")
        self.assertEqual((self.folder / "shown.npy").read_bytes(), (self.folder / "drawn.npy").read_bytes())


class CommandLines(ZrkTest):
    def test_every_command_line_of_the_pages_runs(self):
        (self.folder / "zrk").symlink_to(PROGRAM)
        (self.folder / "examples").symlink_to(ROOT / "examples")
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        lines = [(page, line) for page in PAGES for _, text in blocks(page, "sh")
                 for line in text.replace("\\\n", " ").splitlines() if re.search(r"(^|\| )zrk (?!watch)", line)]  # which never ends
        self.assertGreaterEqual(len(lines), 10)
        for page, line in lines:
            with self.subTest(page=page.name, line=line):
                finished = subprocess.run(["bash", "-o", "pipefail", "-c", line], cwd=self.folder, env=environment,
                                          capture_output=True, timeout=30 * PATIENCE)
                self.assertEqual(finished.returncode, 0, finished.stderr.decode())

    def test_the_command_page_names_every_option(self):
        page = (ROOT / "docs/command-line.md").read_text()
        for command in ("types", "check", "probe", "sample", "slice", "surface", "render", "watch", "measure", "new", "graph", "convert",
                        "join", "completion"):
            for option in re.findall(r"--[a-z]+", run(command, "--help").out):
                with self.subTest(command=command, option=option):
                    self.assertIn(f"`{option}", page)


def families():
    """(folder, classes that its headers define), for each family of components."""
    for readme in sorted((ROOT / "components").glob("*/README.md")):
        headers = "".join(header.read_text() for header in sorted(readme.parent.glob("*.h")))
        yield readme.parent, re.findall(r"^class (?:ZRK_API )?(ZRK\w+) final\b", headers, re.M)


def types():
    return json.loads(run("types", "--json").out)


def means(node, entry):
    """Whether a node of a document is of the type."""
    return node["type"] == entry["class"] or \
        (node["type"], node.get("uuid", entry["uuid"])) == (entry["type"], entry["uuid"])


class Families(unittest.TestCase):
    def test_every_component_stands_in_the_table_of_its_family(self):
        found = []
        for folder, names in families():
            rows = re.findall(r"^\| (`ZRK.*?) \|", (folder / "README.md").read_text(), re.M)
            self.assertEqual(sorted(re.findall(r"`(\w+)`", " ".join(rows))), sorted(names), folder.name)
            found += names
        self.assertEqual(sorted(found), sorted(entry["class"] for entry in types()))


def details(name):
    return json.loads(run("types", "--json", name).out)


class Manuals(ZrkTest):
    """What `zrk types NAME` tells, against what documents may hold."""

    def setUp(self):
        super().setUp()
        for file in (ROOT / "examples").iterdir():  # files that examples name
            (self.folder / file.name).symlink_to(file)

    def test_every_example_can_be_pasted_into_a_file_and_sampled(self):
        for entry in types():
            for example in details(entry["class"])["examples"]:
                document = example["document"]
                with self.subTest(entry["class"], caption=example["caption"]):
                    self.assertTrue(any(means(node, entry) for node in document["nodes"]), "doesn't use the class")
                    path = self.put(document)
                    self.assertEqual(self.succeed("check", "--strict", path).err, "")
                    self.succeed("sample", path, "--resolution", 4, "-o", self.folder / "v.npy")

    def test_text_holds_all_that_documents_may(self):
        def keys(values):
            for value in values:
                yield value["name"]
                yield from (json.dumps(choice["value"]) for choice in value["choices"])
                yield from keys(value.get("members", []))
        for entry in types():
            with self.subTest(entry["class"]):
                told = details(entry["class"])
                text = self.succeed("types", entry["class"]).out
                words = [*keys(told["properties"] + told["storedKeys"] + told["importMembers"]), told["family"],
                         *(pin["name"] for pin in told["inputs"] + told["outputs"])]
                self.assertEqual([word for word in words if word not in text], [])
                self.assertEqual("\nimport" in text, bool(told["import"]))
                pasted = text[text.index("{", text.index("\nexample")):]
                self.assertEqual(json.loads(pasted), told["examples"][-1]["document"])
                prose = [line for line in text.splitlines() if not line.startswith("      ")]
                self.assertEqual([line for line in prose if len(line) > 100 and '"' not in line], [])

    def test_listed_choices_are_taken_and_others_are_warned_of(self):
        listed, others = [], []
        for entry in types():
            for place, value in choices(details(entry["class"])):
                known = [choice["value"] for choice in value["choices"]]
                listed += [(entry, place(choice), value) for choice in known]
                unknown = "nobody" if isinstance(known[0], str) else max(known) + 1
                others += [(entry, place(one), value) for one in (unknown, *([-1] if unknown != "nobody" else []))]
        self.assertGreater(len(listed), 30)
        self.assertEqual(self.succeed("check", "--strict", self.put(nodes_with(listed))).err, "")
        warnings = self.succeed("check", self.put(nodes_with(others))).err
        told = re.findall(r"^warning: .*?, node (\d+) .*, expected (.*)", warnings, re.M)
        self.assertEqual(sorted(int(node) for node, _ in told), list(range(len(others))), warnings)
        # What readers know themselves is what is listed.
        for node, expected in told:
            known = [choice["value"] for choice in others[int(node)][2]["choices"]]
            if isinstance(known[0], str):
                self.assertEqual(sorted(re.findall(r'"(\w+)"', expected)), sorted(known))
            elif "kind of curve" in expected:
                self.assertEqual(expected, f"kind of curve, {min(known)} to {max(known)}")

    def test_the_pages_are_linked(self):
        for entry in types():
            self.assertTrue((ROOT / details(entry["class"])["page"]).exists(), entry["class"])


def choices(entry):
    """(members of a node with one put in, value) of all that a type lets one choose from."""
    def holding(key):
        return lambda one: {"values": {key: one}}

    for option in entry["importMembers"]:
        if option["choices"]:
            yield (lambda one, key=option["name"]: {"import": {"path": "torus_knot.obj", key: one}}), option
    for value in entry["properties"] + entry["storedKeys"]:
        key = value["name"]
        if value["choices"]:
            yield holding(key), value
        for member in value["members"]:
            if member["choices"] and value["type"] == "curve":
                yield (lambda one, key=key: {"values": {key: [[0, 1, one]]}}), member
            elif member["choices"]:
                yield (lambda one, key=key, name=member["name"]: {"values": {key: {name: one}}}), member


def nodes_with(cases):
    """A document with a node for each (type, members, ...)."""
    return {"zrkGraph": 1, "nodes": [{"id": i, "type": entry["class"], **members}
                                     for i, (entry, members, *_) in enumerate(cases)]}


class NewComponent(unittest.TestCase):
    def test_the_code_of_the_page_is_laid_out(self):
        """What CMake doesn't ask of the files of docs/adding-a-component.md, which tests/new_component builds."""
        style = f"--style=file:{ROOT}/.clang-format"
        texts, _ = apply_page.apply((ROOT / "docs/adding-a-component.md").read_text(), ROOT)
        for path, text in texts.items():
            if path.endswith((".h", ".cpp")):
                with self.subTest(path):
                    laid_out = subprocess.run(["clang-format", style, f"--assume-filename={path}"], input=text,
                                              capture_output=True, text=True, check=True).stdout
                    self.assertEqual(text, laid_out)


class Folders(unittest.TestCase):
    def test_tables_of_files_name_each_source(self):
        for page in PAGES:
            text = page.read_text()
            if page.name == "README.md" and re.search(r"^\| file \|", text, re.M):
                sources = {path.stem for path in page.parent.iterdir() if path.suffix in (".h", ".cpp")}
                with self.subTest(page=str(page.relative_to(ROOT))):
                    self.assertEqual({name for name in sources if name + "." not in text}, set())


class Links(unittest.TestCase):
    def test_lead_to_files_that_are_there(self):
        for page in PAGES:
            prose = re.sub(r"^```.*?^```$", "", page.read_text(), flags=re.M | re.S)
            for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", prose):
                if not re.match(r"[a-z]+:", target):
                    with self.subTest(page=str(page.relative_to(ROOT)), target=target):
                        self.assertTrue((page.parent / target).exists())


if __name__ == "__main__":
    unittest.main()
