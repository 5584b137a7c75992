#include "apps/workbench/window.h"

#include "apps/workbench/views/view_pane.h"
#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/images.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <fmt/core.h>

#include <QAction>
#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollArea>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace zrkworkbench {

using zrkmodel::GraphDocument;
using zrkui::scaled;

namespace {

constexpr int kNodeRole = Qt::UserRole;
constexpr int kLeastPanel = 404; ///< width in pixels at scale 1
const char* const kFilter = "Graph documents (*.zrk.json);;All files (*)";

const zrkmodel::ZRKGraphObjectRegistration* registrationOf(const zrkmodel::ZRKGraphObject& object)
{
    const zrkmodel::ZRKTypeInfo& info = object.typeInfo();
    return zrkmodel::ZRKGraphObject::registry().find(info.uuid, info.name);
}

} // namespace

Window::Window()
    : _nodes(new QListWidget),
      _view(new ViewPane),
      _area(new QScrollArea),
      _title(new QLabel),
      _subtitle(new QLabel),
      _message(new QLabel),
      _refresh(new QTimer(this))
{
    auto* inspector = new QWidget;
    auto* column = new QVBoxLayout(inspector);
    const int margin = scaled(*this, 12);
    column->setContentsMargins(margin, margin, 0, 0);
    column->setSpacing(scaled(*this, 2));
    _title->setProperty("zrkRole", "title");
    _subtitle->setProperty("zrkRole", "second");
    column->addWidget(_title);
    column->addWidget(_subtitle);
    column->addSpacing(scaled(*this, 8));
    _area->setWidgetResizable(true);
    _area->setFocusPolicy(Qt::NoFocus);
    column->addWidget(_area, 1);

    auto* all = new QSplitter(Qt::Horizontal);
    _nodes->setAccessibleName("nodes of the document");
    _nodes->setIconSize(QSize(scaled(*this, 16), scaled(*this, 16)));
    all->setHandleWidth(1);
    all->setChildrenCollapsible(false);
    all->addWidget(_nodes);
    all->addWidget(_view);
    all->addWidget(inspector);
    all->setStretchFactor(1, 1);
    _area->setMinimumWidth(scaled(*this, kLeastPanel));
    _view->setMinimumWidth(scaled(*this, 240));
    all->setSizes({scaled(*this, 208), scaled(*this, 640), scaled(*this, 432)});
    setCentralWidget(all);
    statusBar()->addWidget(_message, 1);
    addMenus();

    _refresh->setSingleShot(true);
    connect(_refresh, &QTimer::timeout, this, [this] { requestSlice(); });
    connect(_nodes, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        if (item) {
            showPanel(static_cast<std::uint16_t>(item->data(kNodeRole).toUInt()));
        }
    });
    _workDone = zrkui::ZRKApp::ui().onWorkDone([this] { wantSlice(); });
    _view->onTimed([this](const ViewTiming& timing) {
        if (timing.isDone) {
            tell(fmt::format("{} {} x {} in {:.0f} ms, first {:.0f} ms, {:.1f} ns/sample",
                             timing.isSolid ? "solid" : "slice", timing.pixels.width(),
                             timing.pixels.height(), timing.milliseconds, timing.firstMilliseconds,
                             timing.nanosecondsPerSample),
                 false);
        }
    });
    _view->say("no document is open");
    resize(scaled(*this, 1280), scaled(*this, 800));
    showTitle();
}

Window::~Window()
{
    closePanel();
    zrkui::ZRKApp::ui().setDocument(nullptr);
}

void Window::addMenus()
{
    QMenu* file = menuBar()->addMenu("&File");
    const auto entry = [&](const char* text, QKeySequence::StandardKey key, auto&& action) {
        QAction* added = file->addAction(text);
        added->setShortcut(key);
        connect(added, &QAction::triggered, this, action);
    };
    entry("&Open...", QKeySequence::Open, [this] { askAndOpen(); });
    entry("&Save", QKeySequence::Save, [this] {
        if (_document) {
            save(_path);
        }
    });
    entry("Save &as...", QKeySequence::SaveAs, [this] { askAndSave(); });
    file->addSeparator();
    entry("&Quit", QKeySequence::Quit, [this] { close(); });
}

void Window::askAndOpen()
{
    if (!mayDiscard()) {
        return;
    }
    const QString path =
        QFileDialog::getOpenFileName(this, "Open", QFileInfo(QString::fromStdString(_path)).path(), kFilter);
    if (!path.isEmpty()) {
        open(path.toStdString());
    }
}

void Window::askAndSave()
{
    if (_document) {
        const QString path =
            QFileDialog::getSaveFileName(this, "Save as", QString::fromStdString(_path), kFilter);
        if (!path.isEmpty()) {
            save(path.toStdString());
        }
    }
}

