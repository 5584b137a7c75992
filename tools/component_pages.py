"""The pages docs/components/*.md: what `zrk types NAME` tells, with pictures, as Markdown.

tools/make-gallery writes them with the gallery, from whose examples the pictures are.
"""

import copy
import json
from xml.sax.saxutils import escape

FAMILIES = {
    "primitives": "Distances to simple solids",
    "mesh": "Distances to meshes and lattices",
    "patterns": "Densities that repeat",
    "operators": "What combines fields or maps their values",
    "transforms": "What moves positions, and what takes vectors and colours apart",
    "coordinates": "Positions in coordinates along shapes",
    "raster": "Pictures and volumes as fields",
    "transport": "Pictures that move into one another",
}
# The families whose components change what they are given, so that a picture without them tells something.
CHANGING = {"operators", "transforms", "coordinates"}
# Without these nothing is inside: a density isn't negative anywhere.
WITHOUT_SOLID = {"ZRKLevelsetIsoValue"}
KINDS = """| kind | in a document |
|---|---|
| double, int, bool, string | a number, a whole number, `true` or `false`, a text |
| enum | the number of the choice |
| vector3, vector4, matrix4 | an array of 3, 4 or 16 numbers; a matrix column by column |
| geometry, image2d, image3d | the `uuid` of a resource of the document, `""` for none |
| list | an array of objects |
| falloff | an object: where the fall-off starts and ends, and its form |
| curve | an array of key points, each an array of place, value and form |
"""


def cell(text):
    return str(text).replace("|", "\\|").replace("\n", " ")


def table(head, rows):
    """A Markdown table without the columns that are empty in all rows."""
    keep = [i for i in range(len(head)) if any(row[i] for row in rows)]
    lines = ["| " + " | ".join(head[i] for i in keep) + " |", "|" + "---|" * len(keep)]
    lines += ["| " + " | ".join(cell(row[i]) for i in keep) + " |" for row in rows]
    return "\n".join(lines)


def default_of(value):
    default = value["default"]
    if default is None or default == "" and value["type"] != "string":
        return "none" if default == "" else ""
    return f"`{json.dumps(default)}`"


def values_table(values):
    return table(["name", "kind", "unit", "default", "range", "meaning"],
                 [[f"`{value['name']}`", value["type"] + ("" if value.get("stored", True) else ", not stored"), value["unit"],
                   default_of(value), value["range"], value["meaning"]] for value in values])


def choices_of(values, prefix=""):
    """Tables of the choices and members of values. Those of a kind, as of curves, are told once."""
    first = {}
    for value in values:
        if value.get("members") and first.setdefault((value["type"], json.dumps(value["members"])), value) is not value:
            continue
        name = prefix + value["name"]
        if value["choices"]:
            yield f"Values of `{name}`:"
            yield table(["value", "name", "meaning"],
                        [[f"`{json.dumps(c['value'])}`", c["name"], c["meaning"]] for c in value["choices"]])
        if value.get("members"):
            alike = [f"`{prefix}{other['name']}`" for other in values if other.get("members") == value["members"]]
            yield f"{'Each item' if value['list'] else 'The members'} of {' and of '.join(alike)}:"
            yield values_table(value["members"])
            yield from choices_of(value["members"], f"{name}{'[]' if value['list'] else ''}.")


def pins_table(pins, is_input):
    rows = []
    for i, pin in enumerate(pins):
        meaning = pin["meaning"]
        if is_input and pin["option"] == "Coordinates":
            meaning += "; unconnected: the position"
        elif is_input and pin["default"] is not None:
            meaning += f"; unconnected: {json.dumps(pin['default'])}"
        rows.append([str(i), f"`{pin['name']}`" if pin["name"] else "", pin["tag"], pin["unit"], meaning])
    return table(["index", "name", "type", "unit", "meaning"], rows)


class Graph:
    """A document's nodes in columns, from what feeds to what is fed, as a drawing."""

    WIDTH, HEIGHT, ROW = 220, 40, 62

    def __init__(self, document, types):
        self.nodes = {node["id"]: node for node in document["nodes"]}
        self.links = [(tuple(link["from"]), tuple(link["to"])) for link in document.get("links", [])]
        self.output = tuple(document["output"])
        self.types = types

    def distance(self, node):
        """Links from a node to the last one that it feeds."""
        return max((1 + self.distance(end[0]) for start, end in self.links if start[0] == node), default=0)

    def svg(self):
        columns = {}
        last = max(map(self.distance, self.nodes))
        for node in self.nodes:
            columns.setdefault(last - self.distance(node), []).append(node)
        gap = self.WIDTH + 70
        place = {node: (10 + x * gap, 10 + y * self.ROW) for x, nodes in columns.items() for y, node in enumerate(nodes)}
        width = gap * len(columns) - 70 + 20
        height = 20 + self.ROW * max(map(len, columns.values())) - (self.ROW - self.HEIGHT)
        parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
                 'font-family="sans-serif" font-size="13">']
        parts += [self.link(place, start, end) for start, end in self.links]
        parts += [self.box(place[node], node) for node in self.nodes]
        return "\n".join([*parts, "</svg>", ""])

    def link(self, place, start, end):
        entry = self.types[self.nodes[end[0]]["type"]]
        inputs = len(entry["inputs"])
        x0, y0 = place[start[0]][0] + self.WIDTH, place[start[0]][1] + self.HEIGHT / 2
        x1, y1 = place[end[0]][0], place[end[0]][1] + self.HEIGHT * (end[1] + 1) / (inputs + 1)
        name = entry["inputs"][end[1]]["name"] if inputs > 1 else ""
        text = f'<text x="{x1 - 4}" y="{y1 - 4:g}" text-anchor="end" font-size="10" fill="#777">{escape(name)}</text>' if name else ""
        return f'<path d="M{x0},{y0:g} C{x0 + 30},{y0:g} {x1 - 30},{y1:g} {x1},{y1:g}" fill="none" stroke="#777"/>{text}'

    def box(self, at, node):
        entry = self.types[self.nodes[node]["type"]]
        values = ", ".join(f"{key} {json.dumps(value)}" for key, value in self.nodes[node].get("values", {}).items())
        values = values if len(values) <= 34 else values[:33] + "\u2026"
        width = 2 if node == self.output[0] else 1
        title = escape(f"{node}  {entry['class'].removeprefix('ZRK')}")
        return (f'<rect x="{at[0]}" y="{at[1]}" width="{self.WIDTH}" height="{self.HEIGHT}" rx="5" fill="#fff" stroke="#444" '
                f'stroke-width="{width}"/><text x="{at[0] + 8}" y="{at[1] + 17}" fill="#222">{title}</text>'
                f'<text x="{at[0] + 8}" y="{at[1] + 32}" font-size="10" fill="#555">{escape(values)}</text>')


