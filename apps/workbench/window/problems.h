#pragma once

#include "core/values/fault.h"

#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class QLabel;
class QListView;

namespace zrkworkbench {

/// Something that the user should know of and can go on without.
struct Problem {
    enum class Kind { Warning, Error };

    Kind kind = Kind::Warning;
    std::optional<std::uint16_t> node{};
    QString place;   ///< such as "Bolt hole · end radius"
    QString finding; ///< what is wrong, in a few words
    QString remedy{};
    QString actionText{}; ///< of a link that does something about it; none where it is empty
    std::function<void()> action{};
};

/// All problems of a document, by who found them: each source replaces its own ones.
class ProblemList {
public:
    /// In the order in which the list shows them.
    enum class Source { Loading, Saving, Export, Resource, Edit, Entry, Field };

    void set(Source source, std::vector<Problem> problems);
    void clear(Source source) { set(source, {}); }
    void clear();
    std::vector<Problem> of(Source source) const;
    /// All of them, errors first.
    std::vector<Problem> all() const;
    int count(Problem::Kind kind) const;
    void onChanged(std::function<void()> listener) { _changed = std::move(listener); }

private:
    std::vector<std::pair<Source, std::vector<Problem>>> _bySource;
    std::function<void()> _changed;
};

/// A problem that a fault tells.
Problem problemOf(const zrk::Fault& fault, Problem::Kind kind);

/// The list of problems: place, finding and what can be done. A click, or Enter, goes to the node.
class ProblemsPane : public QWidget {
public:
    explicit ProblemsPane(QWidget* parent = nullptr);

    void show(const std::vector<Problem>& problems);
    void onChosen(std::function<void(const Problem&)> listener) { _chosen = std::move(listener); }
    void onClosed(std::function<void()> listener) { _closed = std::move(listener); }
    QListView* list() const { return _list; }

private:
    class Model;
    class Rows;
    Model* _model;
    QListView* _list;
    QLabel* _count;
    std::function<void(const Problem&)> _chosen;
    std::function<void()> _closed;
};

} // namespace zrkworkbench
