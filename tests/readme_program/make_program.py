"""Writes a program of the C++ that README.md shows: make_program.py README PROGRAM.

The program samples the field of the document part.zrk.json in its folder; its status is 0 if the field has an
inside and an outside."""

import pathlib
import re
import sys

readme, program = map(pathlib.Path, sys.argv[1:])
(code,) = re.findall(r"```cpp\n(.*?)```", readme.read_text(), re.S)  # a second one would need a program, too
lines = code.splitlines()
includes = [line for line in lines if line.startswith("#include")]
body = [line for line in lines if not line.startswith("#include")]
program.parent.mkdir(parents=True, exist_ok=True)
program.write_text("\n".join([
    "#include <algorithm>", *includes, "int main()", "{", *body,
    "const auto [lowest, highest] = std::minmax_element(raster.data.begin(), raster.data.end());",
    "return *lowest < 0 && *highest > 0 ? 0 : 1;", "}", ""]))
