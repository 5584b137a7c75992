#include "apps/workbench/canvas/search_popup.h"
#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/quick_search.h"
#include "apps/workbench/window/top_bar.h"

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QFileDialog>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;
using ::testing::Not;

class WindowInUse : public WindowByHand {
protected:
    /// What the notices say that are seen.
    std::string noticed() const
    {
        std::string all;
        for (const auto* label : window->notices().findChildren<QLabel*>()) {
            all += label->isVisible() ? label->text().toStdString() + "\n" : std::string();
        }
        return all;
    }
};

// "x" becomes x.zrk.json: that is what must not be lost.
TEST_F(WindowInUse, SaveAsAsksBeforeTheWholeNameIsWrittenOver)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    put("x.zrk.json", "precious");
    QString asked;
    QTimer namer;
    QObject::connect(&namer, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog && asked.contains("x.zrk.json")) {
            dialog->reject();
        } else if (dialog) { // which may have taken up its own proposal meanwhile
            auto* line = dialog->findChild<QLineEdit*>("fileNameEdit");
            line->setText(QString::fromStdString(path("x")));
            QTest::keyClick(line, Qt::Key_Return); // which may wait for the answer
        }
    });
    QTimer answerer;
    QObject::connect(&answerer, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            asked = box->text();
            box->button(QMessageBox::No)->click();
        }
    });
    namer.start(50);
    answerer.start(20);
    window->command("Save as")->trigger();
    EXPECT_THAT(asked.toStdString(), HasSubstr("x.zrk.json"));
    EXPECT_EQ(content("x.zrk.json"), "precious");
    EXPECT_EQ(window->session()->path(), path("a.zrk.json"));
}

TEST_F(WindowInUse, WhatIsBeingTypedIsSavedToo)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    const auto typeRadius = [&](const char* number) {
        ASSERT_TRUE(window->select(1));
        auto* line = fieldOf(*window, "radius")->findChild<QLineEdit*>();
        line->setFocus();
        line->selectAll();
        write(number); // and no Enter
    };
    const auto saved = [&] { return ZRKJson::parse(content("a.zrk.json"))["nodes"][0]; };
    typeRadius("0.75");
    key(Qt::Key_S, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->isSaving(); }, 5000));
    EXPECT_EQ(saved()["values"]["radius"], 0.75);
    EXPECT_TRUE(window->panel()->isAncestorOf(QApplication::focusWidget())) << "one can go on typing";

    window->canvas().setFocus();
    key(Qt::Key_F2);
    write("Ball");
    key(Qt::Key_S, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->isSaving(); }, 5000));
    EXPECT_EQ(saved()["label"], "Ball");

    typeRadius("0.875");
    bool isAsked = false;
    QTimer user;
    QObject::connect(&user, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            isAsked = true;
            box->button(QMessageBox::Save)->click();
        }
    });
    user.start(20);
    EXPECT_TRUE(window->close());
    EXPECT_TRUE(isAsked);
    EXPECT_EQ(saved()["values"]["radius"], 0.875);
}

TEST_F(WindowInUse, TheSearchGivesTheKeyboardBack)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    ASSERT_TRUE(window->select(1));
    QWidget* field = fieldOf(*window, "radius");
    field->setFocus();
    QWidget* before = QApplication::focusWidget();
    key(Qt::Key_K, Qt::ControlModifier);
    ASSERT_EQ(QApplication::focusWidget(), window->topBar().search());
    write("qqqq");
    const QListView* list = window->topBar().search()->list();
    ASSERT_TRUE(list->isVisible()) << "it says that nothing is called that";
    EXPECT_THAT(list->model()->index(0, 0).data().toString().toStdString(), HasSubstr("Nothing"));
    key(Qt::Key_Return);
    EXPECT_EQ(QApplication::focusWidget(), window->topBar().search()) << "one can mend the words";
    key(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), before);
    EXPECT_FALSE(list->isVisible());

    key(Qt::Key_K, Qt::ControlModifier);
    write("Gyroid");
    key(Qt::Key_Return);
    key(Qt::Key_O); // what was added is at hand
    ASSERT_TRUE(window->document()->output());
    EXPECT_EQ(window->document()->output()->node, window->document()->graph()->nodes().back()->id);
    key(Qt::Key_K, Qt::ControlModifier);
    write("Multiply");
    key(Qt::Key_Return);
    key(Qt::Key_O);
    EXPECT_EQ(window->document()->output()->node, 2);
}

