#include "apps/workbench/canvas/search_popup.h"
#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/tests/window_fixture.h"
#include "formats/part.h"
#include "testing/source_folder.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

class ByHand : public WindowByHand {
protected:
    void SetUp() override
    {
        WindowByHand::SetUp();
        window->newDocument();
    }

    Canvas& canvas() { return window->canvas(); }
    QWidget& pane() { return *window->canvas().viewport(); }
    void click(const QPoint& at) { QTest::mouseClick(&pane(), Qt::LeftButton, {}, at); }
    void drag(const QPoint& from, const QPoint& to)
    {
        QTest::mousePress(&pane(), Qt::LeftButton, {}, from);
        for (int i = 1; i <= 4; ++i) {
            const QPoint at = from + (to - from) * i / 4;
            QMouseEvent move(QEvent::MouseMove, at, pane().mapToGlobal(at), Qt::NoButton, Qt::LeftButton, {});
            QApplication::sendEvent(&pane(), &move);
        }
        QTest::mouseRelease(&pane(), Qt::LeftButton, {}, to);
        QCoreApplication::processEvents();
    }

    std::uint16_t newest() { return window->document()->graph()->nodes().back()->id; }
    /// A double click on empty canvas, the name of a type, Enter.
    std::uint16_t add(const QPoint& at, const char* words)
    {
        QTest::mouseDClick(&pane(), Qt::LeftButton, {}, at);
        QTest::mouseRelease(&pane(), Qt::LeftButton, {}, at);
        write(words);
        key(Qt::Key_Return);
        return newest();
    }
    void link(std::uint16_t from, std::uint16_t to, std::uint8_t input)
    {
        drag(canvas().pinPoint(Pin_handle::output(from, 0)), canvas().pinPoint(Pin_handle::input(to, input)));
    }
    /// A click on the node, a double click into the field, a number, Enter.
    void setNumber(std::uint16_t node, const char* property, const char* number)
    {
        click(canvas().nodeRect(node).topLeft() + QPoint(60, 12));
        zrkui::NumberField* field = fieldOf(*window, property);
        ASSERT_NE(field, nullptr) << property;
        auto* line = field->findChild<QLineEdit*>();
        QTest::mouseClick(line, Qt::LeftButton, {}, line->rect().center());
        QTest::keyClick(line, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(line, number);
        QTest::keyClick(line, Qt::Key_Return);
        QCoreApplication::processEvents();
    }
};

/// What a document computes: types, values, links and output, without places and ids' order.
ZRKJson meaningOf(const GraphDocument& document)
{
    const ZRKJson whole = ZRKJson::parse(document.toText());
    ZRKJson meaning{{"context", whole["context"]}, {"nodes", ZRKJson::object()}, {"links", ZRKJson::array()}};
    std::map<int, std::string> types;
    for (const ZRKJson& node : whole["nodes"]) {
        types[node["id"]] = node["type"];
        meaning["nodes"][node["type"].get<std::string>()] = node["values"];
    }
    for (const ZRKJson& link : whole["links"]) {
        meaning["links"].push_back(
            {types[link["from"][0]], link["from"][1], types[link["to"][0]], link["to"][1]});
    }
    std::sort(meaning["links"].begin(), meaning["links"].end());
    meaning["output"] = {types[whole["output"][0]], whole["output"][1]};
    return meaning;
}

// All that the README's picture needs, then half of it undone, done again, and the part exported.
TEST_F(ByHand, BuildsTheReadmesPictureAndExportsIt)
{
    // A wire that is dropped on empty canvas brings the next node linked.
    const std::uint16_t twist = add({80, 180}, "twist");
    EXPECT_NEAR(canvas().nodeRect(twist).x(), 80, 16) << "it is where it was asked for";
    drag(canvas().pinPoint(Pin_handle::output(twist, 0)), {330, 200});
    ASSERT_TRUE(canvas().searchPopup()->isVisible());
    write("gyroid");
    key(Qt::Key_Return);
    const std::uint16_t gyroid = newest();
    const std::uint16_t sphere = add({330, 420}, "sphere");
    const std::uint16_t both = add({580, 300}, "union");
    link(sphere, both, 0);
    link(gyroid, both, 1);
    setNumber(twist, "angle", "60");
    setNumber(gyroid, "contour", "-1/2");
    setNumber(sphere, "radius", "0.8");
    click(canvas().nodeRect(both).topLeft() + QPoint(60, 12));
    auto* operation = window->panel()->findChild<QComboBox*>();
    ASSERT_NE(operation, nullptr);
    operation->setFocus();
    QTest::keyClicks(operation, "min");
    canvas().setFocus();
    key(Qt::Key_O);

    DocumentWarnings warnings;
    const GraphDocument readme = zrk::valueOrThrow(GraphDocument::load(
        (zrktest::sourceFolder() / "examples/sphere_and_twisted_gyroid.zrk.json").string(), warnings));
    EXPECT_EQ(meaningOf(*window->document()).dump(1), meaningOf(readme).dump(1));
    settle(*window);
    const std::string built = window->document()->toText();

    const std::size_t steps = window->session()->history().doneCount();
    EXPECT_GE(steps, 10u);
    EXPECT_LE(steps, 14u) << "each thing that was done is one step";
    for (std::size_t i = 0; i < steps / 2; ++i) {
        key(Qt::Key_Z, Qt::ControlModifier);
    }
    EXPECT_EQ(window->session()->history().doneCount(), steps - steps / 2);
    EXPECT_NE(window->document()->toText(), built);
    for (std::size_t i = 0; i < steps / 2; ++i) {
        key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    }
    EXPECT_EQ(window->document()->toText(), built);

    key(Qt::Key_E, Qt::ControlModifier);
    auto* dialog = shown<ExportDialog>();
    ASSERT_NE(dialog, nullptr);
    dialog->activateWindow();
    auto* file = dialog->findChild<QLineEdit*>();
    file->setFocus();
    QTest::keyClick(file, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(file, QString::fromStdString(path("part.3mf")));
    QTest::keyClick(file, Qt::Key_Return);
    const auto isExported = [&] { return window->message().find("triangles") != std::string::npos; };
    EXPECT_TRUE(QTest::qWaitFor(isExported, 60000)) << window->message();
    const zrk::FileMesh part = zrk::valueOrThrow(zrk::readMesh(path("part.3mf")));
    EXPECT_GT(part.triangles.size(), 50000u);
    for (const auto& p : part.vertices) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            ASSERT_LE(std::abs(p[axis]), 1.5 + 1e-9);
        }
    }
}

