#pragma once

#include "components/registration.h"
#include "host/graph_document.h"
#include "inspectors/css_style.h"
#include "inspectors/panels.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace zrkworkbench {

/// A test with an application without a screen.
class ViewsTest : public zrktest::TemporaryFolder {
protected:
    std::unique_ptr<QApplication> application;

    void SetUp() override
    {
        TemporaryFolder::SetUp();
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "workbench_views_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
        QFont font = QApplication::font();
        font.setPixelSize(13);
        QApplication::setFont(font);
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
        zrkui::ZRKCSSStyle::light().apply(*application);
    }
    void TearDown() override
    {
        application.reset();
        TemporaryFolder::TearDown();
    }

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
    /// A field of 4000 waves, and behind it a raster of 96 nodes along each edge: ten seconds and more to
    /// freeze.
    static std::string slowText()
    {
        std::string waves;
        for (int i = 0; i < 4000; ++i) {
            waves += std::string(i == 0 ? "" : ",") + R"({"fx": 1})";
        }
        return R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]}, "nodes": [
               {"id": 1, "type": "PatternDesigner", "values": {"waves": [)" +
               waves + R"(]}},
               {"id": 2, "type": "RasterFX", "values": {"auto-update": true, "resolution": 96}}],
               "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})";
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
