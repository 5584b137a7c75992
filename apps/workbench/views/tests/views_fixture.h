#pragma once

#include "apps/workbench/tests/offscreen_test.h"
#include "host/graph_document.h"
#include "testing/source_folder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace zrkworkbench {

class ViewsTest : public OffscreenTest {
protected:
    template <class Condition>
    static bool waitFor(const Condition& condition)
    {
        return QTest::qWaitFor(condition, 30000);
    }

    static zrkmodel::GraphDocument parsed(const std::string& text)
    {
        zrkmodel::DocumentWarnings warnings;
        return zrk::valueOrThrow(zrkmodel::GraphDocument::parse(text, "test.zrk.json", warnings));
    }
    static zrkmodel::GraphDocument example(const std::string& name)
    {
        zrkmodel::DocumentWarnings warnings;
        const auto path = zrktest::sourceFolder() / "examples" / (name + ".zrk.json");
        return zrk::valueOrThrow(zrkmodel::GraphDocument::load(path.string(), warnings));
    }

    /// A sphere around the origin, radius 0.5, in bounds from -1 to 1.
    static std::string sphereText()
    {
        return R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
            "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5}}], "output": [1, 0]})";
    }
};

/// The widget of a class with this accessible name; null where there is none.
template <class Widget>
Widget* widgetNamed(const QWidget& parent, const QString& name)
{
    for (auto* widget : parent.findChildren<Widget*>()) {
        if (widget->accessibleName() == name) {
            return widget;
        }
    }
    return nullptr;
}

} // namespace zrkworkbench