TEST_F(ByHand, TheBoundsAndTheUnitAreTheDocuments)
{
    add({200, 200}, "sphere");
    click({40, 500}); // on empty canvas
    QWidget* panel = window->inspector().findChild<QWidget*>("DocumentPanel");
    ASSERT_NE(panel, nullptr);
    ASSERT_TRUE(panel->isVisible());
    const auto fields = panel->findChildren<zrkui::NumberField*>();
    ASSERT_EQ(fields.size(), 6);
    const auto enter = [&](int i, const char* number) {
        auto* line = fields[i]->findChild<QLineEdit*>();
        line->setFocus();
        line->selectAll();
        QTest::keyClicks(line, number);
        QTest::keyClick(line, Qt::Key_Return);
        QCoreApplication::processEvents();
    };
    const auto bounds = [&] { return window->document()->samplingBounds(); };
    EXPECT_EQ(bounds().min[0], -1.5) << "as `zrk new` begins";
    const std::size_t steps = window->session()->history().doneCount();
    enter(0, "-2");
    EXPECT_EQ(bounds().min[0], -2);
    EXPECT_EQ(bounds().max[2], 1.5);
    EXPECT_EQ(window->session()->history().doneCount(), steps + 1);
    enter(3, "-3");
    EXPECT_EQ(bounds().max[0], 1.5) << "no room would be left";
    EXPECT_EQ(fields[3]->exact(), 1.5);
    EXPECT_EQ(window->session()->history().doneCount(), steps + 1);
    bool isTold = false;
    for (const auto* label : panel->findChildren<QLabel*>()) {
        isTold = isTold || (label->isVisible() && label->text().contains("x must lie above"));
    }
    EXPECT_TRUE(isTold);
    auto* unit = panel->findChild<QComboBox*>();
    unit->setFocus();
    QTest::keyClicks(unit, "milli");
    EXPECT_EQ(window->document()->unit(), "mm");
    window->command("Undo Set unit")->trigger();
    window->command("Undo Set the bounds")->trigger();
    EXPECT_EQ(fields[0]->exact(), -1.5) << "the panel follows";
    EXPECT_EQ(unit->currentIndex(), 0);
    ASSERT_TRUE(window->select(newest()));
    EXPECT_FALSE(panel->isVisible());
    window->command("Bounds and unit")->trigger();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_TRUE(panel->isAncestorOf(QApplication::focusWidget()));
}

} // namespace
} // namespace zrkworkbench
