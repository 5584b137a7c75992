#include "inspectors/panels.h"

namespace zrkui {

namespace {

bool addAllPanels()
{
    addPrimitivePanels();
    addCoordinatePanels();
    addTransformPanels();
    addPatternPanels();
    addOperatorPanels();
    addMeshPanels();
    addRasterPanels();
    addTransportPanels();
    return true;
}

[[maybe_unused]] const bool added = addAllPanels();

} // namespace

void ZRKGraphInspectorsInit::initializeModule() {}

} // namespace zrkui
