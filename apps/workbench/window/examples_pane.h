#pragma once

#include <QWidget>

#include <functional>

class QListView;

namespace zrkworkbench {

/// The examples with their pictures; Enter, or a double click, opens one. Pictures are read a few at a time
/// while nothing else is to be done.
class ExamplesPane : public QWidget {
public:
    explicit ExamplesPane(QWidget* parent = nullptr);

    void onChosen(std::function<void(const QString& path)> listener) { _chosen = std::move(listener); }
    void onClosed(std::function<void()> listener) { _closed = std::move(listener); }
    QListView* list() const { return _list; }
    /// Whether all pictures are there.
    bool isComplete() const;

protected:
    void showEvent(QShowEvent* event) override;

private:
    class Model;
    class Cards;
    Model* _model;
    QListView* _list;
    std::function<void(const QString&)> _chosen;
    std::function<void()> _closed;
};

} // namespace zrkworkbench
