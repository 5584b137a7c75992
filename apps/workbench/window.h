#pragma once

#include "host/graph_document.h"
#include "model/signal.h"

#include <QMainWindow>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QLabel;
class QListWidget;
class QScrollArea;
class QTimer;

namespace zrkui {
class ZRKPropertyView;
}

namespace zrkworkbench {

class ViewPane;

/// The window: the nodes of a document, the panel of the selected one, and a slice of its output.
class Window : public QMainWindow {
public:
    Window();
    ~Window() override;

    /// Opens a document. One that can't be read is told in the status bar, and the former one stays.
    bool open(const std::string& path);
    bool save(const std::string& path);
    /// False when the document has no such node.
    bool select(std::uint16_t node);
    /// True once the slice that is shown is the newest, in full.
    bool isSettled() const;
    /// The text of the status bar, an error's message among them.
    std::string message() const;
    zrkmodel::GraphDocument* document() { return _document ? &*_document : nullptr; }
    zrkui::ZRKPropertyView* panel() const { return _panel; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    std::optional<zrkmodel::GraphDocument> _document;
    std::string _path;
    bool _isChanged = false;
    std::vector<nod::scoped_connection> _changes;
    nod::scoped_connection _workDone;

    QListWidget* _nodes;
    ViewPane* _view;
    QScrollArea* _area;
    QLabel* _title;
    QLabel* _subtitle;
    QLabel* _message;
    QTimer* _refresh; ///< gathers the edits of one turn of the event loop
    zrkui::ZRKPropertyView* _panel = nullptr;
    std::optional<std::uint16_t> _shown; ///< the node whose panel is open

    void addMenus();
    void askAndOpen();
    void askAndSave();
    bool mayDiscard();
    void takeOver(zrkmodel::GraphDocument document, const std::string& path);
    void watch();
    void fillNodes();
    void showPanel(std::uint16_t node);
    void closePanel();
    void wantSlice();
    void requestSlice();
    void showTitle();
    void tell(const std::string& text, bool isProblem);
};

} // namespace zrkworkbench
