#pragma once

#include <QStatusBar>

#include <functional>
#include <utility>
#include <vector>

class QLabel;
class QToolButton;

namespace zrkworkbench {

/// The foot of the window: the problems' count, what the view shows and how long it took, and the field under
/// the pointer.
class StatusLine : public QStatusBar {
public:
    explicit StatusLine(QWidget* parent = nullptr);

    void showProblems(int errors, int warnings);
    /// Parts of a line, divided by thin lines.
    void showView(const QStringList& parts);
    /// A message in place of the view's line, until it is empty again or some seconds have gone.
    void say(const QString& text, bool isProblem);
    QString said() const { return _said; }
    /// Pairs of a name and a figure, figures in cells of equal width; none takes them away.
    void showReadout(const std::vector<std::pair<QString, QString>>& values);
    void onProblemsClicked(std::function<void()> listener) { _clicked = std::move(listener); }

private:
    class Figures;
    class Counter;
    Counter* _problems;
    QLabel* _view;
    Figures* _readout;
    QTimer* _timer;
    QString _viewText;
    QString _said;
    std::function<void()> _clicked;
};

} // namespace zrkworkbench
