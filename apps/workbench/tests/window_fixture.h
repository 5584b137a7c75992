#pragma once

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/tests/offscreen_test.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/window.h"
#include "inspectors/number_field.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/property.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QtTest/QtTest>

#include <memory>
#include <string>

namespace zrkworkbench {

/// A sphere through a factor, and a node that nothing arrives at.
inline const char* const kWindowDocument =
    R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
    "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5}},
              {"id": 2, "type": "Multiply"}, {"id": 7, "type": "NormVec3"}],
    "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})";

class WindowTest : public OffscreenTest {
protected:
    void SetUp() override
    {
        OffscreenTest::SetUp();
        put("a.zrk.json", kWindowDocument);
    }

    static void settle(const Window& window)
    {
        constexpr int kPatience = isSanitized() ? 200'000 : 20'000; // ms
        ASSERT_TRUE(QTest::qWaitFor([&] { return window.isSettled(); }, kPatience));
    }

    static double radiusOf(const Window& window, std::uint16_t node = 1)
    {
        const auto record = window.document()->graph()->getNodePtr(node);
        return record ? record->object->findProperty("radius")->valueJson().get<double>() : -1;
    }

    /// Types into the field of a property, as the user does.
    static void type(Window& window, const std::string& property, const char* text)
    {
        zrkui::NumberField* field = fieldOf(window, property);
        ASSERT_NE(field, nullptr) << property;
        field->setFocus();
        auto* line = field->findChild<QLineEdit*>();
        line->selectAll();
        QTest::keyClicks(line, text);
        QTest::keyClick(line, Qt::Key_Return);
    }
    static zrkui::NumberField* fieldOf(Window& window, const std::string& property)
    {
        for (auto* field : window.panel()->findChildren<zrkui::NumberField*>()) {
            if (zrkui::shownProperty(*field).toStdString() == property) {
                return field;
            }
        }
        return nullptr;
    }

    /// Presses the button of a notice, which may have to be shown yet.
    static bool press(Window& window, const QString& text)
    {
        QAbstractButton* found = nullptr;
        (void)QTest::qWaitFor(
            [&] {
                for (auto* button : window.notices().findChildren<QAbstractButton*>()) {
                    found = button->text() == text && button->isVisible() ? button : found;
                }
                return found != nullptr;
            },
            2000);
        if (found) {
            found->click();
        }
        return found != nullptr;
    }
};

/// A window that is used as one does: with the mouse and the keyboard, and by nothing else.
class WindowByHand : public WindowTest {
protected:
    std::unique_ptr<Window> window;

    void SetUp() override
    {
        WindowTest::SetUp();
        keepSettings();
        window = std::make_unique<Window>();
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }
    void TearDown() override
    {
        window.reset();
        WindowTest::TearDown();
    }

    void key(int code, Qt::KeyboardModifiers modifiers = {})
    {
        QWidget* focused = QApplication::focusWidget();
        QTest::keyClick(focused ? focused : window.get(), static_cast<Qt::Key>(code), modifiers);
        QCoreApplication::processEvents();
    }
    void write(const char* text) { QTest::keyClicks(QApplication::focusWidget(), text); }

    /// The window of this kind that is open; null if there is none.
    template <class Widget>
    Widget* shown()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* found = dynamic_cast<Widget*>(widget); found && found->isVisible()) {
                return found;
            }
        }
        return nullptr;
    }
};

} // namespace zrkworkbench
