#include "apps/workbench/tests/window_fixture.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <utility>
namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

/// A window and hands that know nothing of what is behind it.
class WindowInUse : public WindowTest {
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

} // namespace
} // namespace zrkworkbench
