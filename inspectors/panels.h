#pragma once

#include "core/values/export.h"
#include "inspectors/property_view.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/panel_table.h"

namespace zrkui {

/// A reference to it links the panels in; loading the library enters all of them in ZRKPanelTable.
class ZRK_API ZRKGraphInspectorsInit {
public:
    /// Does nothing.
    static void initializeModule();
};

/// Enters the panel of a class. The view keeps the object while it shows it.
template <class Object>
void addPanel(void (*panel)(Object&, ZRKPropertyView&))
{
    ZRKPanelTable::instance().add<Object>([panel](Object& object, ZRKPropertyView& view, const auto&) {
        view.keep(object.shared_from_this());
        panel(object, view);
    });
}

ZRK_API void addPrimitivePanels();
ZRK_API void addCoordinatePanels();
ZRK_API void addTransformPanels();
ZRK_API void addPatternPanels();
ZRK_API void addOperatorPanels();
ZRK_API void addMeshPanels();
ZRK_API void addRasterPanels();
ZRK_API void addTransportPanels();

} // namespace zrkui
