#include "apps/workbench/canvas/frame_item.h"

#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/wire_item.h"
#include "inspectors/css_style.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

namespace zrkworkbench {

FrameItem::FrameItem() { setZValue(-1); }

void FrameItem::setNote(FrameNote note)
{
    if (note != _note) {
        _note = std::move(note);
        update();
    }
}

void FrameItem::setContents(const QRectF& contents)
{
    const QRectF rect = contents.adjusted(-size::kFramePad, -size::kFramePad - size::kFrameTitle,
                                          size::kFramePad, size::kFramePad);
    if (rect != _rect) {
        prepareGeometryChange();
        _rect = rect;
    }
}

void FrameItem::setSelected(bool isOn)
{
    if (isOn != _isSelected) {
        _isSelected = isOn;
        update();
    }
}

QRectF FrameItem::titleRect() const
{
    return {_rect.topLeft(), QSizeF(_rect.width(), size::kFrameTitle + 4)};
}

QRectF FrameItem::boundingRect() const { return _rect.adjusted(-3, -3, 3, 3); }

void FrameItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    using Role = zrkui::ZRKCSSStyle::Role;
    const zrkui::ZRKCSSStyle& style = zrkui::ZRKCSSStyle::current();
    const double zoom = zoomOf(*painter);
    painter->setRenderHint(QPainter::Antialiasing, zoom >= size::kBlockZoom);
    painter->setBrush(style.frame());
    painter->setPen(QPen(style.color(_isSelected ? Role::accent : Role::edge),
                         std::max(_isSelected ? 2.0 : 1.0, 1 / zoom)));
    painter->drawRoundedRect(_rect, 6, 6);
    if (zoom < size::kBlockZoom) {
        return;
    }
    const QFont font = canvasFont(zoom < size::kNamesZoom ? std::min(10 / zoom, 24.0) : size::kNodeFont);
    const QRectF room = titleRect().adjusted(10, 4, -10, 0);
    painter->setFont(font);
    painter->setPen(style.color(Role::secondText));
    painter->drawText(room, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                      QFontMetricsF(font).elidedText(_note.title, Qt::ElideRight, room.width()));
}

} // namespace zrkworkbench
