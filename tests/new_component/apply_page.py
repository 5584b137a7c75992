"""Does what a page tells its reader to do, in a folder of its own.

    apply_page.py PAGE SOURCE TARGET

Before a fenced block the page says

    New file `path`:                               the block is the file
    In `path`, after the line with `text`:         the block goes behind the one line of the file that holds the text

The files come to stand under TARGET, with what is inserted into copies of those under SOURCE. What SOURCE has already, because somebody
followed the page there, isn't inserted again. Prints "new PATH" or "edited PATH" for each file. A file whose text is as before isn't touched.
"""

import pathlib
import re
import sys

STEP = re.compile(r"^(?:New file `(?P<new>[^`]+)`|In `(?P<edited>[^`]+)`, after the line with `(?P<anchor>[^`]+)`):\n\n"
                  r"```(?P<language>\w+)\n(?P<block>.*?)^```$", re.M | re.S)
FENCE = re.compile(r"^```(\w+)\n", re.M)


def steps(page):
    """The page's steps in order. Every block of code, data or text is one; commands are told from these by their lack of a language."""
    found = list(STEP.finditer(page))
    if len(found) != len(FENCE.findall(page)):
        sys.exit("a block of the page isn't preceded by \"New file `path`:\" or \"In `path`, after the line with `text`:\"")
    return found


def inserted(text, anchor, block, path):
    if block in text:
        return text
    lines = text.splitlines(keepends=True)
    places = [i for i, line in enumerate(lines) if anchor in line]
    if len(places) != 1:
        sys.exit(f"{path}: found {len(places)} lines with `{anchor}`, expected one")
    return "".join([*lines[:places[0] + 1], block, *lines[places[0] + 1:]])


def apply(page, source):
    """The texts of all files that the page makes or changes, by path; and which of them are new."""
    texts = {}
    new = set()
    for step in steps(page):
        if step["new"]:
            new.add(step["new"])
            texts[step["new"]] = step["block"]
        else:
            path = step["edited"]
            text = texts[path] if path in texts else (source / path).read_text()
            texts[path] = inserted(text, step["anchor"], step["block"], path)
    return texts, new


def main():
    page, source, target = map(pathlib.Path, sys.argv[1:])
    texts, new = apply(page.read_text(), source)
    for path, text in texts.items():
        file = target / path
        if not file.exists() or file.read_text() != text:
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
        print("new" if path in new else "edited", path)


if __name__ == "__main__":
    main()
