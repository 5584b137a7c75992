#pragma once

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/canvas/search_popup.h"
#include "components/registration.h"
#include "model/graph_object.h"

#include <QApplication>
#include <QLineEdit>
#include <QtTest/QtTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zrkworkbench {

/// A sphere and a twisted gyroid, united; a shell and a position to link by hand.
inline const char* const kGraph = R"({"zrkGraph": 1, "nodes": [
    {"id": 1, "type": "TwistTransform", "values": {"angle": 60.0}, "position": [0, 256]},
    {"id": 2, "type": "Gyroid", "position": [256, 256]},
    {"id": 3, "type": "SphereSDF", "position": [256, 0]},
    {"id": 4, "type": "BinaryOperator", "values": {"op_name": "minimum"}, "position": [512, 128]},
    {"id": 5, "type": "Shell", "position": [768, 0]},
    {"id": 6, "type": "PositionVec3", "position": [0, 0]}],
  "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [3, 0], "to": [4, 0]}, {"from": [2, 0], "to": [4, 1]}],
  "output": [4, 0]})";

/// A canvas off screen with a document, and what a user does to it.
class CanvasTest : public ::testing::Test {
protected:
    using Ids = std::vector<std::uint16_t>;

    static void SetUpTestSuite()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "workbench_canvas_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
        zrkui::ZRKCSSStyle::light().apply(*qApp);
    }
    static void TearDownTestSuite() { application.reset(); } // it needs what Qt takes away at the end

    void open(const std::string& text = kGraph, bool hasThumbnails = false)
    {
        zrkmodel::DocumentWarnings warnings;
        auto document = zrkmodel::GraphDocument::parse(text, "test.zrk.json", warnings);
        ASSERT_TRUE(document) << zrk::messageOf(document.error());
        canvas.reset();
        session = std::make_unique<zrkmodel::EditSession>(std::move(*document));
        said.clear();
        canvas = std::make_unique<Canvas>();
        canvas->setThumbnailsShown(hasThumbnails);
        canvas->resize(1100, 700);
        canvas->onSaid([this](const QString& words, bool) { said.push_back(words.toStdString()); });
        canvas->setSession(session.get());
        canvas->show();
        canvas->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(canvas.get()));
        canvas->setFocus();
    }
    void SetUp() override { open(); }
    void TearDown() override { canvas.reset(); }

    static inline std::unique_ptr<QApplication> application;
    std::unique_ptr<zrkmodel::EditSession> session;
    std::unique_ptr<Canvas> canvas;
    std::vector<std::string> said;

    static zrkmodel::Pin_handle in(std::uint16_t node, std::uint8_t pin)
    {
        return zrkmodel::Pin_handle::input(node, pin);
    }
    static zrkmodel::Pin_handle out(std::uint16_t node, std::uint8_t pin)
    {
        return zrkmodel::Pin_handle::output(node, pin);
    }

    std::string text() const { return session->document().toText(); }
    std::size_t steps() const { return session->history().doneCount(); }
    const zrkmodel::ZRKGraph& graph() const { return *session->document().graph(); }
    /// What an input is linked to, such as "3.0"; empty for nothing.
    std::string source(std::uint16_t node, std::uint8_t pin) const
    {
        const auto from = graph().upstream(in(node, pin)).handle;
        return from.isValid() ? std::to_string(from.node()) + "." + std::to_string(from.index()) : "";
    }
    std::string place(std::uint16_t node)
    {
        const QPointF at = canvas->node(node)->pos();
        return std::to_string(static_cast<int>(at.x())) + " " + std::to_string(static_cast<int>(at.y()));
    }

    QWidget* pane() const { return canvas->viewport(); }
    QPoint header(std::uint16_t node) const { return canvas->nodeRect(node).topLeft() + QPoint(60, 10); }
    QPoint body(std::uint16_t node) const { return canvas->nodeRect(node).center() + QPoint(0, 8); }
    void click(const QPoint& at, Qt::KeyboardModifiers keys = {}) const
    {
        QTest::mouseClick(pane(), Qt::LeftButton, keys, at);
    }
    void drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers keys = {},
              bool releases = true) const
    {
        QTest::mousePress(pane(), Qt::LeftButton, keys, from);
        for (int i = 1; i <= 5; ++i) {
            move(from + (to - from) * i / 5, keys);
        }
        if (releases) {
            QTest::mouseRelease(pane(), Qt::LeftButton, keys, to);
        }
    }
    /// A move with the button down and modifiers, which QTest::mouseMove lacks.
    void move(const QPoint& to, Qt::KeyboardModifiers keys = {}) const
    {
        QMouseEvent event(QEvent::MouseMove, to, pane()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, keys);
        QApplication::sendEvent(pane(), &event);
    }
    void key(int which, Qt::KeyboardModifiers keys = {}) const
    {
        canvas->sync();
        QTest::keyClick(canvas.get(), static_cast<Qt::Key>(which), keys);
    }
    void trigger(const char* name) const
    {
        canvas->sync();
        canvas->action(name)->trigger();
    }
    /// So many units of the scene in pixels.
    int px(double units) const
    {
        return static_cast<int>(
            std::lround(units * canvas->nodeRect(1).width() / canvas->node(1)->size().width()));
    }
    /// Where a place of the scene is in the viewport.
    QPoint seen(const QPointF& scene) const
    {
        const QPointF off = scene - canvas->node(1)->pos();
        return canvas->nodeRect(1).topLeft() + QPoint(px(off.x()), px(off.y()));
    }
    QLineEdit* nameBox() const { return canvas->findChild<QLineEdit*>({}, Qt::FindDirectChildrenOnly); }
    /// Chooses the first type that the open search finds for some words.
    void choose(const char* words) const
    {
        ASSERT_TRUE(canvas->searchPopup()->isVisible());
        QTest::keyClicks(canvas->searchPopup()->box(), words);
        QTest::keyClick(canvas->searchPopup()->box(), Qt::Key_Return);
    }
    std::string lastType() const { return graph().nodes().back()->object->typeInfo().name; }
};

} // namespace zrkworkbench