TEST_F(WindowInUse, AStartWithADocumentThatCantBeReadBeginsANewOne)
{
    window->startOpening({path("none.zrk.json")}); // as the program does with the name it is given
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window->message().empty(); }, 5000));
    EXPECT_THAT(window->message(), HasSubstr("none.zrk.json"));
    window->canvas().setFocus();
    key(Qt::Key_Tab);
    ASSERT_TRUE(window->canvas().searchPopup()->isVisible());
    write("sphere");
    key(Qt::Key_Return);
    ASSERT_NE(window->document(), nullptr);
    EXPECT_EQ(window->document()->graph()->nodes().size(), 1u);
    EXPECT_EQ(window->session()->path(), "") << "saving asks for a name";
    EXPECT_EQ(window->problems().of(ProblemList::Source::Loading).size(), 1u);
}

TEST_F(WindowInUse, StoppingTheFirstDocumentBeginsANewOne)
{
    std::string nodes;
    for (int i = 1; i <= 30000; ++i) {
        nodes +=
            (i > 1 ? "," : "") + std::string(R"({"id": )") + std::to_string(i) + R"(, "type": "SphereSDF"})";
    }
    put("large.zrk.json", R"({"zrkGraph": 1, "nodes": [)" + nodes + "]}");
    window->startOpening({path("large.zrk.json")});
    ASSERT_TRUE(press(*window, "Stop"));
    ASSERT_NE(window->document(), nullptr);
    EXPECT_TRUE(window->document()->graph()->nodes().empty());
    window->canvas().setFocus();
    key(Qt::Key_Tab);
    EXPECT_TRUE(window->canvas().searchPopup()->isVisible());
}

// Qt runs neither of two commands that a key would both mean.
TEST_F(WindowInUse, NoTwoCommandsShareAKey)
{
    std::map<QString, QString> owners;
    for (const QAction* action : window->findChildren<QAction*>()) {
        for (const QKeySequence& keys : action->shortcuts()) {
            const auto [owner, isNew] = owners.emplace(keys.toString(), action->text());
            EXPECT_TRUE(isNew || owner->second == action->text())
                << keys.toString().toStdString() << ": " << owner->second.toStdString() << ", "
                << action->text().toStdString();
        }
    }
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    window->canvas().setFocus();
    key(Qt::Key_T, Qt::ControlModifier);
    EXPECT_TRUE(window->library().isAncestorOf(QApplication::focusWidget()));
}

TEST_F(WindowInUse, ARefusedDocumentTellsWhereItIsWrong)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    put("bad.zrk.json", "{\"zrkGraph\": 1,\n\"nodes\": [}");
    EXPECT_FALSE(window->open(path("bad.zrk.json")));
    EXPECT_THAT(noticed(), HasSubstr("bad.zrk.json can't be opened: line 2, column 11: "));
    put("bad.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Ball"}]})");
    EXPECT_FALSE(window->open(path("bad.zrk.json")));
    EXPECT_THAT(noticed(), HasSubstr("nodes[0]"));
}

TEST_F(WindowInUse, OfAFileOnlyTheNewestIsTold)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    ASSERT_TRUE(window->session()->setLabel(1, "Ball"));
    const auto isTold = [&](const char* words) {
        return QTest::qWaitFor([&] { return noticed().find(words) != std::string::npos; }, 5000);
    };
    std::filesystem::remove(path("a.zrk.json"));
    ASSERT_TRUE(isTold("no longer in its folder"));
    put("a.zrk.json", R"({"zrkGraph": 1})");
    ASSERT_TRUE(isTold("and here too"));
    EXPECT_THAT(noticed(), Not(HasSubstr("no longer in its folder")));
    std::filesystem::remove(path("a.zrk.json"));
    ASSERT_TRUE(isTold("no longer in its folder"));
    EXPECT_THAT(noticed(), Not(HasSubstr("and here too")));
}

TEST_F(WindowInUse, WhatIsBeingTypedIsntLostToAFileThatChanges)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    ASSERT_TRUE(window->select(1));
    auto* line = fieldOf(*window, "radius")->findChild<QLineEdit*>();
    line->setFocus();
    line->selectAll();
    write("0.75");
    put("a.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}]})");
    EXPECT_TRUE(QTest::qWaitFor([&] { return noticed().find("and here too") != std::string::npos; }, 5000));
    EXPECT_EQ(radiusOf(*window), 0.75);
}

TEST_F(WindowInUse, TheManualIsOpenedAndClosedByKeys)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    ASSERT_TRUE(window->select(1));
    key(Qt::Key_F1);
    QPointer<QWidget> manual;
    for (QWidget* shown : QApplication::topLevelWidgets()) {
        manual = shown->isVisible() && shown->windowTitle().startsWith("Manual") ? shown : manual.data();
    }
    ASSERT_TRUE(manual);
    EXPECT_EQ(manual->windowTitle(), "Manual: Sphere");
    manual->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(manual));
    key(Qt::Key_Escape);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !manual || !manual->isVisible(); }, 1000));
}