def without(document, entry, types):
    """The document with the nodes of a type bypassed: what they feed is fed by what feeds them, or reads the position.

    None where nothing is left to show.
    """
    changed = copy.deepcopy(document)
    for node in document["nodes"]:
        if types[node["type"]]["class"] != entry["class"]:
            continue
        # ApplyTransform hands its field on, all others what their first input reads.
        field = 1 if entry["class"] == "ZRKApplyTransform" else 0
        source = next((link["from"] for link in changed["links"] if link["to"] == [node["id"], field]), None)
        links = []
        for link in changed["links"]:
            if link["from"][0] != node["id"]:
                links.append(link)
                continue
            target = types[next(n for n in document["nodes"] if n["id"] == link["to"][0])["type"]]["inputs"][link["to"][1]]
            if source and entry["outputs"][0]["tag"] == entry["inputs"][field]["tag"]:
                links.append({"from": source, "to": link["to"]})
            elif target["option"] != "Coordinates":
                return None
        changed["links"] = links
        if changed["output"][0] == node["id"]:
            if not source:
                return None
            changed["output"] = source
    return changed


def page(entry, example, pictures):
    """One component's page.

    @param example   (name, caption) of the document that the pictures are of.
    @param pictures  names of pictures beside "docs/", in rows of (title, name).
    """
    parts = [f"# {entry['title']} (`{entry['class']}`)", f"{entry['description']} {entry['overview']}".strip(),
             table(["class", "type name", "family", "UUID"],
                   [[f"`{entry['class']}`", f"`{entry['type']}`", f"[{entry['family']}](README.md#{entry['family']})",
                     f"`{entry['uuid']}`"]])]
    shown = [(title, name) for title, name in pictures if name]
    parts.append("\n".join(["| " + " | ".join(title for title, _ in shown) + " |", "|" + "---|" * len(shown),
                            "| " + " | ".join(f"![{title}](../{name})" for title, name in shown) + " |"]))
    parts.append(f"{example[1]} ([{example[0]}](../../examples/{example[0]}.zrk.json))")
    for title, values in (("Properties", entry["properties"]), ("Other keys of `values`", entry["storedKeys"])):
        if values:
            parts += [f"## {title}", values_table(values), *choices_of(values)]
    for title, key in (("Inputs", "inputs"), ("Outputs", "outputs")):
        if entry[key]:
            parts += [f"## {title}", pins_table(entry[key], key == "inputs")]
    if entry["import"]:
        parts += ["## Import", entry["import"], values_table(entry["importMembers"]), *choices_of(entry["importMembers"])]
    for title, key in (("Formula", "formula"), ("Notes", "notes")):
        if entry[key]:
            parts += [f"## {title}", entry[key]]
    for number, given in enumerate(entry["examples"]):
        parts += ["## Example", given["caption"], f"![graph](../{graph_name(entry, number)})",
                  "```json\n" + document_text(given["document"]) + "\n```"]
    parts.append(f"`zrk types {entry['class']}` tells the same on the command line.")
    return "\n\n".join(part for part in parts if part) + "\n"


def graph_name(entry, number):
    return f"pictures/components/{entry['class']}_graph{number or ''}.svg"


def document_text(document):
    """A document as people write it: a member, a node, a link a line."""
    lines = []
    for key, value in document.items():
        if isinstance(value, list) and value and isinstance(value[0], dict):
            items = ",\n".join("    " + json.dumps(item) for item in value)
            lines.append(f'  "{key}": [\n{items}\n  ]')
        else:
            lines.append(f'  "{key}": {json.dumps(value)}')
    return "{\n" + ",\n".join(lines) + "\n}"


def index(types):
    parts = ["# Components", "A page each, made by `tools/make-gallery` from the comments of their classes. The "
             "[gallery](../gallery.md) shows all of them, [documents.md](../documents.md) tells how they are put together."]
    for family, title in FAMILIES.items():
        rows = [[f"[{entry['class']}]({entry['class']}.md)", f"`{entry['type']}`", entry["description"]]
                for entry in types if entry["family"] == family]
        parts += [f'<a id="{family}"></a>', f"## {title}", table(["component", "type name", "what it is"], rows)]
    parts += ["## Units and kinds", "Lengths are in model units, `mu`; `input's` is the unit of what the input carries. A range "
              "is what the panel offers; documents may hold values beyond.", KINDS.strip()]
    return "\n\n".join(parts) + "\n"
