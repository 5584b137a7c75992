#include "apps/workbench/window/window.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icons.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/document_panel.h"
#include "apps/workbench/window/examples_pane.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/quick_search.h"
#include "apps/workbench/window/sheet.h"
#include "apps/workbench/window/top_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "inspectors/css_style.h"
#include "model/graph_object.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QSettings>

namespace zrkworkbench {

using zrkui::ZRKCSSStyle;

namespace {

/// The text of a menu's entry as one says it: without the mark of its key, and without dots.
QString plainText(QString text)
{
    text.remove('&');
    while (text.endsWith('.') || text.endsWith(QChar(0x2026))) {
        text.chop(1);
    }
    return text;
}

void collect(const QMenu& menu, QList<QAction*>& into)
{
    for (QAction* action : menu.actions()) {
        if (action->menu()) {
            collect(*action->menu(), into);
        } else if (!action->isSeparator()) {
            into << action;
        }
    }
}

} // namespace

QAction* Window::addCommand(QMenu* menu, const QString& text, const QKeySequence& keys,
                            const QString& iconName, std::function<void()> run)
{
    auto* action = new QAction(text, this);
    action->setShortcut(keys);
    if (!iconName.isEmpty()) {
        action->setIcon(icon(iconName));
    }
    action->setToolTip(plainText(text));
    connect(action, &QAction::triggered, this, std::move(run));
    menu->addAction(action);
    return action;
}

QAction* Window::command(const QString& text) const
{
    QList<QAction*> all;
    for (QAction* menu : _top->menus()->actions()) {
        collect(*menu->menu(), all);
    }
    for (QAction* action : all) {
        if (plainText(action->text()) == text) {
            return action;
        }
    }
    return nullptr;
}

void Window::addMenus()
{
    addFileMenu();
    addEditMenu();
    addAddMenu();
    addViewMenu();
    addHelpMenu();
    _top->addButton(_undo);
    _top->addButton(_redo);
    for (QAction* action : _docCommands) {
        action->setEnabled(false);
    }
    auto* find = new QAction("Find", this);
    find->setShortcut(QKeySequence("Ctrl+K"));
    connect(find, &QAction::triggered, this, [this] { _top->search()->setFocus(Qt::ShortcutFocusReason); });
    addAction(find);

    _top->search()->onGather([this] {
        std::vector<Finding> all;
        if (_session) {
            for (const auto& node : _session->document().graph()->nodes()) {
                const auto* type = typeOf(*_session, node->id);
                Finding finding;
                finding.title = nameOf(*_session, node->id);
                finding.kind = "node";
                finding.words = QString("node %1 ").arg(node->id) + (type ? type->strings.title : "") + " " +
                                QString::fromStdString(type ? type->className : "");
                finding.icon = iconNameOf(type);
                finding.color = ZRKCSSStyle::current().color(familyOf(type).role);
                finding.run = [this, id = node->id] {
                    select(id);
                    _canvas->setFocus();
                };
                all.push_back(std::move(finding));
            }
        }
        for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
            Finding finding;
            finding.title = type.strings.title;
            finding.kind = "add";
            finding.words =
                QString("add %1 %2").arg(QString::fromStdString(type.className), type.strings.description);
            finding.icon = iconNameOf(&type);
            finding.color = ZRKCSSStyle::current().color(familyOf(type).role);
            finding.run = [this, name = type.className] {
                _canvas->addNodeAtCentre(name);
                _canvas->setFocus();
            };
            all.push_back(finding);
            finding.title = QString("Manual: ") + type.strings.title;
            finding.kind = "page";
            finding.icon = "manual";
            finding.color = QColor();
            finding.run = [this, name = type.className] { showManual(name); };
            all.push_back(std::move(finding));
        }
        for (QAction* top : _top->menus()->actions()) {
            QList<QAction*> actions;
            collect(*top->menu(), actions);
            for (QAction* action : actions) {
                if (action->isEnabled() && plainText(top->text()) != "Add") {
                    Finding finding;
                    finding.title = plainText(action->text());
                    finding.kind = "command";
                    finding.words = plainText(top->text()) + " " + action->toolTip();
                    finding.keys = action->shortcut().toString(QKeySequence::NativeText);
                    finding.run = [action] { action->trigger(); };
                    all.push_back(std::move(finding));
                }
            }
        }
        return all;
    });
}

