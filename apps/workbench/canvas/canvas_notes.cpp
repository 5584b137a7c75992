#include "apps/workbench/canvas/canvas_notes.h"

#include "host/document_values.h"

#include <algorithm>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::Pin_handle;
using zrkmodel::ZRKJson;

namespace {

bool isPin(const ZRKJson& value)
{
    return value.is_array() && value.size() == 2 && value[0].is_number_unsigned() &&
           value[1].is_number_unsigned() && value[0] <= zrkmodel::kMaxNodeId && value[1] <= 255;
}

bool has(const std::vector<std::uint16_t>& nodes, std::uint16_t node)
{
    return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

} // namespace

CanvasNotes CanvasNotes::fromView(const ZRKJson& view)
{
    CanvasNotes notes;
    const ZRKJson none = ZRKJson::array();
    const auto list = [&](const char* key) -> const ZRKJson& {
        return view.is_object() && view.contains(key) && view[key].is_array() ? view[key] : none;
    };
    for (const ZRKJson& entry : list("frames")) {
        if (!entry.is_object() || !entry.contains("nodes") || !entry["nodes"].is_array()) {
            continue;
        }
        FrameNote frame;
        if (entry.contains("title") && entry["title"].is_string()) {
            frame.title = QString::fromStdString(entry["title"].get<std::string>());
        }
        for (const ZRKJson& node : entry["nodes"]) {
            if (node.is_number_unsigned() && node <= zrkmodel::kMaxNodeId) {
                frame.nodes.push_back(node.get<std::uint16_t>());
            }
        }
        notes.frames.push_back(std::move(frame));
    }
    for (const ZRKJson& node : list("plain")) {
        if (node.is_number_unsigned() && node <= zrkmodel::kMaxNodeId) {
            notes.plain.push_back(node.get<std::uint16_t>());
        }
    }
    for (const ZRKJson& entry : list("reroutes")) {
        if (entry.is_object() && entry.contains("from") && isPin(entry["from"]) && entry.contains("to") &&
            isPin(entry["to"]) && entry.contains("at") && zrkmodel::isNumbers(entry["at"], 2)) {
            notes.reroutes.push_back(
                {Pin_handle::output(entry["from"][0].get<std::uint16_t>(),
                                    entry["from"][1].get<std::uint8_t>()),
                 Pin_handle::input(entry["to"][0].get<std::uint16_t>(), entry["to"][1].get<std::uint8_t>()),
                 QPointF(entry["at"][0].get<double>(), entry["at"][1].get<double>())});
        }
    }
    return notes;
}

CanvasNotes CanvasNotes::read(const EditSession& session)
{
    ZRKJson view = ZRKJson::object();
    for (const char* key : {"frames", "reroutes", "plain"}) {
        if (const ZRKJson* value = session.view(key)) {
            view[key] = *value;
        }
    }
    CanvasNotes notes = fromView(view);
    const auto& graph = session.document().graph();
    for (FrameNote& frame : notes.frames) {
        std::erase_if(frame.nodes, [&](std::uint16_t node) { return !graph->getNodePtr(node); });
    }
    std::erase_if(notes.frames, [](const FrameNote& frame) { return frame.nodes.empty(); });
    std::erase_if(notes.plain, [&](std::uint16_t node) { return !graph->getNodePtr(node); });
    std::erase_if(notes.reroutes, [&](const RerouteNote& reroute) {
        return graph->upstream(reroute.to).handle != reroute.from;
    });
    return notes;
}

ZRKJson CanvasNotes::toView() const
{
    ZRKJson view = ZRKJson::object();
    if (!frames.empty()) {
        view["frames"] = ZRKJson::array();
        for (const FrameNote& frame : frames) {
            view["frames"].push_back({{"title", frame.title.toStdString()}, {"nodes", frame.nodes}});
        }
    }
    if (!plain.empty()) {
        view["plain"] = plain;
    }
    if (!reroutes.empty()) {
        view["reroutes"] = ZRKJson::array();
        for (const RerouteNote& reroute : reroutes) {
            view["reroutes"].push_back({{"from", {reroute.from.node(), reroute.from.index()}},
                                        {"to", {reroute.to.node(), reroute.to.index()}},
                                        {"at", {reroute.at.x(), reroute.at.y()}}});
        }
    }
    return view;
}

zrk::Result<void> CanvasNotes::write(EditSession& session) const
{
    const CanvasNotes former = read(session);
    const ZRKJson view = toView();
    const auto set = [&](const char* key) {
        return session.setView(key, view.contains(key) ? std::optional<ZRKJson>(view[key]) : std::nullopt);
    };
    zrk::Result<void> done;
    if (former.frames != frames) {
        done = set("frames");
    }
    if (done && former.reroutes != reroutes) {
        done = set("reroutes");
    }
    if (done && former.plain != plain) {
        done = set("plain");
    }
    return done;
}

CanvasNotes CanvasNotes::within(const std::vector<std::uint16_t>& nodes) const
{
    CanvasNotes inner;
    for (const FrameNote& frame : frames) {
        if (std::all_of(frame.nodes.begin(), frame.nodes.end(),
                        [&](std::uint16_t node) { return has(nodes, node); })) {
            inner.frames.push_back(frame);
        }
    }
    for (const RerouteNote& reroute : reroutes) {
        if (has(nodes, reroute.from.node()) && has(nodes, reroute.to.node())) {
            inner.reroutes.push_back(reroute);
        }
    }
    for (const std::uint16_t node : plain) {
        if (has(nodes, node)) {
            inner.plain.push_back(node);
        }
    }
    return inner;
}

CanvasNotes CanvasNotes::renamed(const std::map<std::uint16_t, std::uint16_t>& ids,
                                 const QPointF& shift) const
{
    const auto known = [&](std::uint16_t node) { return ids.contains(node); };
    CanvasNotes other;
    for (FrameNote frame : frames) {
        std::erase_if(frame.nodes, [&](std::uint16_t node) { return !known(node); });
        for (std::uint16_t& node : frame.nodes) {
            node = ids.at(node);
        }
        if (!frame.nodes.empty()) {
            other.frames.push_back(std::move(frame));
        }
    }
    for (const RerouteNote& reroute : reroutes) {
        if (known(reroute.from.node()) && known(reroute.to.node())) {
            other.reroutes.push_back({Pin_handle::output(ids.at(reroute.from.node()), reroute.from.index()),
                                      Pin_handle::input(ids.at(reroute.to.node()), reroute.to.index()),
                                      reroute.at + shift});
        }
    }
    for (const std::uint16_t node : plain) {
        if (known(node)) {
            other.plain.push_back(ids.at(node));
        }
    }
    return other;
}

void CanvasNotes::add(const CanvasNotes& other)
{
    frames.insert(frames.end(), other.frames.begin(), other.frames.end());
    reroutes.insert(reroutes.end(), other.reroutes.begin(), other.reroutes.end());
    plain.insert(plain.end(), other.plain.begin(), other.plain.end());
}

void CanvasNotes::removeNodes(const std::vector<std::uint16_t>& nodes)
{
    for (FrameNote& frame : frames) {
        std::erase_if(frame.nodes, [&](std::uint16_t node) { return has(nodes, node); });
    }
    std::erase_if(frames, [](const FrameNote& frame) { return frame.nodes.empty(); });
    std::erase_if(plain, [&](std::uint16_t node) { return has(nodes, node); });
    std::erase_if(reroutes, [&](const RerouteNote& reroute) {
        return has(nodes, reroute.from.node()) || has(nodes, reroute.to.node());
    });
}

} // namespace zrkworkbench
