#include "inspectors/panels.h"

#include "components/primitives/box_sdf.h"
#include "components/primitives/cylinder_sdf.h"
#include "components/primitives/pipe_sdf.h"
#include "components/primitives/plane_sdf.h"
#include "components/primitives/sphere_sdf.h"
#include "components/primitives/torus_sdf.h"
#include "inspectors/panel_parts.h"

namespace zrkui {

using namespace zrkmodel;

namespace {

void spherePanel(ZRKSphereSDF& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    addPropertyWidgets(view, c.radius, c.center);
    view.popLayout();
}

void boxPanel(ZRKBoxSDF& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.center, c.dimensions, c.radius, c.wireframe, c.edgeThickness);
    view.popLayout();
}

void planePanel(ZRKPlaneSDF& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.origin, c.normal);
    view.popLayout();
}

void torusPanel(ZRKTorusSDF& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.center, c.ringRadius, c.tubeRadius);
    view.popLayout();
}

void cylinderPanel(ZRKCylinderSDF& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.startPoint, c.endPoint, c.startRadius, c.endRadius);
    addChoice(view, c.capStyle, {"none", "flat", "round"});
    view.popLayout();
}

void pipePanel(ZRKPipeSDF& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.addLabel("Under Construction!!!");
    addPropertyWidget(&view, c.radius);
    view.popLayout();
}

} // namespace

void addPrimitivePanels()
{
    addPanel(spherePanel);
    addPanel(boxPanel);
    addPanel(planePanel);
    addPanel(torusPanel);
    addPanel(cylinderPanel);
    addPanel(pipePanel);
}

} // namespace zrkui
