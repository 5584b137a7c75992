#include "apps/workbench/views/solid_view.h"

#include "apps/workbench/views/pane_parts.h"
#include "core/picture/camera.h"
#include "inspectors/css_style.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

namespace {

constexpr double kHomeAround = 35; ///< as `zrk render` looks
constexpr double kHomeUp = 28;
constexpr double kMostUp = 89.9; ///< from above and below z stays up in the picture
constexpr double kDegreesAPixel = 0.4;
constexpr double kZoomOfATurn = 1.15;
constexpr double kFirstPictureTime = 20; ///< milliseconds that the first picture should take
constexpr int kLeastFirst = 64;

} // namespace

/// The picture with the axes; tells its view what the mouse does.
class SolidView::Picture final : public QWidget {
public:
    explicit Picture(SolidView& view) : QWidget(&view), _view(view)
    {
        setFocusPolicy(Qt::ClickFocus);
        setAccessibleName("solid");
        setMinimumSize(scaled(*this, 160), scaled(*this, 120));
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        setCursor(Qt::OpenHandCursor);
    }

    void display(const QImage& image)
    {
        _image = image;
        _message.clear();
        update();
    }
    void say(const QString& message)
    {
        _image = QImage();
        _message = message;
        update();
    }
    QSize devicePixels() const
    {
        const double ratio = devicePixelRatioF();
        return {std::clamp(static_cast<int>(std::lround(width() * ratio)), 16, 4096),
                std::clamp(static_cast<int>(std::lround(height() * ratio)), 16, 4096)};
    }

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QWidget::resizeEvent(event);
        _view.want();
    }
    void mousePressEvent(QMouseEvent* event) override
    {
        _last = event->pos();
        setFocus(Qt::MouseFocusReason);
        setCursor(Qt::ClosedHandCursor);
    }
    void mouseReleaseEvent(QMouseEvent*) override { setCursor(Qt::OpenHandCursor); }
    void mouseDoubleClickEvent(QMouseEvent*) override { _view.goHome(); }
    void mouseMoveEvent(QMouseEvent* event) override
    {
        const QPoint moved = event->pos() - _last;
        _last = event->pos();
        const bool isShift = event->buttons() & Qt::MiddleButton || event->modifiers() & Qt::ShiftModifier;
        if (isShift) {
            _view.move(moved);
        } else if (event->buttons() & Qt::LeftButton) {
            _view.turn(-kDegreesAPixel * moved.x(), kDegreesAPixel * moved.y());
        }
    }
    void wheelEvent(QWheelEvent* event) override
    {
        _view.zoomBy(std::pow(kZoomOfATurn, event->angleDelta().y() / 120.0));
        event->accept();
    }
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        QPainterPath frame;
        frame.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
        if (_image.isNull()) {
            painter.fillPath(frame, style.color(Role::canvas));
            painter.setPen(style.color(Role::hint));
            const int pad = scaled(*this, 24);
            painter.drawText(rect().adjusted(pad, pad, -pad, -pad), Qt::AlignCenter | Qt::TextWordWrap,
                             _message);
        } else {
            painter.save();
            painter.setClipPath(frame);
            painter.setRenderHint(QPainter::SmoothPixmapTransform, _image.size() != devicePixels());
            painter.drawImage(rect(), _image);
            painter.restore();
            paintAxes(painter);
        }
        painter.setPen(style.color(Role::edge));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(frame);
    }

private:
    SolidView& _view;
    QImage _image;
    QString _message;
    QPoint _last;

    /// Where the axes point, in the lower left corner. The backdrop is pale in both palettes.
    void paintAxes(QPainter& painter) const
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::light();
        const std::array<Role, 3> roles = {Role::error, Role::familyPatterns, Role::accent};
        const zrk::Camera camera = zrk::cameraFrom(_view.from(), 1, 1);
        const double reach = scaled(*this, 26);
        const QPointF corner(scaled(*this, 40), height() - scaled(*this, 38));
        std::array<std::size_t, 3> order = {0, 1, 2}; // those that point away first
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return camera.forward[a] > camera.forward[b]; });
        QFont small = font();
        small.setPixelSize(QFontInfo(small).pixelSize() - scaled(*this, 2));
        small.setWeight(QFont::DemiBold);
        painter.setFont(small);
        for (const std::size_t axis : order) {
            const QPointF tip = corner + QPointF(camera.right[axis], -camera.up[axis]) * reach;
            painter.setPen(QPen(style.color(roles[axis]), 2, Qt::SolidLine, Qt::RoundCap));
            painter.drawLine(corner, tip);
            const QPointF letter = corner + (tip - corner) * 1.32;
            const double half = scaled(*this, 8);
            if (QLineF(corner, tip).length() > 0.2 * reach) {
                painter.drawText(QRectF(letter.x() - half, letter.y() - half, 2 * half, 2 * half),
                                 Qt::AlignCenter, QString("xyz").mid(static_cast<int>(axis), 1));
            }
        }
    }
};