TEST_F(WindowInUse, AnExportTellsWhatItWritesOverAndIsOfItsDocument)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    put("part.stl", "former");
    put("b.zrk.json", kWindowDocument); // with the same nodes
    window->command("Surface")->trigger();
    auto* dialog = shown<ExportDialog>();
    ASSERT_NE(dialog, nullptr);
    const auto isTold = [&] {
        bool isThere = false;
        for (const auto* label : dialog->findChildren<QLabel*>()) {
            isThere = isThere || (label->isVisible() && label->text().contains("written over"));
        }
        return isThere;
    };
    auto* file = dialog->findChild<QLineEdit*>();
    EXPECT_FALSE(isTold());
    file->setText(QString::fromStdString(path("part.stl")));
    EXPECT_TRUE(isTold());
    file->setText(QString::fromStdString(path("part2.stl")));
    EXPECT_FALSE(isTold());

    ASSERT_TRUE(window->open(path("b.zrk.json")));
    QTest::keyClick(file, Qt::Key_Return);
    EXPECT_THAT(dialog->problem().toStdString(), HasSubstr("another document"));
    EXPECT_FALSE(window->exports().isRunning());
    dialog->close();

    for (int i = 0; i < 2; ++i) { // those without a file have the same name
        window->newDocument();
        window->canvas().addNodeAtCentre("ZRKSphereSDF");
        if (i == 0) {
            window->command("Surface")->trigger();
        }
    }
    dialog = shown<ExportDialog>();
    ASSERT_NE(dialog, nullptr);
    QTest::keyClick(dialog->findChild<QLineEdit*>(), Qt::Key_Return);
    EXPECT_THAT(dialog->problem().toStdString(), HasSubstr("another document"));
    dialog->close();
}

TEST_F(WindowInUse, EntriesOfAMenuHaveLettersOfTheirOwn)
{
    const std::function<void(const QMenu&)> look = [&](const QMenu& menu) {
        std::map<QChar, std::string> owners;
        for (const QAction* entry : menu.actions()) {
            const QString text = entry->text();
            const auto at = text.indexOf('&');
            if (at >= 0) {
                const auto [owner, isNew] = owners.emplace(text[at + 1].toLower(), text.toStdString());
                EXPECT_TRUE(isNew) << owner->second << ", " << text.toStdString();
            }
            if (entry->menu()) {
                look(*entry->menu());
            }
        }
    };
    for (const QAction* menu : window->topBar().menus()->actions()) {
        look(*menu->menu());
    }
}

TEST_F(WindowInUse, WhereNothingIsShownNothingIsNamed)
{
    ASSERT_TRUE(window->open(path("a.zrk.json")));
    settle(*window);
    const auto isSaid = [&](const char* words) {
        for (const auto* each : window->findChildren<QWidget*>()) {
            const auto* label = qobject_cast<const QLabel*>(each);
            if (each->isVisible() &&
                (each->accessibleName() + (label ? label->text() : QString())).contains(words)) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(isSaid("output that is shown: Multiply"));
    EXPECT_TRUE(isSaid("ms"));
    window->canvas().action("select-all")->trigger();
    window->canvas().action("delete")->trigger();
    settle(*window);
    EXPECT_TRUE(isSaid("output that is shown: nothing"));
    EXPECT_FALSE(isSaid(" ms")) << "of a picture that is gone";
}

TEST_F(WindowInUse, APaneThatFloatsCanBeMoved)
{
    window.reset();
    const auto opened = [] {
        auto made = std::make_unique<Window>(WindowSettings{.keepsSettings = true});
        made->newDocument();
        made->show();
        QCoreApplication::processEvents();
        return made;
    };
    const auto hasBar = [&] { return !window->findChild<QDockWidget*>("View")->titleBarWidget(); };
    window = opened();
    EXPECT_FALSE(hasBar()) << "docked panes have none, so that they look as one window";
    window->findChild<QDockWidget*>("View")->setFloating(true);
    QCoreApplication::processEvents();
    EXPECT_TRUE(hasBar());
    EXPECT_TRUE(window->close());
    window = opened();
    EXPECT_TRUE(window->findChild<QDockWidget*>("View")->isFloating());
    EXPECT_TRUE(hasBar()) << "after the next start, too";
    window->findChild<QDockWidget*>("View")->setFloating(false);
    QCoreApplication::processEvents();
    EXPECT_FALSE(hasBar());
}

} // namespace
} // namespace zrkworkbench
