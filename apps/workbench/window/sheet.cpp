#include "apps/workbench/window/sheet.h"

namespace zrkworkbench {

QString windowSheet()
{
    return R"(
QMainWindow::separator { background: {panel}; width: 4u; height: 4u; }
QMainWindow::separator:hover { background: {accentFill}; }
QDockWidget { titlebar-close-icon: none; titlebar-normal-icon: none; }
QDockWidget::title { background: {bar}; padding: 4u 12u; }
QDockWidget > QWidget { background: {panel}; }
#Library, #Inspector, #ProblemsPane, #ExamplesPane { background: {panel}; }
#Inspector, #ProblemsPane, #ExamplesPane { border-top: 1px solid {paneLine}; }
#TopBar QMenuBar { background: transparent; }
#TopBar QMenuBar::item { padding: 5u 9u; border-radius: 5u; }
#Library QTreeView, #ProblemsPane QListView, #ExamplesPane QListView { background: transparent; border: none;
    outline: none; }
#Library QTreeView::item, #ProblemsPane QListView::item, #ExamplesPane QListView::item, #SearchList::item {
    border: none; background: transparent; }
#Library QTreeView::branch { background: transparent; }
QStatusBar { background: {bar}; border-top: 1px solid {paneLine}; }
QStatusBar::item { border: none; }
#TopBar QToolButton, #Inspector QToolButton, #ProblemsPane QToolButton, #ExamplesPane QToolButton {
    background: transparent; border: none; border-radius: 6u; padding: 4u; }
#TopBar QToolButton:hover, #Inspector QToolButton:hover, #ProblemsPane QToolButton:hover,
#ExamplesPane QToolButton:hover { background: {paneLine}; }
#TopBar QToolButton:focus, #Inspector QToolButton:focus, #ProblemsPane QToolButton:focus,
#ExamplesPane QToolButton:focus { border: 2px solid {accent}; padding: 2u; }
#Inspector QToolButton#Link { color: {link}; font-weight: 500; padding: 4u 6u; }
#Inspector QToolButton#Link:hover { background: transparent; text-decoration: underline; }
QLineEdit#SearchBox { min-height: 26u; max-height: 26u; border-radius: 6u; }
QLineEdit#SearchBox:focus { min-height: 24u; max-height: 24u; }
QListView#SearchList { background: {popup}; border: 1px solid {edge}; border-radius: 8u; padding: 4u 0; }
QLineEdit#NodeName { background: transparent; border: 1px solid transparent; padding: 0 3u; margin-left: -6px;
    min-height: 20u; max-height: 20u; }
QLineEdit#NodeName:hover { border-color: {edge}; }
QLineEdit#NodeName:focus { background: {field}; border: 2px solid {accent}; padding: 0 2u;
    min-height: 18u; max-height: 18u; }
QFrame#Line { background: {paneLine}; border: none; }
QLabel#OverriddenValue { background: {fieldOverridden}; border: 1px solid {paneLine}; border-radius: 4u;
    padding: 0 6u; }
QFrame#Notice { background: {accentFill}; border: none; border-bottom: 1px solid {paneLine}; }
QTextBrowser { background: {panel}; }
)";
}

} // namespace zrkworkbench
