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

} // namespace zrkworkbench
