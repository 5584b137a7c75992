#pragma once

#include <QWidget>

#include <functional>
#include <string>

class QLineEdit;
class QTreeView;

namespace zrkworkbench {

/// The mime type of a dragged component type; the data are its class name.
inline constexpr const char* kTypeMime = "application/x-zrk-type";

/// All types by family, with a filter. A row is dragged onto the canvas, or added by Enter, a double click or
/// its + sign.
class Library : public QWidget {
public:
    explicit Library(QWidget* parent = nullptr);

    void onAdd(std::function<void(const std::string& className)> listener) { _add = std::move(listener); }
    void focusFilter();
    QLineEdit* filter() const { return _filter; }
    QTreeView* tree() const { return _tree; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Model;
    class Filter;
    class Rows;
    QLineEdit* _filter;
    QTreeView* _tree;
    Model* _model;
    Filter* _shown;
    std::function<void(const std::string&)> _add;

    void add(const QModelIndex& row);
};

} // namespace zrkworkbench
