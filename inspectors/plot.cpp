#include "inspectors/plot.h"

#include "inspectors/css_style.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace zrkui {

UIPlot::UIPlot(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumSize(scaled(*this, 72), scaled(*this, 50));
}

QSize UIPlot::sizeHint() const { return {scaled(*this, 160), scaled(*this, 88)}; }

void UIPlot::setCurve(Curve curve, const QRectF& window)
{
    _curve = std::move(curve);
    _window = window;
    update();
}

QRectF UIPlot::inside() const
{
    const double margin = scaled(*this, 7);
    return QRectF(rect()).adjusted(margin, margin, -margin, -margin);
}

QPointF UIPlot::toPixels(const QPointF& point) const
{
    const QRectF area = inside();
    return {area.left() + (point.x() - _window.left()) / _window.width() * area.width(),
            area.bottom() - (point.y() - _window.top()) / _window.height() * area.height()};
}

QPointF UIPlot::fromPixels(const QPointF& pixels) const
{
    const QRectF area = inside();
    return {_window.left() + (pixels.x() - area.left()) / std::max(1.0, area.width()) * _window.width(),
            _window.top() + (area.bottom() - pixels.y()) / std::max(1.0, area.height()) * _window.height()};
}

void UIPlot::paintEvent(QPaintEvent*)
{
    using Role = ZRKCSSStyle::Role;
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(style.color(hasFocus() ? Role::accent : Role::edge), hasFocus() ? 2 : 1));
    painter.setBrush(style.color(Role::field));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
    painter.setPen(QPen(style.color(Role::paneLine), 1));
    for (const double level : {0.0, 1.0}) {
        if (level >= _window.top() && level <= _window.bottom()) {
            painter.drawLine(toPixels({_window.left(), level}), toPixels({_window.right(), level}));
        }
    }
    if (_curve) {
        QPainterPath path;
        bool isPen = false;
        const QRectF area = inside();
        const int steps = std::max(2, static_cast<int>(area.width() * devicePixelRatioF()));
        for (int i = 0; i <= steps; ++i) {
            const double x = _window.left() + _window.width() * i / steps;
            const double y = _curve(x);
            const QPointF place = toPixels(
                {x, std::clamp(y, _window.top() - _window.height(), _window.bottom() + _window.height())});
            if (std::isfinite(y)) {
                isPen ? path.lineTo(place) : path.moveTo(place);
            }
            isPen = std::isfinite(y);
        }
        painter.setBrush(Qt::NoBrush);
        painter.setClipRect(QRectF(rect()).adjusted(2, 2, -2, -2));
        painter.setPen(QPen(style.color(Role::curve), 2));
        painter.drawPath(path);
        painter.setClipping(false);
    }
    paintMore(painter);
}

} // namespace zrkui
