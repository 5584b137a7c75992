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
                 for line in text.replace("\\\n", " ").splitlines() if re.search(r"(^|\| )zrk ", line)]
        self.assertGreaterEqual(len(lines), 10)
        for page, line in lines:
            with self.subTest(page=page.name, line=line):
                finished = subprocess.run(["bash", "-o", "pipefail", "-c", line], cwd=self.folder, env=environment,
                                          capture_output=True, timeout=30 * PATIENCE)
                self.assertEqual(finished.returncode, 0, finished.stderr.decode())

    def test_the_command_page_names_every_option(self):
        page = (ROOT / "docs/command-line.md").read_text()
        for command in ("types", "check", "probe", "sample", "slice", "surface", "render"):
            for option in re.findall(r"--[a-z]+", run(command, "--help").out):
                with self.subTest(command=command, option=option):
                    self.assertIn(f"`{option}", page)


def families():
    """(folder, classes that its headers define), for each family of components."""
    for readme in sorted((ROOT / "components").glob("*/README.md")):
        headers = "".join(header.read_text() for header in sorted(readme.parent.glob("*.h")))
        yield readme.parent, re.findall(r"^class (ZRK\w+) final\b", headers, re.M)


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


class ClassComments(ZrkTest):
    def test_every_class_has_a_document_that_loads_without_a_warning(self):
        """The lines `///     {"zrkGraph": ...` of its comment. Files that it names are those of the examples."""
        for file in (ROOT / "examples").iterdir():
            (self.folder / file.name).symlink_to(file)
        headers = "".join(header.read_text() for header in sorted((ROOT / "components").glob("*/*.h")))
        for entry in types():
            name = entry["class"]
            with self.subTest(name):
                comment = re.search(rf"((?:^///.*\n)*)^class {name} final\b", headers, re.M).group(1)
                documents = re.findall(r'^///     \{"zrkGraph".*\n(?:^///     .*\n)*', comment, re.M)
                self.assertGreaterEqual(len(documents), 1)
                for document in documents:
                    document = json.loads(re.sub("^///", "", document, flags=re.M))
                    self.assertEqual(self.succeed("check", self.put(document)).err, "")
                    self.assertTrue(any(means(node, entry) for node in document["nodes"]), "doesn't use the class")


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
