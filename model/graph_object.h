#pragma once

#include "core/values/export.h"
#include "model/graph.h"
#include "model/serializable.h"

namespace zrkui {
class ZRKExtensionBaseGraphItem;
class ZRKPropertyView;
} // namespace zrkui

namespace zrkmodel {

class ZRKGraphObjectRegistry;

/// The object of a graph's node. Its hooks are called on the thread that changes the graph, and those of
/// inspection on the interface thread.
class ZRK_API ZRKGraphObject : public ZRKSerializableObject {
public:
    /// The process's one registry. Filled while libraries load; read-only afterwards.
    static ZRKGraphObjectRegistry& registry();

    /// Declares the node's pins.
    virtual void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node);
    /// Something upstream of the node, a property or a link, has changed.
    virtual void onUpstreamChange(const ZRKNodeBase<0, ZRKGraphObject>& node, const ZRKEvent& event);
    /// The tag that an output carries now. The base answers the declared tag, and None for a pin that
    /// isn't there. Called from any thread that builds evaluators.
    virtual Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin);

    /// The node's picture in an editor; null leaves it to the editor.
    virtual zrkui::ZRKExtensionBaseGraphItem*
    createGraphItem(const ZRKNodeBase<0, ZRKGraphObject>& node) const;
    /// Shows in the node's picture what has changed.
    virtual void onUpdateGraphItem(zrkui::ZRKExtensionBaseGraphItem* item,
                                   const ZRKNodeBase<0, ZRKGraphObject>& node) const;
    /// Fills the view with the panel that a library has entered for this class in
    /// zrkui::ZRKPanelTable; adds nothing without one. Returns true.
    virtual bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node);
    /// The view is about to show something else.
    virtual void onInspectionEnd(zrkui::ZRKPropertyView* view);
};

} // namespace zrkmodel