void Window::addFileMenu()
{
    QMenu* file = _top->menus()->addMenu("&File");
    addCommand(file, "&New", QKeySequence::New, "new", [this] {
        if (mayDiscard()) {
            newDocument();
        }
    });
    addCommand(file, "&Open...", QKeySequence::Open, "open", [this] { askAndOpen(); });
    _recent = file->addMenu("Open &recent");
    connect(_recent, &QMenu::aboutToShow, this, [this] { fillRecent(); });
    addCommand(file, "Exa&mples", {}, "", [this] { _examplesDock->show(); });
    file->addSeparator();
    _save = addCommand(file, "&Save", QKeySequence::Save, "save", [this] {
        takeEntry();
        startSaving();
    });
    _docCommands.push_back(
        addCommand(file, "Save &as...", QKeySequence::SaveAs, "", [this] { startSavingAs(); }));
    file->addSeparator();
    _docCommands.push_back(addCommand(file, "Add &files...", {}, "import", [this] { askAndAddFiles(); }));
    QMenu* exports = file->addMenu("&Export");
    exports->setIcon(icon("export"));
    const auto exporting = [&](const QString& text, ExportKind kind, const QKeySequence& keys = {}) {
        _docCommands.push_back(addCommand(exports, text, keys, "", [this, kind] { exportField(kind); }));
    };
    exporting("&Surface...", ExportKind::Surface, QKeySequence("Ctrl+E"));
    exporting("&Volume...", ExportKind::Volume);
    exporting("Picture of the s&lice...", ExportKind::Slice);
    exporting("Picture of the s&olid...", ExportKind::Solid);
    file->addSeparator();
    addCommand(file, "&Quit", QKeySequence::Quit, "", [this] { close(); });
}

void Window::fillRecent()
{
    _recent->clear();
    for (const QString& path : recentFiles()) {
        const QFileInfo file(path);
        QAction* action = _recent->addAction(QString("%1   %2").arg(file.fileName(), file.path()));
        connect(action, &QAction::triggered, this, [this, path] {
            if (mayDiscard()) {
                startOpening({path.toStdString()});
            }
        });
    }
    if (_recent->isEmpty()) {
        _recent->addAction("none yet")->setEnabled(false);
    }
}

void Window::addEditMenu()
{
    QMenu* edit = _top->menus()->addMenu("&Edit");
    const auto step = [this](zrk::Result<void> (zrkmodel::EditSession::*work)()) {
        if (_session) {
            const Doing doing("undoing or redoing");
            if (const auto done = ((*_session).*work)(); !done) {
                tell(done.error(), ProblemList::Source::Edit);
            }
        }
    };
    _undo =
        addCommand(edit, "Undo", QKeySequence::Undo, "undo", [step] { step(&zrkmodel::EditSession::undo); });
    _redo =
        addCommand(edit, "Redo", QKeySequence::Redo, "redo", [step] { step(&zrkmodel::EditSession::redo); });
    _redo->setShortcuts({QKeySequence("Ctrl+Shift+Z"), QKeySequence("Ctrl+Y")});
    _undo->setIconText("Undo");
    _redo->setIconText("Redo");
    edit->addSeparator();
    _canvas->addEditActions(*edit);
    edit->addSeparator();
    _docCommands.push_back(
        addCommand(edit, "Reset the &values", {}, "reset", [this] { _inspector->resetAll(); }));
    QAction* document = addCommand(edit, "Bound&s and unit", {}, "settings", [this] {
        _session->select({}); // the document's values stand where those of a node do
        _inspectorDock->show();
        _inspector->document().setFocus(Qt::ShortcutFocusReason);
    });
    document->setToolTip("shows the values of the document, as a click on empty canvas does");
    _docCommands.push_back(document);
    QAction* unused = addCommand(edit, "Re&move unused resources", {}, "delete", [this] {
        const auto removed = _session->removeUnusedResources();
        if (!removed) {
            tell(removed.error(), ProblemList::Source::Edit);
        } else {
            say(*removed == 0   ? QString("All resources are used")
                : *removed == 1 ? QString("1 resource that no node used is removed")
                                : QString("%1 resources that no node used are removed").arg(*removed),
                false);
        }
    });
    unused->setToolTip("takes pictures, volumes and geometries out of the document that no node uses");
    _docCommands.push_back(unused);
}

