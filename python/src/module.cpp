#include "components/registration.h"
#include "core/values/fault.h"
#include "host/nearest_names.h"
#include "host/type_lookup.h"
#include "model/manual.h"
#include "model/property.h"
#include "model/registry.h"
#include "python/src/document.h"
#include "python/src/fields.h"
#include "python/src/function_node.h"
#include "python/src/json_values.h"
#include "python/src/node.h"

#include <fmt/core.h>
#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <span>

namespace zrkpython {

namespace {

/// What free nodes know of the model: the bounds that a field is sampled in unless told otherwise.
const Node::Context& freeContext()
{
    static const Node::Context context = [] {
        auto made = std::make_shared<zrkmodel::DocumentContext>();
        made->bounds.emplace(zrk::Tensor<3, double>{-1, -1, -1}, zrk::Tensor<3, double>{1, 1, 1});
        return made;
    }();
    return context;
}

py::list pinList(const std::vector<zrkmodel::ZRKGraphPinData>& pins)
{
    py::list list;
    for (const auto& pin : pins) {
        py::dict entry;
        entry["name"] = pin.name;
        entry["tag"] = pin.tag.name();
        entry["option"] = nameOf(pin.opt);
        entry["default"] =
            pin.defaultValue.isEmpty() ? py::object(py::none()) : py::float_(pin.defaultValue.components[0]);
        list.append(entry);
    }
    return list;
}

py::dict memberText(const zrkmodel::ManualMember& member)
{
    py::list choices;
    for (const zrkmodel::ManualChoice& choice : member.choices) {
        choices.append(
            py::make_tuple(toPython(zrkmodel::ZRKJson::parse(choice.value)), choice.name, choice.meaning));
    }
    py::dict text;
    text["name"] = member.key;
    text["kind"] = member.kind;
    text["unit"] = member.unit;
    text["default"] = member.defaultValue;
    text["range"] = member.range;
    text["meaning"] = member.meaning;
    text["choices"] = choices;
    return text;
}

py::list pinTexts(std::span<const zrkmodel::ManualPin> pins)
{
    py::list texts;
    for (const zrkmodel::ManualPin& pin : pins) {
        texts.append(py::make_tuple(pin.unit, pin.meaning));
    }
    return texts;
}

py::dict manualText(const zrkmodel::Manual& manual)
{
    py::list values;
    for (const auto rows : {manual.properties, manual.storedKeys}) {
        for (const zrkmodel::ManualValue& row : rows) {
            py::dict value = memberText(row);
            py::list members;
            for (const zrkmodel::ManualMember& member : row.members) {
                members.append(memberText(member));
            }
            value["members"] = members;
            value["is_list"] = row.isList;
            values.append(value);
        }
    }
    py::dict text;
    text["family"] = manual.family;
    text["summary"] = manual.summary;
    text["overview"] = manual.overview;
    text["values"] = values;
    text["inputs"] = pinTexts(manual.inputs);
    text["outputs"] = pinTexts(manual.outputs);
    text["import"] = manual.import;
    text["formula"] = manual.formula;
    text["notes"] = manual.notes;
    return text;
}

py::list describeTypes()
{
    py::list types;
    for (const auto& entry : zrkmodel::knownTypes()) {
        Node specimen(entry.factory(), entry.className, freeContext());
        py::dict type;
        type["class"] = entry.className;
        type["type"] = entry.info.name;
        type["uuid"] = entry.info.uuid;
        type["title"] = entry.strings.title;
        type["description"] = entry.strings.description;
        type["category"] = entry.strings.category;
        type["inputs"] = pinList(specimen.inputPins());
        type["outputs"] = pinList(specimen.outputPins());
        py::list properties;
        for (const auto* property : specimen.object()->properties()) {
            py::dict row;
            row["name"] = property->name();
            row["type"] = property->valueType();
            row["default"] = toPython(property->valueJson());
            properties.append(row);
        }
        type["properties"] = properties;
        type["stored"] = toPython(specimen.stored());
        type["manual"] = manualText(zrkmodel::manualOf(entry));
        types.append(type);
    }
    return types;
}

SharedNode makeNode(const std::string& className, const std::string& place)
{
    const auto* registration = zrkmodel::ZRKGraphObject::registry().findByClass(className);
    if (!registration) {
        throw zrk::FaultError(
            {className, "a class that isn't there", "the class of a component", "zrk.components lists them"});
    }
    return std::make_shared<Node>(registration->factory(), place, freeContext());
}

SharedNode makeFunction(const py::object& function, const std::string& tag, std::size_t inputs,
                        const std::string& place)
{
    const zrkmodel::Tag tags[] = {zrkmodel::Tag::Scalar, zrkmodel::Tag::Vector3d, zrkmodel::Tag::Color};
    for (const zrkmodel::Tag known : tags) {
        if (tag == known.name()) {
            return std::make_shared<Node>(std::make_shared<PythonFunction>(function, known, inputs), place,
                                          freeContext());
        }
    }
    throw zrk::FaultError({place, zrk::quotation(tag), "\"Scalar\", \"Vector3d\" or \"Color\"",
                           "name the type of the values that the function returns"});
}

py::object sourceOf(const Node& node, std::size_t input)
{
    const Source& source = node.sources().at(input);
    return source.node ? py::object(py::make_tuple(source.node, source.output)) : py::none();
}

/// @param entry     names the files, as documents do under "import".
/// @param imported  what the node remembers of that.
/// @param source    the mesh in memory, or None.
void importInto(Node& node, const py::object& entry, const py::object& imported, const py::object& source,
                const py::object& progress)
{
    warnOf(node.importFiles(fromPython(entry, node.place()), progress));
    node.setImported(fromPython(imported, node.place()));
    node.setImportSource(source);
}

void raiseFault(const zrk::Fault& fault)
{
    if (fault.kind == zrk::FaultKind::Interrupted) {
        PyErr_SetNone(PyExc_KeyboardInterrupt);
        return;
    }
    const py::object type = py::module_::import("zrk._errors").attr("Error");
    const py::object error = type(zrk::printable(fault.place), zrk::printable(fault.found),
                                  zrk::printable(fault.expected), zrk::printable(fault.remedy));
    PyErr_SetObject(type.ptr(), error.ptr());
}

void translate(std::exception_ptr raised)
{
    try {
        std::rethrow_exception(raised);
    } catch (const zrk::FaultError& error) {
        raiseFault(error.fault());
    }
}

void addNodes(py::module_& module)
{
    const py::object none = py::none();
    py::class_<Node, SharedNode>(module, "Node", py::module_local())
        .def(py::init(&makeNode), py::arg("class_name"), py::arg("place"))
        .def_static("function", &makeFunction)
        .def_property_readonly("place", &Node::place)
        .def_property_readonly("type_name", [](const Node& n) { return n.object()->typeInfo().name; })
        .def_property_readonly("class_name",
                               [](const Node& n) {
                                   const auto& type = n.object()->typeInfo();
                                   const auto* entry =
                                       zrkmodel::ZRKGraphObject::registry().find(type.uuid, type.name);
                                   return entry ? entry->className : std::string();
                               })
        .def_property_readonly("callable",
                               [](const Node& n) -> py::object {
                                   const auto* own = dynamic_cast<const PythonFunction*>(n.object().get());
                                   return own ? own->function() : py::none();
                               })
        .def_property_readonly("version", &Node::version)
        .def_property_readonly("identity", [](const Node& n) { return reinterpret_cast<std::uintptr_t>(&n); })
        .def_property_readonly("input_pins", [](const Node& n) { return pinList(n.inputPins()); })
        .def_property_readonly("output_pins", [](const Node& n) { return pinList(n.outputPins()); })
        .def_property_readonly(
            "bounds",
            [](const Node& n) {
                const auto box = n.context()->bounds.value_or(zrk::BBox<double>({0, 0, 0}, {1, 1, 1}));
                return py::make_tuple(py::make_tuple(box.min[0], box.min[1], box.min[2]),
                                      py::make_tuple(box.max[0], box.max[1], box.max[2]));
            })
        .def("has_free_context", [](const Node& n) { return n.context() == freeContext(); })
        .def("take_context", [](Node& n, const Node& from) { n.setContext(from.context()); })
        .def("set_place", &Node::setPlace)
        .def("tag", [](Node& n, std::size_t output) { return std::string(n.tag(output).name()); })
        .def("is_density", [](Node& n, std::size_t output) { return n.ready(output)->output.isDensity; })
        .def("source", &sourceOf)
        .def("connect",
             [](Node& n, std::size_t input, const SharedNode& node, std::uint8_t output) {
                 n.connect(input, {node, output});
             })
        .def("upstream", [](Node& n) { return n.upstream(); })
        .def("stored", [](Node& n) { return toPython(n.stored()); })
        .def("value", [](Node& n, const std::string& key) { return toPython(n.value(key)); })
        .def(
            "set_values",
            [](Node& n, const py::dict& values, const std::vector<SharedResource>& used,
               const py::object& progress) { n.setValues(fromPython(values, n.place()), used, progress); },
            py::arg("values"), py::arg("used") = std::vector<SharedResource>{}, py::arg("progress") = none)
        .def_property_readonly("resources", &Node::resources)
        .def("import_files", &importInto)
        .def_property_readonly("imported", [](const Node& n) { return toPython(n.imported()); })
        .def_property_readonly("import_source", &Node::importSource)
        .def("values_at", &valuesAt, py::arg("output"), py::arg("points"), py::arg("progress") = none)
        .def("records_at", &recordsAt, py::arg("output"), py::arg("points"), py::arg("progress") = none)
        .def("volume", &volumeOf)
        .def("surface", &surfaceOf)
        .def("measure", &measuresOf)
        .def("picture", &pictureOf)
        .def("slice", &sliceOf);

    py::class_<SurfaceOptions>(module, "SurfaceOptions", py::module_local())
        .def(py::init([](const Corner& lower, const Corner& upper, const std::array<std::int32_t, 3>& cells,
                         std::optional<double> iso, std::optional<bool> isDensity, bool sharp, bool isOpen,
                         double flatness, std::size_t threads) {
            return SurfaceOptions{lower, upper, cells, iso, isDensity, sharp, isOpen, flatness, threads};
        }));
    py::class_<RenderOptions>(module, "RenderOptions", py::module_local())
        .def(py::init([](const Corner& lower, const Corner& upper, std::optional<double> iso,
                         std::optional<bool> isDensity, std::int32_t width, std::int32_t height,
                         std::optional<Corner> from, bool isPerspective, const std::string& backdrop,
                         const SharedNode& paint, std::size_t paintOutput, std::size_t threads) {
            return RenderOptions{lower, upper,         iso,      isDensity, width,       height,
                                 from,  isPerspective, backdrop, paint,     paintOutput, threads};
        }));
}

void addResources(py::module_& module)
{
    py::class_<Resource, SharedResource>(module, "Resource", py::module_local())
        .def_property_readonly("uuid", &Resource::uuid)
        .def_property_readonly("entry", [](const Resource& r) { return toPython(r.entry); })
        .def_property_readonly("source", [](const Resource& r) { return r.source; })
        .def_property_readonly("members", [](const Resource& r) { return r.members; });
    module.def("picture_resource", &pictureResource);
    module.def("volume_resource", &volumeResource);
    module.def("mesh_resource", &meshResource);
    module.def("shape_resource", &shapeResource);
    module.def("group_resource", &groupResource);
}

void addDocuments(py::module_& module)
{
    py::class_<Document>(module, "Document", py::module_local())
        .def_static("load", &Document::load)
        .def_static("parse", &Document::parse)
        .def_static("create", &Document::create)
        .def_property_readonly("name", &Document::name)
        .def_property_readonly("warnings", &Document::warnings)
        .def_property_readonly("output", &Document::output)
        .def_property("unit", &Document::unit, &Document::setUnit)
        .def_property_readonly("bounds",
                               [](const Document& d) {
                                   const auto box = d.bounds();
                                   return py::make_tuple(py::make_tuple(box.min[0], box.min[1], box.min[2]),
                                                         py::make_tuple(box.max[0], box.max[1], box.max[2]));
                               })
        .def("set_bounds", &Document::setBounds)
        .def("adopt",
             [](const Document& d, Node& node, const std::string& place) {
                 node.setContext(d.context());
                 node.setPlace(place);
             })
        .def("release_nodes", &Document::releaseNodes)
        .def("text", &Document::text)
        .def("save", &Document::save);
}

void addFiles(py::module_& module)
{
    module.def("mesh_report", &meshReport);
    module.def("write_mesh", &writeMesh);
    module.def("read_mesh", &readMeshFile);
    module.def("write_volume", &writeVolumeFile);
    module.def("write_picture", &writePicture);
    module.def("describe_types", &describeTypes);
    module.def("nearest_names", &zrkmodel::nearestNames);
    module.def("begin_on_main_thread", &beginOnMainThread);
    module.def("end_all", &endAll);
}

} // namespace

} // namespace zrkpython

PYBIND11_MODULE(_zrk, module)
{
    using namespace zrkpython;
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    py::register_local_exception_translator(&translate);
    addNodes(module);
    addResources(module);
    addDocuments(module);
    addFiles(module);
}
