#pragma once

#include "host/editing/edit_session.h"
#include "inspectors/css_style.h"
#include "model/registry.h"

#include <QPointF>
#include <QString>

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

namespace zrkworkbench {

/// What the canvas shows of a pin.
struct PinInfo {
    QString name;
    zrkmodel::Tag declared; ///< Any for a wildcard
    zrkmodel::Tag tag;      ///< what it carries now; None for a wildcard without a tag
    bool isLinked = false;
    bool passesPosition = false; ///< reads the position while nothing is linked
    std::optional<double> value; ///< what it reads while nothing is linked

    friend bool operator==(const PinInfo&, const PinInfo&) = default;
};

/// What the canvas shows of a node.
struct NodeInfo {
    std::uint16_t id = 0;
    QString title;     ///< the name that the user gave it, else that of its type
    QString typeTitle; ///< of its type
    QString summary;   ///< at the right of the header; may be empty
    QString icon;
    zrkui::ZRKCSSStyle::Role family = zrkui::ZRKCSSStyle::Role::familyOperators;
    std::vector<PinInfo> inputs;
    std::vector<PinInfo> outputs;
    bool isBypassed = false;
    bool hasOutputFlag = false;
    QPointF position;

    friend bool operator==(const NodeInfo&, const NodeInfo&) = default;
};

/// A link as the canvas shows it.
struct WireInfo {
    zrkmodel::Pin_handle source; ///< the output that is linked
    /// Where the wire begins: at `source`, or at the bypassed node that the link was led past.
    zrkmodel::Pin_handle shownFrom;
    zrkmodel::Pin_handle to;
    zrkmodel::Tag tag;
    std::vector<QPointF> via; ///< its reroute points

    friend bool operator==(const WireInfo&, const WireInfo&) = default;
};

/// The type of a node; null where it isn't registered.
const zrkmodel::ZRKGraphObjectRegistration* typeOfNode(const zrkmodel::EditSession& session,
                                                       std::uint16_t node);
/// All of a node but its position. The node must be there.
NodeInfo nodeInfo(const zrkmodel::EditSession& session, std::uint16_t node);
/// Where the document has a node.
std::optional<QPointF> storedPosition(const zrkmodel::EditSession& session, std::uint16_t node);
/// The tags of its pins and which are linked, as they are now.
void updatePins(NodeInfo& info, const zrkmodel::EditSession& session);
/// All links, in the order of the nodes that they end at, without reroute points.
std::vector<WireInfo> wiresOf(const zrkmodel::EditSession& session);
/// The pins that a type has in a graph by itself. Made once for each type.
const NodeInfo& pinsOfType(const zrkmodel::ZRKGraphObjectRegistration& type);

/// The name of a pin with that of its node, such as "Gyroid · density".
QString pinText(const zrkmodel::EditSession& session, zrkmodel::Pin_handle pin);

/// Why a wire can't end at a pin, as a short statement and what to do; both empty where it can.
struct WireRefusal {
    QString reason;
    QString remedy;

    bool isFitting() const { return reason.isEmpty(); }
};

/// Tells which pins a wire fits that starts at a pin and whose other end is held. Walks the graph once.
class WireRules {
public:
    /// @param freed  an input whose link is taken away while its wire is held.
    WireRules(const zrkmodel::EditSession& session, zrkmodel::Pin_handle start,
              zrkmodel::Pin_handle freed = {});

    WireRefusal refusal(zrkmodel::Pin_handle other) const;
    bool fits(zrkmodel::Pin_handle other) const { return refusal(other).isFitting(); }

private:
    const zrkmodel::EditSession* _session;
    zrkmodel::Pin_handle _start;
    zrkmodel::Pin_handle _freed;
    std::unordered_set<std::uint16_t> _beyond; ///< nodes that a link to would close a cycle
};

/// All nodes that feed the given ones, and these.
std::vector<std::uint16_t> withUpstream(const zrkmodel::EditSession& session,
                                        const std::vector<std::uint16_t>& nodes);

} // namespace zrkworkbench