void Window::addAddMenu()
{
    QMenu* add = _top->menus()->addMenu("&Add");
    QAction* search = addCommand(add, "&Search...", {}, "search", [this] { _canvas->openSearch(); });
    search->setText("&Search...\tTab");
    _docCommands.push_back(search);
    addCommand(add, "&Types", QKeySequence("Ctrl+T"), "", [this] {
        _libraryDock->show();
        _library->focusFilter();
    });
    add->addSeparator();
    for (const Family& family : families()) {
        QMenu* menu = add->addMenu(family.title);
        for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
            if (&familyOf(type) == &family) {
                QAction* action = addCommand(menu, type.strings.title, {}, "", [this, name = type.className] {
                    _canvas->addNodeAtCentre(name);
                });
                action->setIcon(icon(iconNameOf(&type), family.role));
                action->setToolTip(type.strings.description);
                _docCommands.push_back(action);
            }
        }
    }
}

void Window::addViewMenu()
{
    QMenu* view = _top->menus()->addMenu("&View");
    view->addActions(_canvas->viewActions());
    view->addSeparator();
    for (QDockWidget* dock : {_libraryDock, _viewDock, _inspectorDock, _problemsDock, _examplesDock}) {
        QAction* action = dock->toggleViewAction();
        action->setToolTip("shows or hides " + action->text().toLower());
        view->addAction(action);
    }
    QAction* move = view->addAction("&Move panes");
    move->setCheckable(true);
    move->setToolTip("shows the panes' title bars, by which they are moved and made windows of their own");
    connect(move, &QAction::toggled, this, [this](bool areFree) { lockDocks(!areFree); });
    for (QDockWidget* dock : {_libraryDock, _viewDock, _inspectorDock, _problemsDock, _examplesDock}) {
        const auto follow = [this, move] { lockDocks(!move->isChecked()); };
        // Later, as a dock isn't to lose its title bar within its own drag.
        connect(dock, &QDockWidget::topLevelChanged, this, follow, Qt::QueuedConnection);
    }
    view->addSeparator();
    QMenu* palette = view->addMenu("&Palette");
    auto* group = new QActionGroup(this);
    for (const char* name : {"System", "Light", "Dark"}) {
        QAction* action = palette->addAction(name);
        action->setCheckable(true);
        action->setActionGroup(group);
        action->setChecked(_settings.palette == QString(name).toLower());
        connect(action, &QAction::triggered, this, [this, name] { usePalette(QString(name).toLower()); });
    }
    palette->addSeparator();
    QAction* contrast = palette->addAction("&High contrast");
    contrast->setCheckable(true);
    contrast->setToolTip("draws the edges of nodes and fields darker, or lighter in the dark");
    connect(contrast, &QAction::toggled, this, [this](bool isOn) {
        ZRKCSSStyle::setHighContrast(isOn);
        useStyle(ZRKCSSStyle::current());
        if (_settings.keepsSettings) {
            QSettings().setValue("window/highContrast", isOn);
        }
    });
    contrast->setChecked(_settings.keepsSettings && QSettings().value("window/highContrast", false).toBool());
    connect(_view->sourceMenu(), &QMenu::aboutToShow, this, [this] { fillSources(); });
}

