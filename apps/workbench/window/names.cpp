#include "apps/workbench/window/names.h"

#include "model/graph_object.h"
#include "model/manual.h"

#include <QRegularExpression>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::ZRKGraphObjectRegistration;

const std::vector<Family>& families()
{
    static const std::vector<Family> all = {
        {"primitives", "Primitives"}, {"patterns", "Patterns"},   {"coordinates", "Coordinates"},
        {"transforms", "Transforms"}, {"operators", "Operators"}, {"mesh", "Meshes"},
        {"raster", "Rasters"},        {"transport", "Transport"},
    };
    return all;
}

QString familyOf(const ZRKGraphObjectRegistration& type)
{
    const std::string_view folder = zrkmodel::manualOf(type).family;
    return QString::fromUtf8(folder.data(), static_cast<int>(folder.size()));
}

QString familyTitleOf(const ZRKGraphObjectRegistration& type)
{
    const QString folder = familyOf(type);
    for (const Family& family : families()) {
        if (folder == family.folder) {
            return family.title;
        }
    }
    return type.strings.category;
}

const ZRKGraphObjectRegistration* typeOf(const EditSession& session, std::uint16_t node)
{
    const auto record = session.document().graph()->getNodePtr(node);
    if (!record) {
        return nullptr;
    }
    const zrkmodel::ZRKTypeInfo& info = record->object->typeInfo();
    return zrkmodel::ZRKGraphObject::registry().find(info.uuid, info.name);
}

QString nameOf(const EditSession& session, std::uint16_t node)
{
    if (const zrkmodel::ZRKJson* entry = session.entry(node)) {
        const auto label = entry->find("label");
        if (label != entry->end() && label->is_string() && !label->get_ref<const std::string&>().empty()) {
            return QString::fromStdString(label->get<std::string>());
        }
    }
    const ZRKGraphObjectRegistration* type = typeOf(session, node);
    return type ? QString(type->strings.title) : QString("node %1").arg(node);
}

QString nameOf(const EditSession& session, zrkmodel::PinAddress output)
{
    const auto record = session.document().graph()->getNodePtr(output.node);
    const QString name = nameOf(session, output.node);
    if (!record || output.output >= record->outputs.size()) {
        return name;
    }
    return name + QString::fromUtf8(" · ") + QString::fromStdString(record->outputs[output.output].name);
}

QString wordOf(zrkmodel::Tag tag)
{
    return tag == zrkmodel::Tag::Scalar     ? "scalar"
           : tag == zrkmodel::Tag::Vector3d ? "vector"
           : tag == zrkmodel::Tag::Color    ? "colour"
           : tag == zrkmodel::Tag::Any      ? "any"
                                            : "nothing";
}

std::optional<std::uint16_t> nodeIn(const zrkmodel::GraphDocument& document, const zrk::Fault& fault)
{
    const QString place = QString::fromStdString(fault.place);
    static const QRegularExpression byIndex("\\bnodes\\[(\\d+)\\]");
    static const QRegularExpression byId("\\bnode (\\d+)\\b");
    const auto& nodes = document.graph()->nodes();
    if (const auto found = byIndex.match(place); found.hasMatch()) {
        const auto* all = document.member("nodes");
        const std::size_t index = found.captured(1).toUInt();
        if (all && all->is_array() && index < all->size()) {
            const auto id = (*all)[index].value("id", -1);
            if (id >= 0 && document.graph()->getNodePtr(static_cast<std::uint16_t>(id))) {
                return static_cast<std::uint16_t>(id);
            }
        }
        if (index < nodes.size()) {
            return nodes[index]->id;
        }
    }
    if (const auto found = byId.match(place); found.hasMatch()) {
        const auto id = found.captured(1).toUInt();
        if (id <= zrkmodel::kMaxNodeId && document.graph()->getNodePtr(static_cast<std::uint16_t>(id))) {
            return static_cast<std::uint16_t>(id);
        }
    }
    return std::nullopt;
}

} // namespace zrkworkbench
