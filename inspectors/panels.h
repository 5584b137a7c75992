#pragma once

#include "inspectors/property_view.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/panel_table.h"

namespace zrkui {

/// A reference to it links the panels in; loading the library enters all of them in ZRKPanelTable.
class ZRKGraphInspectorsInit {
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

void addPrimitivePanels();
void addCoordinatePanels();
void addTransformPanels();
void addPatternPanels();
void addOperatorPanels();
void addMeshPanels();
void addRasterPanels();
void addTransportPanels();

} // namespace zrkui
