#pragma once

#include <QString>
#include <QWidget>

class QAction;
class QLabel;
class QMenuBar;

namespace zrkworkbench {

class QuickSearch;

/// The bar at the top: menus, undo and redo, the document's name in the middle, the search box.
class TopBar : public QWidget {
public:
    explicit TopBar(QWidget* parent = nullptr);

    QMenuBar* menus() const { return _menus; }
    QuickSearch* search() const { return _search; }
    /// Adds a button for an action beside the menus.
    void addButton(QAction* action);
    /// The name of a file, its stem in bold, with a dot before it where it isn't saved.
    void showName(const QString& name, bool isModified);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QMenuBar* _menus;
    QWidget* _buttons;
    QLabel* _name;
    QString _document; ///< the name that is shown
    bool _isModified = false;
    QuickSearch* _search;

    void placeName();
};

} // namespace zrkworkbench
