#include "apps/workbench/window/status_line.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/window/parts.h"
#include "inspectors/css_style.h"

#include <QAbstractButton>
#include <QLabel>
#include <QPainter>
#include <QTimer>
#include <QVariant>

#include <algorithm>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using StatusRole = ZRKCSSStyle::Role;

namespace {

constexpr int kMessageTime = 8000; ///< milliseconds that a message stays

QString countOf(int count, const char* what)
{
    return QString("%1 %2%3").arg(count).arg(what, count == 1 ? "" : "s");
}

} // namespace

/// A tick and "No problems", or how many errors and warnings there are.
class StatusLine::Counter final : public QAbstractButton {
public:
    explicit Counter(QWidget* parent) : QAbstractButton(parent)
    {
        setFocusPolicy(Qt::TabFocus);
        setCursor(Qt::PointingHandCursor);
        setCounts(0, 0);
    }
    void setCounts(int errors, int warnings)
    {
        _errors = errors;
        _warnings = warnings;
        const QString text = errors + warnings == 0
                                 ? QString("No problems")
                                 : countOf(errors, "error") + ", " + countOf(warnings, "warning");
        setText(text);
        setAccessibleName(text);
        setToolTip(text + "; a click shows the list");
        updateGeometry();
        update();
    }
    QSize sizeHint() const override { return {scaled(*this, 200), scaled(*this, 24)}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (hasFocus()) {
            painter.setPen(QPen(style.color(StatusRole::accent), 2));
            painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
        }
        int x = scaled(*this, 10);
        const auto part = [&](const char* name, StatusRole role, const QString& text) {
            const double side = scaled(*this, 16);
            paintIcon(painter, name, QRectF(x, (height() - side) / 2.0, side, side), style.color(role));
            x += scaled(*this, 22);
            painter.setPen(style.color(StatusRole::text));
            painter.drawText(QRect(x, 0, width() - x, height()), Qt::AlignVCenter, text);
            x += fontMetrics().horizontalAdvance(text) + scaled(*this, 14);
        };
        if (_errors + _warnings == 0) {
            part("check", StatusRole::secondText, text());
        }
        if (_errors > 0) {
            part("error", StatusRole::error, QString::number(_errors));
        }
        if (_warnings > 0) {
            part("warning", StatusRole::warning, QString::number(_warnings));
        }
    }

private:
    int _errors = 0;
    int _warnings = 0;
};

/// Names and figures. Digits stand in cells of the widest one, so that nothing dances while they change.
class StatusLine::Figures final : public QWidget {
public:
    using QWidget::QWidget;

    void show(const std::vector<std::pair<QString, QString>>& values)
    {
        _values = values;
        QString text;
        for (const auto& [name, figure] : values) {
            text += name + " " + figure + "  ";
        }
        setAccessibleName(text.trimmed());
        updateGeometry();
        update();
    }
    QSize sizeHint() const override
    {
        double width = 0;
        for (const auto& [name, figure] : _values) {
            width += fontMetrics().horizontalAdvance(name) + roomOf(figure) + scaled(*this, 20);
        }
        return {static_cast<int>(width) + scaled(*this, 12), scaled(*this, 24)};
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        QPainter painter(this);
        double x = width() - scaled(*this, 12);
        for (auto entry = _values.rbegin(); entry != _values.rend(); ++entry) {
            const double room = roomOf(entry->second);
            const double base = (height() + fontMetrics().ascent() - fontMetrics().descent()) / 2.0;
            double at = x - widthOf(entry->second);
            painter.setPen(style.color(StatusRole::text));
            for (const QChar c : entry->second) {
                const double cell = cellOf(c);
                painter.drawText(QPointF(at + (cell - fontMetrics().horizontalAdvance(c)) / 2, base), c);
                at += cell;
            }
            x -= room + scaled(*this, 6) + fontMetrics().horizontalAdvance(entry->first);
            painter.setPen(style.color(StatusRole::secondText));
            painter.drawText(QPointF(x, base), entry->first);
            x -= scaled(*this, 14);
        }
    }

private:
    std::vector<std::pair<QString, QString>> _values;

    double cellOf(QChar c) const
    {
        if (!c.isDigit()) {
            return fontMetrics().horizontalAdvance(c);
        }
        int widest = 0;
        for (char digit = '0'; digit <= '9'; ++digit) {
            widest = std::max(widest, fontMetrics().horizontalAdvance(QChar(digit)));
        }
        return widest;
    }
    double widthOf(const QString& figure) const
    {
        double width = 0;
        for (const QChar c : figure) {
            width += cellOf(c);
        }
        return width;
    }
    /// Room for a figure with a sign, so that the names stay where they are.
    double roomOf(const QString& figure) const
    {
        return std::max(widthOf(figure), widthOf(QString(QChar(0x2212)) + "0.000"));
    }
};

StatusLine::StatusLine(QWidget* parent)
    : QStatusBar(parent),
      _problems(new Counter(this)),
      _view(new QLabel(this)),
      _readout(new Figures(this)),
      _timer(new QTimer(this))
{
    setSizeGripEnabled(false);
    setFixedHeight(scaled(*this, 28));
    setContentsMargins(0, 0, 0, 0);
    _view->setAccessibleName("what the view shows");
    _view->setToolTip("what the view shows and how long it took");
    _view->setTextFormat(Qt::PlainText);
    _readout->setToolTip("the field under the pointer: place, value and length of the gradient");
    addWidget(_problems);
    addWidget(_view, 1);
    addPermanentWidget(_readout);
    connect(_problems, &QAbstractButton::clicked, this, [this] {
        if (_clicked) {
            _clicked();
        }
    });
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, [this] { say("", false); });
}

void StatusLine::showProblems(int errors, int warnings) { _problems->setCounts(errors, warnings); }

void StatusLine::showView(const QStringList& parts)
{
    _viewText = parts.join(QString::fromUtf8("  ·  "));
    if (_said.isEmpty()) {
        _view->setText(_viewText);
    }
}

void StatusLine::say(const QString& text, bool isProblem)
{
    _said = text;
    zrkui::ZRKCSSStyle::setTextRole(*_view, !text.isEmpty() && isProblem ? "problem" : "second");
    _view->setText(text.isEmpty() ? _viewText : QString(text).replace("\n  ", "; "));
    _view->setToolTip(text.isEmpty() ? QString("what the view shows and how long it took") : text);
    if (text.isEmpty()) {
        _timer->stop();
    } else {
        _timer->start(kMessageTime);
    }
}

void StatusLine::showReadout(const std::vector<std::pair<QString, QString>>& values)
{
    _readout->show(values);
}

} // namespace zrkworkbench
