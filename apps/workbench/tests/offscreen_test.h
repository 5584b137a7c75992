#pragma once

#include "components/registration.h"
#include "inspectors/css_style.h"
#include "inspectors/panels.h"
#include "testing/sanitized.h"
#include "testing/temporary_folder.h"

#include <QApplication>
#include <QSettings>

#include <memory>
#include <string>

namespace zrkworkbench {

using zrktest::isSanitized;

/// A test with an application without a screen, and a folder.
class OffscreenTest : public zrktest::TemporaryFolder {
protected:
    std::unique_ptr<QApplication> application;

    void SetUp() override
    {
        TemporaryFolder::SetUp();
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "workbench_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
        QApplication::setQuitOnLastWindowClosed(false);
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
        zrkui::ZRKGraphInspectorsInit::initializeModule();
        QFont font = QApplication::font();
        font.setPixelSize(13);
        QApplication::setFont(font);
        zrkui::ZRKCSSStyle::light().apply(*application);
    }
    void TearDown() override
    {
        application.reset();
        TemporaryFolder::TearDown();
    }

    /// Settings lie in the test's folder, not in that of the user.
    void keepSettings()
    {
        QCoreApplication::setOrganizationName("zrk-tests");
        QCoreApplication::setApplicationName("workbench");
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                           QString::fromStdString(path("settings")));
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

} // namespace zrkworkbench
