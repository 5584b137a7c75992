#pragma once

#include "host/editing/edit_session.h"

#include <QPointF>
#include <QString>

#include <cstdint>
#include <map>
#include <vector>

namespace zrkworkbench {

/// A titled frame around nodes. It reaches as far as they do.
struct FrameNote {
    QString title;
    std::vector<std::uint16_t> nodes;

    friend bool operator==(const FrameNote&, const FrameNote&) = default;
};

/// A point that a link is led by.
struct RerouteNote {
    zrkmodel::Pin_handle from;
    zrkmodel::Pin_handle to;
    QPointF at;

    friend bool operator==(const RerouteNote&, const RerouteNote&) = default;
};

/// What the canvas keeps in a document besides nodes and links: under "frames", "reroutes" and "plain" of
/// "view". What can't be read is left out, and so are nodes and links that are gone.
struct CanvasNotes {
    std::vector<FrameNote> frames;
    std::vector<RerouteNote> reroutes; ///< those of a link in their order along it
    std::vector<std::uint16_t> plain;  ///< nodes without a thumbnail, where thumbnails are shown

    static CanvasNotes read(const zrkmodel::EditSession& session);
    /// From the member "view" of a document or a fragment, unchecked.
    static CanvasNotes fromView(const zrkmodel::ZRKJson& view);
    /// Writes what differs from the document; a part of the operation under way.
    zrk::Result<void> write(zrkmodel::EditSession& session) const;
    /// As members of "view".
    zrkmodel::ZRKJson toView() const;

    /// Those that lie wholly within these nodes: frames as far as they do, reroutes of links between them.
    CanvasNotes within(const std::vector<std::uint16_t>& nodes) const;
    /// With other ids, moved.
    CanvasNotes renamed(const std::map<std::uint16_t, std::uint16_t>& ids, const QPointF& shift) const;
    void add(const CanvasNotes& other);
    void removeNodes(const std::vector<std::uint16_t>& nodes);
};

} // namespace zrkworkbench
