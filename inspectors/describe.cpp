#include "inspectors/describe.h"

#include "inspectors/described.h"
#include "inspectors/field.h"
#include "inspectors/property_view.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <QBoxLayout>
#include <QGroupBox>

namespace zrkui {

using zrkmodel::ZRKJson;

namespace {

void describeItems(const QLayout& layout, ZRKJson& children);

ZRKJson describeLayout(const QLayout& layout)
{
    const auto* box = dynamic_cast<const QBoxLayout*>(&layout);
    const bool isRow = box && box->direction() == QBoxLayout::LeftToRight;
    ZRKJson container{{"layout", isRow ? "horizontal" : "vertical"}, {"children", ZRKJson::array()}};
    describeItems(layout, container["children"]);
    return container;
}

ZRKJson describeTabs(const TabHelper& tabs)
{
    ZRKJson container{{"layout", "tabs"}, {"children", ZRKJson::array()}};
    for (int i = 0; i < tabs.count(); ++i) {
        ZRKJson page{{"title", tabs.tabText(i).toStdString()}};
        const ZRKJson content = describeView(tabs.page(i));
        page.update(content.is_null() ? ZRKJson{{"layout", "vertical"}, {"children", ZRKJson::array()}}
                                      : content);
        container["children"].push_back(std::move(page));
    }
    return container;
}

void describeWidget(const QWidget& widget, ZRKJson& children)
{
    if (const auto* field = dynamic_cast<const UIField*>(&widget)) {
        describeWidget(*field->control(), children);
    } else if (const auto* tabs = dynamic_cast<const TabHelper*>(&widget)) {
        children.push_back(describeTabs(*tabs));
    } else if (dynamic_cast<const UIDescribed*>(&widget)) {
        children.push_back(describeControl(widget));
    } else if (const auto* group = dynamic_cast<const QGroupBox*>(&widget)) {
        children.push_back(describeLayout(*group->layout()));
        if (!group->title().isEmpty()) {
            children.back()["title"] = group->title().toStdString();
        }
    }
}

void describeItems(const QLayout& layout, ZRKJson& children)
{
    for (int i = 0; i < layout.count(); ++i) {
        const QLayoutItem& item = *layout.itemAt(i);
        if (const auto* inner = dynamic_cast<const QLayout*>(&item)) {
            children.push_back(describeLayout(*inner));
        } else if (const QWidget* widget = const_cast<QLayoutItem&>(item).widget()) {
            describeWidget(*widget, children);
        }
    }
}

std::string captionOfControl(const QWidget& control)
{
    const UIField* field = UIField::of(&control);
    if (field && field->control() == &control && !field->caption().empty()) {
        return field->caption();
    }
    return control.property("zrkCaption").toString().toStdString();
}

} // namespace

ZRKJson describeControl(const QWidget& control)
{
    ZRKJson out;
    out["label"] = captionOfControl(control);
    dynamic_cast<const UIDescribed&>(control).describe(out);
    if (const QString property = shownProperty(control); !property.isEmpty()) {
        out["property"] = property.toStdString();
    }
    if (!control.toolTip().isEmpty()) {
        out["tip"] = control.toolTip().toStdString();
    }
    if (!control.objectName().isEmpty()) {
        out["object"] = control.objectName().toStdString();
    }
    return out;
}

ZRKJson describeView(const ZRKPropertyView& view)
{
    ZRKJson root = describeLayout(*view.layout());
    ZRKJson& children = root["children"];
    if (children.empty()) {
        return nullptr;
    }
    // What a panel opens first is its layout; the view's own only holds that.
    if (children.size() == 1 && children[0].contains("layout")) {
        return ZRKJson(children[0]);
    }
    return root;
}

ZRKJson describePanels(const std::vector<std::string>& classNames)
{
    ZRKJson panels = ZRKJson::object();
    for (const std::string& name : classNames) {
        if (const auto* entry = zrkmodel::ZRKGraphObject::registry().findByClass(name)) {
            const auto graph = zrkmodel::ZRKGraph::create();
            const zrkmodel::ZRKGraph::Node node = graph->addNode(entry->factory());
            ZRKPropertyView view;
            node.object()->onInspection(&view, node);
            panels[name] = describeView(view);
            node.object()->onInspectionEnd(&view);
        }
    }
    return panels;
}

} // namespace zrkui
