#pragma once

#include <QFrame>
#include <QToolButton>

#include <utility>
#include <vector>

class QHBoxLayout;

namespace zrkworkbench {

/// A button with an icon alone, for strips of tools.
class ToolButton : public QToolButton {
public:
    explicit ToolButton(QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A button with a short text on a card.
class ChipButton : public QToolButton {
public:
    explicit ChipButton(QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A small card that floats over the canvas.
class Card : public QFrame {
public:
    explicit Card(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Tools in a row.
class ToolStrip : public Card {
public:
    explicit ToolStrip(QWidget* parent);
    void add(QAction* action);

private:
    QHBoxLayout* _row;
};

/// Says why something was refused: a statement and, below, what to do. Goes after a while.
class ReasonCard : public Card {
public:
    explicit ReasonCard(QWidget* parent);
    void show(const QPoint& at, const QString& reason, const QString& remedy);
    QString text() const { return _reason + (_remedy.isEmpty() ? QString() : ". " + _remedy); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString _reason;
    QString _remedy;
    QTimer* _timer;
};

/// Names and values in rows under a title.
class InfoCard : public Card {
public:
    explicit InfoCard(QWidget* parent);
    void show(const QPoint& at, const QString& title, std::vector<std::pair<QString, QString>> rows);
    const std::vector<std::pair<QString, QString>>& rows() const { return _rows; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString _title;
    std::vector<std::pair<QString, QString>> _rows;
};

} // namespace zrkworkbench