bool Window::mayDiscard()
{
    if (!_isChanged) {
        return true;
    }
    const auto answer = QMessageBox::question(this, "Unsaved changes", "Save the changes of this document?",
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
    return answer == QMessageBox::Discard || (answer == QMessageBox::Save && save(_path));
}

void Window::closeEvent(QCloseEvent* event)
{
    if (mayDiscard()) {
        event->accept();
    } else {
        event->ignore();
    }
}

bool Window::open(const std::string& path)
{
    zrkmodel::DocumentWarnings warnings;
    std::optional<zrk::Result<GraphDocument>> document;
    zrkui::ZRKApp::ui().runLong("opening " + path, this, [&](zrk::ProgressMonitor& monitor) {
        document = GraphDocument::load(path, warnings, &monitor);
    });
    if (!*document) {
        tell(zrk::messageOf(document->error()), true);
        return false;
    }
    takeOver(std::move(**document), path);
    if (!warnings.empty()) {
        tell(zrk::messageOf(warnings.front()), true);
    }
    return true;
}

void Window::takeOver(GraphDocument document, const std::string& path)
{
    closePanel();
    _changes.clear();
    _document.emplace(std::move(document));
    _path = path;
    _isChanged = false;
    zrkui::ZRKApp::ui().setDocument(_document->resources().get());
    watch();
    fillNodes();
    showTitle();
    tell("", false);
}

void Window::watch()
{
    for (const auto& node : _document->graph()->nodes()) {
        _changes.emplace_back(node->object->addListener([this](const zrkmodel::ZRKEvent&) {
            _isChanged = true;
            showTitle();
            wantSlice();
        }));
    }
}

void Window::fillNodes()
{
    _nodes->clear();
    for (const auto& node : _document->graph()->nodes()) {
        const auto* registration = registrationOf(*node->object);
        const QString title =
            registration ? registration->strings.title : node->object->typeInfo().name.c_str();
        auto* item = new QListWidgetItem(QString::number(node->id) + "  " + title);
        item->setData(kNodeRole, node->id);
        _nodes->addItem(item);
    }
    if (_nodes->count() > 0) {
        _nodes->setCurrentRow(_nodes->count() - 1);
    } else {
        _view->say("the document has no nodes");
    }
}

bool Window::select(std::uint16_t node)
{
    for (int row = 0; row < _nodes->count(); ++row) {
        if (_nodes->item(row)->data(kNodeRole).toUInt() == node) {
            _nodes->setCurrentRow(row);
            return true;
        }
    }
    return false;
}

void Window::closePanel()
{
    if (_panel && _document && _shown) {
        if (const auto node = _document->graph()->getNodePtr(*_shown)) {
            node->object->onInspectionEnd(_panel);
        }
    }
    delete _area->takeWidget();
    _panel = nullptr;
    _shown.reset();
}

void Window::showPanel(std::uint16_t id)
{
    closePanel();
    const auto node = _document->graph()->node(id);
    if (!node.isAlive()) {
        return;
    }
    _panel = new zrkui::ZRKPropertyView;
    _panel->setMargins(0);
    _shown = id;
    node.object()->onInspection(_panel, node);
    auto* holder = new QWidget;
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, scaled(*this, 12), scaled(*this, 12));
    column->addWidget(_panel);
    column->addStretch(1);
    _area->setWidget(holder);
    // No panel is cut at its right.
    _area->setMinimumWidth(
        std::max(scaled(*this, kLeastPanel), holder->minimumSizeHint().width() + scaled(*this, 12)));
    const auto* registration = registrationOf(*node.object());
    _title->setText(registration ? registration->strings.title : "");
    _subtitle->setText(registration ? QString("%1 · %2").arg(QString::fromStdString(registration->info.name),
                                                             registration->strings.category)
                                    : QString());
    wantSlice();
}

void Window::wantSlice()
{
    if (_document) {
        _refresh->start(0);
    }
}

void Window::requestSlice()
{
    if (!_shown) {
        return;
    }
    const auto node = _document->graph()->node(*_shown);
    const auto* registration = registrationOf(*node.object());
    const QString title = registration ? registration->strings.title : "";
    const auto source = viewSourceOf(*_document, {*_shown, 0}, title);
    if (source) {
        _view->show(*source);
    } else {
        _view->say(QString::fromStdString(zrk::messageOf(source.error())));
    }
}

bool Window::isSettled() const { return !_refresh->isActive() && _view->isSettled(); }

bool Window::save(const std::string& path)
{
    if (const auto saved = _document->save(path); !saved) {
        tell(zrk::messageOf(saved.error()), true);
        return false;
    }
    _path = path;
    _isChanged = false;
    showTitle();
    tell("saved " + path, false);
    return true;
}

void Window::showTitle()
{
    const QString name =
        _path.empty() ? "zrk-workbench" : QFileInfo(QString::fromStdString(_path)).fileName();
    setWindowTitle(name + "[*]");
    setWindowModified(_isChanged);
}

void Window::tell(const std::string& text, bool isProblem)
{
    _message->setProperty("zrkRole", isProblem ? "problem" : "second");
    _message->setStyleSheet(QString()); // has the sheet look at the role again
    const QString line = QString::fromStdString(text).replace("\n  ", "; ");
    _message->setText(line);
    _message->setToolTip(QString::fromStdString(text));
}

std::string Window::message() const { return _message->toolTip().toStdString(); }

} // namespace zrkworkbench
