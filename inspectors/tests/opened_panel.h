#pragma once

#include "inspectors/number_field.h"
#include "inspectors/property_view.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <QLineEdit>
#include <QtTest/QtTest>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace zrkui {

/// The panel of a node, shown off screen.
inline std::unique_ptr<ZRKPropertyView> shownPanel(const zrkmodel::ZRKGraph::Node& node)
{
    auto view = std::make_unique<ZRKPropertyView>();
    node.object()->onInspection(view.get(), node);
    view->resize(480, 400);
    view->show();
    return view;
}

/// Calls `check` with the node of a fresh component and its panel, for each class.
template <class Check>
void forEachPanel(const Check& check)
{
    for (const auto& entry : zrkmodel::ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(entry.className);
        const auto graph = zrkmodel::ZRKGraph::create();
        const auto node = graph->addNode(entry.factory());
        const auto view = shownPanel(node);
        check(node, *view);
    }
}

/// The panel of a fresh component of class C, shown off screen.
template <class C>
struct OpenedPanel {
    std::shared_ptr<zrkmodel::ZRKGraph> graph = zrkmodel::ZRKGraph::create();
    std::shared_ptr<C> component = std::make_shared<C>();
    zrkmodel::ZRKGraph::Node node = graph->addNode(component);
    std::vector<std::string> events; ///< names of the component's change events
    std::unique_ptr<ZRKPropertyView> view;

    OpenedPanel() { open(); }
    void open()
    {
        view = shownPanel(node);
        events.clear();
        _events = component->addListener([this](const auto& event) { events.push_back(event.name); });
    }

    /// The i-th widget of a class, in the order in which they were added.
    template <class Widget>
    Widget* find(int i = 0) const
    {
        int found = 0;
        for (QWidget* child : view->template findChildren<QWidget*>()) {
            if (auto* widget = dynamic_cast<Widget*>(child); widget && found++ == i) {
                return widget;
            }
        }
        return nullptr;
    }
    QPushButton* button(const std::string& text) const
    {
        for (auto* button : view->template findChildren<QPushButton*>()) {
            if (button->text().toStdString() == text) {
                return button;
            }
        }
        return nullptr;
    }

private:
    nod::scoped_connection _events;
};

/// Types a text into a field in place of what is there, and leaves it with Enter.
inline void type(NumberField& field, const QString& text)
{
    auto* line = field.findChild<QLineEdit*>();
    field.setFocus();
    line->selectAll();
    QKeyEvent keys(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, text); // keyClicks knows ASCII only
    QCoreApplication::sendEvent(line, &keys);
    QTest::keyClick(line, Qt::Key_Return);
}

inline QString shownIn(const NumberField& field) { return field.findChild<QLineEdit*>()->text(); }

} // namespace zrkui