SolidView::SolidView(QWidget* parent)
    : QWidget(parent),
      _picture(new Picture(*this)),
      _cut(new QCheckBox("Cut by the slice", this)),
      _around(kHomeAround),
      _up(kHomeUp)
{
    auto* column = new QVBoxLayout(this);
    const int margin = scaled(*this, 12);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(margin);
    column->addWidget(_picture, 1);
    auto* row = new QHBoxLayout;
    row->addWidget(_cut);
    row->addStretch(1);
    auto* hint = new QLabel(QString("drag to turn %1 wheel to zoom").arg(QChar(0x00B7)), this);
    hint->setProperty("zrkRole", "hint");
    hint->setToolTip("Drag to turn, with Shift or the middle button to move, wheel to zoom, Home for the "
                     "first view");
    row->addWidget(hint);
    column->addLayout(row);
    _cut->setAccessibleName("cut by the slice");
    _cut->setToolTip("Take away what lies on your side of the slice");
    connect(_cut, &QCheckBox::toggled, this, [this] { want(); });
}

bool SolidView::isCut() const { return _cut->isChecked(); }
void SolidView::setCut(bool isCut) { _cut->setChecked(isCut); }

zrk::Vector3 SolidView::from() const
{
    const double around = _around * std::numbers::pi / 180;
    const double up = _up * std::numbers::pi / 180;
    return {std::sin(around) * std::cos(up), -std::cos(around) * std::cos(up), std::sin(up)};
}

void SolidView::setSource(const ViewSource& source)
{
    const auto isSame = [](const auto& a, const auto& b) {
        return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
    };
    if (!_source || _source->document != source.document || !isSame(_source->bounds.min, source.bounds.min) ||
        !isSame(_source->bounds.max, source.bounds.max)) {
        _frame.reset();
        _shift = {};
        _zoom = 1;
    }
    _source = source;
}

zrk::Result<SolidRequest> SolidView::request(const SolidRequest::Cut& slice, std::optional<double> iso) const
{
    return zrkmodel::solidOf(_source->output, _source->bounds, iso, false, _source->name.toStdString(),
                             "view a scalar output, or look at the slice")
        .map([&](zrkmodel::Solid solid) {
            SolidRequest request;
            request.solid = solid;
            if (isCut()) {
                request.cut = slice;
            }
            request.eye = eye();
            request.frame = _frame;
            request.pixels = _picture->devicePixels();
            const int longer = std::max(request.pixels.width(), request.pixels.height());
            request.firstSize = std::min(_firstSize, longer);
            return request;
        });
}

QSize SolidView::devicePixels() const { return _picture->devicePixels(); }

void SolidView::display(const SolidPreview& preview)
{
    if (!preview.problem.empty()) {
        say(QString::fromStdString(preview.problem));
        return;
    }
    if (!_frame) {
        _frame = preview.frame;
    }
    if (!preview.isFinal && preview.size <= _firstSize) {
        const double factor = std::sqrt(kFirstPictureTime / std::max(preview.milliseconds, 1.0));
        const int wanted = static_cast<int>(preview.size * std::clamp(factor, 0.5, 1.5));
        const QSize pixels = _picture->devicePixels();
        _firstSize = std::clamp(wanted, kLeastFirst, std::max(pixels.width(), pixels.height()));
    }
    _picture->display(preview.picture);
}

void SolidView::say(const QString& message) { _picture->say(message); }

void SolidView::want()
{
    _picture->update(); // the axes turn at once
    if (_wanted && _source) {
        _wanted();
    }
}

void SolidView::turn(double aroundDegrees, double upDegrees)
{
    _around = std::remainder(_around + aroundDegrees, 360);
    _up = std::clamp(_up + upDegrees, -kMostUp, kMostUp);
    want();
}

void SolidView::zoomBy(double factor)
{
    _zoom = std::clamp(_zoom * factor, 0.05, 1e4);
    want();
}

void SolidView::move(const QPointF& pixels)
{
    if (_frame) {
        const double unit =
            _frame->span / _zoom / std::max(1, std::min(_picture->width(), _picture->height()));
        _shift += QPointF(-pixels.x() * unit, pixels.y() * unit);
        want();
    }
}

void SolidView::goHome()
{
    _around = kHomeAround;
    _up = kHomeUp;
    _zoom = 1;
    _shift = {};
    _frame.reset();
    want();
}

} // namespace zrkworkbench
