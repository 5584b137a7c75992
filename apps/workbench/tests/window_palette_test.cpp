#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/status_line.h"
#include "apps/workbench/window/top_bar.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace zrkworkbench {
namespace {

using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

class WindowPalette : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        put("linked.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"},
            {"id": 2, "type": "BinaryOperator"}, {"id": 3, "type": "Multiply"},
            {"id": 4, "type": "PatternDesigner", "values": {"waves": [{"fx": 1}, {"fy": 2}]}}],
            "links": [{"from": [1, 0], "to": [3, 1]}], "output": [3, 0]})");
        QApplication::setCursorFlashTime(0);
        QApplication::clipboard()->clear();
    }

    /// A window that shows of most controls one, some of them off, with problems and a notice.
    void fill(Window& window)
    {
        window.resize(1300, 800);
        window.show();
        ASSERT_TRUE(window.open(path("linked.zrk.json")));
        ASSERT_TRUE(window.select(3));
        settle(window);
        auto* number = window.panel()->findChild<zrkui::NumberField*>();
        type(window, zrkui::shownProperty(*number).toStdString(), "1*");
        window.findChild<QDockWidget*>("Problems")->show();
        window.canvas().action("paste")->trigger();
        window.notices().show("changed", "it was changed", {{"Read it"}, {"Keep mine"}});
        window.canvas().setFocus();
        settle(window);
    }

    /// Its parts whose pictures tell nothing of time, and the panel of a list, by name.
    static std::map<std::string, QImage> partsOf(Window& window)
    {
        std::map<std::string, QImage> parts;
        const auto take = [&](const char* name, QWidget* widget) {
            ASSERT_NE(widget, nullptr) << name;
            QImage former;
            for (int i = 0; i < 100 && (former.isNull() || former != parts[name]); ++i) { // until it rests
                former = std::exchange(parts[name], widget->grab().toImage());
                QTest::qWait(20);
            }
        };
        take("values", &window.inspector());
        take("bar", &window.topBar());
        take("types", window.findChild<QDockWidget*>("Types"));
        take("problems", window.findChild<QDockWidget*>("Problems"));
        take("notices", &window.notices());
        for (const std::uint16_t node : {4, 2}) {
            EXPECT_TRUE(window.select(node));
            settle(window);
            take(node == 4 ? "list" : "choice", window.panel());
        }
        for (QWidget* control : window.panel()->findChildren<QWidget*>()) {
            control->setEnabled(false);
        }
        take("off", window.panel());
        return parts;
    }
};

TEST_F(WindowPalette, LooksLikeAWindowThatWasStartedWithIt)
{
    for (const auto& [name, other] : {std::pair("Dark", "Light"), std::pair("Light", "Dark")}) {
        SCOPED_TRACE(name);
        std::map<std::string, QImage> changed;
        {
            Window window({.palette = QString(other).toLower(), .edit = {}});
            fill(window);
            window.command(name)->trigger();
            changed = partsOf(window);
        }
        Window started({.palette = QString(name).toLower(), .edit = {}});
        fill(started);
        for (const auto& [part, picture] : partsOf(started)) {
            EXPECT_EQ(changed[part], picture) << part;
        }
    }
}

/// Counts what costs most about a new sheet: that widgets take in a style.
struct StyleChanges final : QObject {
    int count = 0;

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        count += event->type() == QEvent::StyleChange ? 1 : 0;
        return false;
    }
};

TEST_F(WindowPalette, NeedsNoOtherSheet)
{
    Window window({.palette = "light", .edit = {}});
    fill(window);
    const QString sheet = application->styleSheet();
    StyleChanges changes;
    application->installEventFilter(&changes);
    for (const char* command : {"Dark", "High contrast", "Light", "High contrast"}) {
        window.command(command)->trigger();
        EXPECT_TRUE(application->styleSheet() == sheet) << command;
        EXPECT_EQ(changes.count, 0) << command;
    }
    QFont font = QApplication::font();
    font.setPixelSize(17);
    QApplication::setFont(font);
    QCoreApplication::processEvents();
    EXPECT_TRUE(application->styleSheet() != sheet) << "its sizes go with the font";
}

TEST_F(WindowPalette, WhatIsSaidHasTheColourOfItsKind)
{
    Window window({.palette = "light", .edit = {}});
    fill(window);
    auto* line = window.findChild<StatusLine*>();
    ASSERT_NE(line, nullptr);
    const auto colorOf = [&](const QString& text) {
        for (const auto* label : line->findChildren<QLabel*>()) {
            if (label->text() == text) {
                return label->palette().color(label->foregroundRole());
            }
        }
        return QColor();
    };
    for (const char* palette : {"Light", "Dark"}) {
        line->say("no room", true);
        window.command(palette)->trigger();
        EXPECT_EQ(colorOf("no room"), ZRKCSSStyle::current().color(Role::error)) << palette;
        line->say("saved", false);
        EXPECT_EQ(colorOf("saved"), ZRKCSSStyle::current().color(Role::secondText)) << palette;
    }
}

} // namespace
} // namespace zrkworkbench
