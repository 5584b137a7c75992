#include "inspectors/preview.h"

#include "inspectors/css_style.h"
#include "inspectors/images.h"

#include <QPainter>

namespace zrkui {

UIPreview::UIPreview(QWidget* parent) : QLabel(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumSize(scaled(*this, 80), scaled(*this, 80));
    setAccessibleName("preview");
}

void UIPreview::display(const QImage& picture)
{
    _picture = picture;
    update();
}

void UIPreview::describe(zrkmodel::ZRKJson& out) const { out["widget"] = "preview"; }

QSize UIPreview::sizeHint() const { return {scaled(*this, 128), scaled(*this, 128)}; }

void UIPreview::paintEvent(QPaintEvent*)
{
    using Role = ZRKCSSStyle::Role;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ZRKCSSStyle::current().color(Role::paneLine), 1));
    painter.setBrush(ZRKCSSStyle::current().color(Role::fieldOverridden));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    if (_picture.isNull()) {
        painter.setPen(ZRKCSSStyle::current().color(Role::hint));
        painter.drawText(rect(), Qt::AlignCenter, "no volume");
        return;
    }
    const double ratio = devicePixelRatioF();
    const QSize room = rect().adjusted(4, 4, -4, -4).size() * ratio;
    const bool grows = _picture.width() < room.width() && _picture.height() < room.height();
    const QImage shown =
        _picture.scaled(room, Qt::KeepAspectRatio, grows ? Qt::FastTransformation : Qt::SmoothTransformation);
    const QSizeF size = QSizeF(shown.size()) / ratio;
    painter.drawImage(centredIn(rect(), size, ratio), shown);
}

} // namespace zrkui
