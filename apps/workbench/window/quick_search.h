#pragma once

#include "apps/workbench/window/parts.h"

#include <QPointer>

#include <functional>
#include <vector>

class QListView;

namespace zrkworkbench {

/// Something that the search box finds.
struct Finding {
    QString title;
    QString kind;                ///< "node", "add", "command", "manual"
    QString words;               ///< what it is found by besides its title
    QString icon;                ///< a name of the table; may be empty
    QColor color{};              ///< of the icon; that of other icons where it isn't valid
    QString keys{};              ///< its shortcut
    std::function<void()> run{}; ///< none for a line that only tells something
};

/// The findings that have all words of a text, in the order of how well they fit.
std::vector<Finding> bestFindings(const std::vector<Finding>& all, const QString& text, std::size_t most);

/// The box at the top: finds nodes of the document, types, commands and manual pages. What is found is
/// gathered anew each time the box gets the focus.
class QuickSearch : public SearchLine {
public:
    explicit QuickSearch(QWidget* parent = nullptr);

    void onGather(std::function<std::vector<Finding>()> listener) { _gather = std::move(listener); }
    QListView* list() const { return _list; }

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    class Model;
    class Rows;
    Model* _model;
    QListView* _list = nullptr; ///< a child of the window, above all else
    std::vector<Finding> _all;
    std::function<std::vector<Finding>()> _gather;
    QPointer<QWidget> _former; ///< had the focus before

    void refresh();
    void close();
    void leave();
    void run(const QModelIndex& index);
};

} // namespace zrkworkbench
