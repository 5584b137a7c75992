#include "apps/workbench/slice_view.h"

#include "core/picture/color_map.h"
#include "inspectors/css_style.h"
#include "inspectors/images.h"
#include "inspectors/number_field.h"
#include "inspectors/number_text.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

/// The picture, as large as fits, and the range of its values beneath.
class SliceView::Canvas final : public QWidget {
public:
    using QWidget::QWidget;

    void display(QImage image, const QString& legend)
    {
        _image = std::move(image);
        _legend = legend;
        _message.clear();
        update();
    }
    void say(const QString& message)
    {
        _image = QImage();
        _message = message;
        update();
    }

    int side() const { return std::min(width(), height() - legendHeight()); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        if (_image.isNull()) {
            painter.setPen(style.color(Role::hint));
            painter.drawText(rect().adjusted(16, 16, -16, -16), Qt::AlignCenter | Qt::TextWordWrap, _message);
            return;
        }
        const QSizeF size = QSizeF(_image.size()).scaled(side(), side(), Qt::KeepAspectRatio);
        const QRectF room(0, 0, width(), height() - legendHeight());
        const QRectF place = zrkui::centredIn(room, size, devicePixelRatioF());
        painter.drawImage(place, _image);
        painter.setPen(style.color(Role::edge));
        painter.drawRect(place.adjusted(-0.5, -0.5, 0.5, 0.5));
        painter.setPen(style.color(Role::secondText));
        painter.drawText(QRectF(0, place.bottom() + 4, width(), legendHeight()), Qt::AlignHCenter, _legend);
    }

private:
    QImage _image;
    QString _legend;
    QString _message;

    int legendHeight() const { return fontMetrics().height() + 8; }
};

SliceView::SliceView(QWidget* parent)
    : QWidget(parent),
      _canvas(new Canvas(this)),
      _axes(new QButtonGroup(this)),
      _place(new zrkui::SliderFWrapper({0.0, 1.0}, this)),
      _coordinate(new QLabel(this))
{
    auto* column = new QVBoxLayout(this);
    const int margin = scaled(*this, 12);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(scaled(*this, 8));
    column->addWidget(_canvas, 1);
    auto* row = new QHBoxLayout;
    row->setSpacing(scaled(*this, 4));
    for (int axis = 0; axis < 3; ++axis) {
        auto* button = new QPushButton(QString("xyz").mid(axis, 1), this);
        button->setCheckable(true);
        button->setChecked(axis == _axis);
        button->setFixedWidth(scaled(*this, 28));
        button->setStyleSheet("padding: 0;");
        button->setAccessibleName("cut across " + button->text());
        button->setToolTip(button->accessibleName());
        _axes->addButton(button, axis);
        row->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, axis] {
            _axis = axis;
            if (_wanted) {
                _wanted();
            }
        });
    }
    row->addSpacing(scaled(*this, 8));
    _place->display(0.5);
    _place->setAccessibleName("place of the slice");
    _place->setToolTip("where the axis is cut, as a share of the bounds");
    _place->connectToListener([this](double) {
        if (_wanted) {
            _wanted();
        }
    });
    row->addWidget(_place, 1);
    _coordinate->setMinimumWidth(scaled(*this, 96));
    _coordinate->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    _coordinate->setProperty("zrkRole", "second");
    row->addWidget(_coordinate);
    column->addLayout(row);
}

double SliceView::at() const { return _place->exact(); }

int SliceView::pixels() const
{
    return std::clamp(static_cast<int>(_canvas->side() * devicePixelRatioF()), 32, 2048);
}

void SliceView::display(const SlicePreview& preview)
{
    if (!preview.problem.empty()) {
        say(preview.problem);
        return;
    }
    const QImage image(preview.picture.data.data(), preview.picture.dims[0], preview.picture.dims[1],
                       3 * preview.picture.dims[0], QImage::Format_RGB888);
    _canvas->display(image.copy(),
                     zrkui::textOfNumber(preview.low, 3) + " ... " + zrkui::textOfNumber(preview.high, 3));
    _coordinate->setText(QString("xyz").mid(_axis, 1) + " = " + zrkui::textOfNumber(preview.coordinate, 3));
}

void SliceView::say(const std::string& message) { _canvas->say(QString::fromStdString(message)); }

void SliceView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (_wanted) {
        _wanted();
    }
}

} // namespace zrkworkbench
