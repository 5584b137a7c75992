#include "apps/workbench/window/names.h"

#include "model/graph_object.h"

#include <QRegularExpression>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::ZRKGraphObjectRegistration;

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
    if (!record || output.output >= record->outputs.size() || record->outputs[output.output].name.empty()) {
        return name;
    }
    return name + QString::fromUtf8(" · ") + QString::fromStdString(record->outputs[output.output].name);
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

Problem problemOf(const EditSession& session, const zrk::Fault& fault, Problem::Kind kind)
{
    Problem problem = problemOf(fault, kind);
    problem.node = nodeIn(session.document(), fault);
    if (!problem.node) {
        return problem;
    }
    // What the place says beyond the node belongs to the finding: a key, a file.
    static const QRegularExpression upToNode("^.*?\\b(nodes\\[\\d+\\]|node \\d+( \\([^)]*\\))?)[,:]?\\s*");
    const QString rest = QString(problem.place).remove(upToNode);
    if (!rest.isEmpty() && rest != problem.place) {
        problem.finding = rest + ": " + problem.finding;
    }
    problem.place = nameOf(session, *problem.node);
    return problem;
}

} // namespace zrkworkbench
