#pragma once

#include <QFrame>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

class QVBoxLayout;

namespace zrkworkbench {

/// What a notice offers to do; choosing one also takes the notice away.
struct NoticeAction {
    QString text;
    std::function<void()> run{};
};

/// Notices above the canvas, one beneath the other: things to decide that nobody has to decide now.
class NoticeBar : public QWidget {
public:
    explicit NoticeBar(QWidget* parent = nullptr);

    /// Shows a notice under a key, in place of a former one of that key.
    void show(const QString& key, const QString& text, std::vector<NoticeAction> actions);
    /// A notice of work that goes on, with how far it has come and a way to stop it.
    void showProgress(const QString& key, const QString& text, double fraction, std::function<void()> stop);
    void remove(const QString& key);
    bool has(const QString& key) const;
    QString textOf(const QString& key) const;

private:
    class Notice;
    QVBoxLayout* _column;
    std::vector<std::pair<QString, Notice*>> _notices;

    Notice* find(const QString& key) const;
    Notice* add(const QString& key);
};

} // namespace zrkworkbench
