#pragma once

#include "apps/workbench/canvas/type_search.h"

#include <QFrame>

#include <functional>

class QLineEdit;
class QListWidget;
class QToolButton;

namespace zrkworkbench {

/// The search for a type, over the canvas. It has the focus while it is open; Escape or a click elsewhere
/// closes it.
class SearchPopup : public QFrame {
public:
    explicit SearchPopup(QWidget* parent);

    /// Opens with its box at `at` of the parent, moved left or up to stay within it.
    /// @param spared  a point of the parent that stays uncovered.
    void open(const QPoint& at, const std::optional<SearchFilter>& filter, const QStringList& recent,
              const std::optional<QPoint>& spared = std::nullopt);
    /// Calls `onChosen` with the type, or `onDropped` where none was chosen.
    void onChosen(std::function<void(const zrkmodel::ZRKGraphObjectRegistration&)> listener)
    {
        _chosen = std::move(listener);
    }
    void onDropped(std::function<void()> listener) { _dropped = std::move(listener); }

    QLineEdit* box() const { return _box; }
    const std::vector<SearchHit>& hits() const { return _hits; }
    /// The place of the chosen row among the hits.
    int chosen() const;
    void accept();
    void drop();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QLineEdit* _box;
    QToolButton* _filterChip;
    QListWidget* _list;
    QWidget* _foot;
    std::optional<SearchFilter> _filter;
    QStringList _recent;
    std::vector<SearchHit> _hits;
    QPoint _at;
    std::optional<QPoint> _spared;
    std::function<void(const zrkmodel::ZRKGraphObjectRegistration&)> _chosen;
    std::function<void()> _dropped;

    void search();
    void place();
    void showAll();
};

} // namespace zrkworkbench
