"""Fields and documents as they are pickled: lists of components, so that long chains need no deep stack."""

from . import _fields, _results, _zrk


def _node_states(cores):
    """One state a component; links lead to earlier ones."""
    places = {core.identity: i for i, core in enumerate(cores)}
    shared = {}  # so that what several components read is pickled and made again once
    states = []
    for core in cores:
        links = []
        for i in range(len(core.input_pins)):
            source = core.source(i)
            if source is not None:
                links.append((i, places[source[0].identity], source[1]))
        function = core.callable
        kind = core.output_pins[0]["tag"] if function is not None else None
        states.append((core.class_name, function, kind, len(core.input_pins), _values(core),
                       [(r.uuid, shared.setdefault(r.uuid, _results.Stored(r))) for r in core.resources], core.imported, core.import_source, links))
    return states


def _values(core):
    """The stored form, and the properties that documents leave out."""
    values = dict(core.stored())
    description = getattr(_fields._by_class.get(core.class_name), "_description", None) or {"properties": ()}
    for row in description["properties"]:
        if row["name"] not in values:
            values[row["name"]] = core.value(row["name"])
    return values


def _restored(states):
    cores = []
    for class_name, function, kind, inputs, values, resources, imported, source, links in states:
        if function is not None:
            core = _zrk.Node.function(function, kind, inputs - 1, getattr(function, "__name__", "function"))
        else:
            core = _zrk.Node(class_name, _fields._by_class[class_name].__name__)
            used = [stored._as_resource() for _, stored in resources]
            names = {former: resource.uuid for (former, _), resource in zip(resources, used)}
            core.set_values(_renamed(values, names), used, None)
        for i, earlier, output in links:
            core.connect(i, cores[earlier], output)
        if source is not None:
            _fields.wrapped(core).import_mesh(source, **(imported or {}))
        elif imported is not None:
            core.import_files(imported, imported, None, None)
        cores.append(core)
    return cores


def _renamed(value, names):
    """A stored value that names resources by the uuids that they have now."""
    if isinstance(value, str):
        return names.get(value, value)
    if isinstance(value, dict):
        return {key: _renamed(member, names) for key, member in value.items()}
    if isinstance(value, list):
        return [_renamed(member, names) for member in value]
    return value


def field_state(field):
    cores = field._core.upstream()
    bounds = None if field._core.has_free_context() else field.bounds
    return _node_states(cores), field._output, bounds


def restore_field(states, output, bounds):
    core = _restored(states)[-1]
    field = _fields.field_of(core, output)
    if bounds is not None:
        from ._documents import Document
        Document.new(field, bounds=bounds)
    return field


def document_state(document):
    document._adopt_links()
    cores, ordered = [], {}
    for core in document._nodes.values():
        for each in core.upstream():
            if each.identity not in ordered:
                ordered[each.identity] = len(cores)
                cores.append(each)
    ids = [(number, ordered[core.identity]) for number, core in document._nodes.items()]
    return _node_states(cores), ids, document._output, document.bounds, document.unit, document.name


def restore_document(states, ids, output, bounds, unit, name):
    from ._documents import Document
    cores = _restored(states)
    document = Document.new(bounds=bounds, unit=unit or None, name=name)
    for number, place in ids:
        document._nodes[number] = cores[place]
        document._core.adopt(cores[place], f"{name}, node {number} ({cores[place].type_name})")
    document._output = output
    return document