/// Without their title bars docks look as one window; with them they can be moved.
void Window::lockDocks(bool areLocked)
{
    for (QDockWidget* dock : {_libraryDock, _viewDock, _inspectorDock, _problemsDock, _examplesDock}) {
        if (areLocked && !dock->isFloating()) {
            if (!dock->titleBarWidget()) {
                dock->setTitleBarWidget(new QWidget(dock));
            }
        } else if (QWidget* bar = dock->titleBarWidget()) {
            dock->setTitleBarWidget(nullptr);
            bar->deleteLater();
        }
    }
}

void Window::usePalette(const QString& name)
{
    _followsSystem = name == "system";
    useStyle(name == "dark"    ? ZRKCSSStyle::dark()
             : name == "light" ? ZRKCSSStyle::light()
                               : ZRKCSSStyle::ofSystem());
    if (_settings.keepsSettings) {
        QSettings().setValue("window/palette", name);
    }
}

void Window::useStyle(const ZRKCSSStyle& style)
{
    const Doing doing("changing the style");
    const QScopedValueRollback own(_changesStyle, true);
    setUpdatesEnabled(false); // the widgets take it in now and are painted in a turn of their own
    style.apply(*qApp, windowSheet());
    _paintsAgain->start(0);
    showTitle();
    _canvas->viewport()->update();
}

/// Becomes light or dark where the system has.
void Window::followSystem()
{
    if (_changesStyle || !_followsSystem) {
        return;
    }
    const QScopedValueRollback own(_changesStyle, true); // asking changes the palette for a moment
    if (const ZRKCSSStyle& style = ZRKCSSStyle::ofSystem(); &style != &ZRKCSSStyle::current()) {
        useStyle(style);
    }
}

void Window::fillSources()
{
    QMenu* menu = _view->sourceMenu();
    menu->clear();
    if (!_session) {
        return;
    }
    const auto entry = [&](const QString& text, bool isOn, std::function<void()> run) {
        QAction* action = menu->addAction(text);
        action->setCheckable(true);
        action->setChecked(isOn);
        connect(action, &QAction::triggered, this, std::move(run));
        return action;
    };
    entry("The document's output", _follow == Follow::Output, [this] {
        setFollow(Follow::Output);
    })->setEnabled(_session->document().output().has_value());
    entry("The selected node", _follow == Follow::Selection, [this] { setFollow(Follow::Selection); });
    menu->addSeparator();
    for (const zrkmodel::OutputPin& pin : _session->document().outputPins()) {
        const bool isOn = _follow == Follow::Pinned && _pinned && _pinned->node == pin.address.node &&
                          _pinned->output == pin.address.output;
        entry(nameOf(*_session, pin.address), isOn,
              [this, address = pin.address] { setFollow(Follow::Pinned, address); });
    }
}

void Window::addHelpMenu()
{
    QMenu* help = _top->menus()->addMenu("&Help");
    addCommand(help, "&Manual page", QKeySequence("F1"), "manual", [this] {
        const auto* type =
            _session && _inspector->shownNode() ? typeOf(*_session, *_inspector->shownNode()) : nullptr;
        if (type) {
            showManual(type->className);
        } else {
            say("select a node to see its manual page", false);
        }
    });
    addCommand(help, "&Examples with pictures", {}, "", [this] { _examplesDock->show(); });
    addCommand(help, "&About", {}, "info", [this] {
        QMessageBox::about(this, "ZRK workbench",
                           "ZRK workbench " + QApplication::applicationVersion() +
                               "\n\nFields over space, built from a graph of nodes.");
    });
}

} // namespace zrkworkbench
