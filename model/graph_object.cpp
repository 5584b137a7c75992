#include "model/graph_object.h"

#include "model/panel_table.h"
#include "model/registry.h"

namespace zrkmodel {

ZRKGraphObjectRegistry& ZRKGraphObject::registry()
{
    // Made on first use, since types register themselves while libraries load.
    static ZRKGraphObjectRegistry theRegistry;
    return theRegistry;
}

void ZRKGraphObject::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>&) {}

void ZRKGraphObject::onUpstreamChange(const ZRKNodeBase<0, ZRKGraphObject>&, const ZRKEvent&) {}

Tag ZRKGraphObject::queryEffectiveOutputPinTag(const Pin_ref<1>& pin)
{
    const ZRKGraphPin* record = pin.pin();
    return record ? record->tag : Tag::None;
}

zrkui::ZRKExtensionBaseGraphItem* ZRKGraphObject::createGraphItem(const ZRKNodeBase<0, ZRKGraphObject>&) const
{
    return nullptr;
}

void ZRKGraphObject::onUpdateGraphItem(zrkui::ZRKExtensionBaseGraphItem*,
                                       const ZRKNodeBase<0, ZRKGraphObject>&) const
{}

bool ZRKGraphObject::onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    const zrkui::ZRKPanel* panel = zrkui::ZRKPanelTable::instance().find(typeid(*this));
    if (panel && view) {
        (*panel)(*this, *view, node);
    }
    return true;
}

void ZRKGraphObject::onInspectionEnd(zrkui::ZRKPropertyView*) {}

} // namespace zrkmodel
