#include "apps/workbench/views/slice_canvas.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/views/figures.h"
#include "apps/workbench/views/pane_parts.h"
#include "host/slice_legend.h"
#include "inspectors/css_style.h"

#include <QAbstractButton>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

namespace {

constexpr double kGap = 10;
constexpr double kBar = 12;
constexpr double kFigures = 34;
constexpr double kInset = 8; ///< of notes, from the picture's edge
constexpr double kRadius = 3;
constexpr double kNearly = 0.86; ///< of the room is filled by bounds that aren't widened
constexpr double kZoomStep = 1.2;
constexpr double kMostZoom = 1e6;
constexpr double kLeastZoom = 8; ///< times the bounds

QFont sized(const QWidget& widget, double difference, int weight = QFont::Normal)
{
    QFont font = widget.font();
    font.setPixelSize(QFontInfo(font).pixelSize() + scaled(widget, difference));
    font.setWeight(static_cast<QFont::Weight>(weight));
    return font;
}

QColor noteText() { return ZRKCSSStyle::current().color(Role::noteText); }
/// White text of lesser weight on a note.
QColor noteHint() { return ZRKCSSStyle::dark().color(Role::secondText); }

} // namespace

/// "|∇| is not 1 in 3 % of this slice", and a button that shades where.
class SliceCanvas::SlopeNote final : public QAbstractButton {
public:
    explicit SlopeNote(SliceCanvas& canvas) : QAbstractButton(&canvas)
    {
        setCheckable(true);
        setFocusPolicy(Qt::TabFocus);
        setCursor(Qt::PointingHandCursor);
        setToolTip("A distance has a gradient of length 1. Where it is far from that, offsets, shells and "
                   "blends aren't of the width that they tell: apply them before what scales or bends the "
                   "distance, or take smaller values.");
        hide();
    }

    void display(const SlopeShare& slopes)
    {
        const double percent = 100 * slopes.share;
        setText(QString("|%1| is not 1 in %2 % of this slice")
                    .arg(QChar(0x2207))
                    .arg(percent < 1 ? QString("< 1") : QString::number(std::lround(percent))));
        setAccessibleName(text() + ", shade");
        resize(sizeHint());
    }

    QSize sizeHint() const override
    {
        const QFontMetrics metrics(textFont());
        const int wide = metrics.horizontalAdvance(text()) + metrics.horizontalAdvance("Shade");
        return {wide + scaled(*this, 8 + 16 + 8 + 9 + 9 + 10), scaled(*this, 26)};
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        paintNote(painter, QRectF(rect()), 4);
        const ZRKCSSStyle& style = ZRKCSSStyle::dark(); // notes are dark in both
        const int side = scaled(*this, 16);
        double x = scaled(*this, 8);
        paintIcon(painter, "warning", {x, (height() - side) / 2.0, 1.0 * side, 1.0 * side},
                  style.color(Role::warning));
        x += side + scaled(*this, 8);
        painter.setFont(textFont());
        const QFontMetrics metrics(painter.font());
        painter.setPen(noteText());
        painter.drawText(QRectF(x, 0, width(), height()), Qt::AlignVCenter, text());
        x += metrics.horizontalAdvance(text()) + scaled(*this, 9);
        painter.setPen(style.color(Role::edge));
        painter.drawLine(QPointF(x, scaled(*this, 6)), QPointF(x, height() - scaled(*this, 6)));
        x += scaled(*this, 9);
        painter.setPen(style.color(Role::link));
        painter.drawText(QRectF(x, 0, width(), height()), Qt::AlignVCenter, isChecked() ? "Hide" : "Shade");
        if (hasFocus()) {
            paintFocusRing(painter, QRectF(rect()), 4);
        }
    }

private:
    QFont textFont() const { return sized(*this, -1, QFont::Medium); }
};

SliceCanvas::SliceCanvas(QWidget* parent) : QWidget(parent), _slopeNote(new SlopeNote(*this))
{
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    setAccessibleName("slice");
    setMinimumSize(scaled(*this, 160), scaled(*this, 120));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    connect(_slopeNote, &QAbstractButton::toggled, this, [this](bool isOn) {
        _isShading = isOn;
        want();
    });
}

QSize SliceCanvas::sizeHint() const
{
    return {scaled(*this, 336 + kGap + kBar + kFigures), scaled(*this, 336)};
}

QRectF SliceCanvas::pictureBox() const
{
    const double figures = std::max<double>(
        scaled(*this, kFigures), QFontMetrics(sized(*this, -2)).horizontalAdvance(figure(-0.88, 2)) + 6);
    const double column = scaled(*this, kGap + kBar) + figures;
    QSizeF size(std::max(1.0, std::floor(width() - column)), std::max<double>(1, height()));
    // Bounds of nearly this shape aren't widened for a narrow strip beside them.
    const QRectF bounds = windowOf(_bounds, _axis);
    if (!bounds.isEmpty()) {
        const double shape = bounds.width() / bounds.height();
        const QSizeF fitting(std::round(size.height() * shape), std::round(size.width() / shape));
        if (fitting.height() <= size.height() && fitting.height() > kNearly * size.height()) {
            size.setHeight(fitting.height());
        } else if (fitting.width() <= size.width() && fitting.width() > kNearly * size.width()) {
            size.setWidth(fitting.width());
        }
    }
    return {QPointF(), size};
}

QRectF SliceCanvas::window() const { return _part ? *_part : windowOf(_bounds, _axis, pictureBox().size()); }

std::optional<zrkmodel::ValueRange> SliceCanvas::range() const
{
    return _preview.picture.isNull() ? std::nullopt : std::optional(_preview.range);
}

QSize SliceCanvas::devicePixels() const
{
    const QSizeF size = pictureBox().size() * devicePixelRatioF();
    const auto pixels = [](double length) {
        return std::clamp(static_cast<int>(std::lround(length)), 16, 4096);
    };
    return {pixels(size.width()), pixels(size.height())};
}

QPointF SliceCanvas::toPlane(const QPointF& place) const
{
    const QRectF box = pictureBox();
    const QRectF part = window();
    return {part.left() + (place.x() - box.left()) / box.width() * part.width(),
            part.bottom() - (place.y() - box.top()) / box.height() * part.height()};
}

QRectF SliceCanvas::toScreen(const QRectF& part) const
{
    const QRectF box = pictureBox();
    const QRectF whole = window();
    const double x = box.width() / whole.width();
    const double y = box.height() / whole.height();
    return {box.left() + (part.left() - whole.left()) * x, box.top() + (whole.bottom() - part.bottom()) * y,
            part.width() * x, part.height() * y};
}

void SliceCanvas::setPlane(const zrk::BBox<double>& bounds, int axis)
{
    const auto same = [](const auto& a, const auto& b) {
        return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
    };
    if (axis != _axis || !same(bounds.min, _bounds.min) || !same(bounds.max, _bounds.max)) {
        _part.reset();
    }
    _bounds = bounds;
    _axis = axis;
    update();
}

void SliceCanvas::setUnit(const std::string& unit) { _unit = unit; }

void SliceCanvas::display(const SlicePreview& preview)
{
    if (!preview.problem.empty()) {
        say(QString::fromStdString(preview.problem));
        return;
    }
    _message.clear();
    if (!preview.picture.isNull()) {
        // The slopes of the picture before stay until there are newer ones, so that the note doesn't flicker.
        const auto slopes = preview.slopes ? preview.slopes : _preview.slopes;
        _preview = preview;
        _preview.slopes = slopes;
    } else if (preview.slopes) {
        _preview.slopes = preview.slopes;
    }
    placeNote();
    update();
}

void SliceCanvas::say(const QString& message)
{
    _message = message;
    _preview = SlicePreview();
    _readout = Readout();
    placeNote();
    update();
}

void SliceCanvas::placeNote()
{
    const bool isShown = _preview.slopes && _preview.slopes->isRemarkable && !_preview.picture.isNull();
    if (isShown) {
        _slopeNote->display(*_preview.slopes);
        const QRectF box = pictureBox();
        _slopeNote->move(static_cast<int>(box.right()) - _slopeNote->width() - scaled(*this, kInset),
                         scaled(*this, kInset));
    }
    _slopeNote->setVisible(isShown && _slopeNote->x() >= scaled(*this, 2));
}

void SliceCanvas::showReadout(const Readout& readout)
{
    _readout = readout;
    update();
}

void SliceCanvas::want() const
{
    if (_wanted) {
        _wanted();
    }
}

void SliceCanvas::setPart(const QRectF& part)
{
    _part = part;
    tellPointer();
    update();
    want();
}

void SliceCanvas::showWhole()
{
    _part.reset();
    tellPointer();
    update();
    want();
}

void SliceCanvas::zoomBy(double factor) { zoomAbout(window().center(), factor); }

void SliceCanvas::zoomAbout(const QPointF& at, double factor)
{
    const QRectF now = window();
    const double whole = windowOf(_bounds, _axis, pictureBox().size()).height();
    const double share =
        std::clamp(now.height() / factor, whole / kMostZoom, whole * kLeastZoom) / now.height();
    setPart({at.x() + (now.left() - at.x()) * share, at.y() + (now.top() - at.y()) * share,
             now.width() * share, now.height() * share});
}

void SliceCanvas::tellPointer()
{
    const bool isInside = _pointer && pictureBox().contains(*_pointer) && !_preview.picture.isNull();
    if (!isInside) {
        _readout = Readout();
    }
    if (_pointed) {
        _pointed(isInside ? std::optional(toPlane(*_pointer)) : std::nullopt);
    }
}

void SliceCanvas::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (_part) { // keeps its middle and its height
        const QRectF box = pictureBox();
        QRectF part(QPointF(), QSizeF(_part->height() * box.width() / box.height(), _part->height()));
        part.moveCenter(_part->center());
        _part = part;
    }
    placeNote();
    want();
}

void SliceCanvas::mousePressEvent(QMouseEvent* event)
{
    const bool isDrag = event->button() == Qt::LeftButton || event->button() == Qt::MiddleButton;
    if (isDrag && pictureBox().contains(event->pos())) {
        _drag = Drag{QPointF(event->pos()), window()};
        setFocus(Qt::MouseFocusReason);
    }
}

void SliceCanvas::mouseMoveEvent(QMouseEvent* event)
{
    _pointer = QPointF(event->pos());
    if (_drag) {
        const QPointF moved = *_pointer - _drag->pointer;
        if (_part || moved.manhattanLength() > 3) {
            setCursor(Qt::ClosedHandCursor);
            const QRectF box = pictureBox();
            setPart(_drag->window.translated(-moved.x() / box.width() * _drag->window.width(),
                                             moved.y() / box.height() * _drag->window.height()));
        }
        return;
    }
    const bool isCross = _readout.isKnown && pictureBox().contains(*_pointer);
    setCursor(isCross ? Qt::BlankCursor : Qt::ArrowCursor);
    tellPointer();
    update();
}

void SliceCanvas::mouseReleaseEvent(QMouseEvent*)
{
    _drag.reset();
    unsetCursor();
}

void SliceCanvas::mouseDoubleClickEvent(QMouseEvent*) { showWhole(); }

void SliceCanvas::wheelEvent(QWheelEvent* event)
{
    event->accept();
    const QPoint delta = event->angleDelta();
    const double turns = (delta.y() != 0 ? delta.y() : delta.x()) / 120.0; // Alt turns a wheel sideways
    if (event->modifiers() & Qt::AltModifier) {
        if (_scrolled) {
            _scrolled(turns);
        }
        return;
    }
    _pointer = event->position();
    zoomAbout(toPlane(*_pointer), std::pow(kZoomStep, turns));
}

void SliceCanvas::leaveEvent(QEvent*)
{
    _pointer.reset();
    tellPointer();
    update();
}

void SliceCanvas::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    const QRectF box = pictureBox();
    QPainterPath frame;
    frame.addRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
    if (_preview.picture.isNull()) {
        painter.fillPath(frame, style.color(Role::canvas));
        painter.setPen(style.color(Role::edge));
        painter.drawPath(frame);
        painter.setPen(style.color(Role::hint));
        const double pad = scaled(*this, 24);
        painter.drawText(box.adjusted(pad, pad, -pad, -pad), Qt::AlignCenter | Qt::TextWordWrap, _message);
        return;
    }
    painter.save();
    painter.setClipPath(frame);
    paintPicture(painter, box);
    paintBounds(painter, box);
    paintScale(painter, box);
    painter.restore();
    painter.setPen(style.color(Role::edge));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(frame);
    paintLegend(painter, box);
    if (_pointer && _readout.isKnown && !_drag && box.contains(*_pointer)) {
        paintCross(painter);
        paintReadout(painter, box);
    }
}

void SliceCanvas::paintPicture(QPainter& painter, const QRectF& box) const
{
    painter.fillRect(box, ZRKCSSStyle::current().color(Role::canvas));
    const QRectF target = _preview.axis == _axis ? toScreen(_preview.window) : box;
    const QSizeF pixels = target.size() * devicePixelRatioF();
    const bool isExact = std::abs(pixels.width() - _preview.picture.width()) < 1 &&
                         std::abs(pixels.height() - _preview.picture.height()) < 1;
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !isExact);
    painter.drawImage(target, _preview.picture);
}

/// Where the bounds end, if more than they is shown.
void SliceCanvas::paintBounds(QPainter& painter, const QRectF& box) const
{
    const QRectF bounds = toScreen(windowOf(_bounds, _axis));
    QPainterPath beyond;
    beyond.addRect(box);
    QPainterPath within;
    within.addRect(bounds);
    if (bounds.contains(box.adjusted(1, 1, -1, -1))) {
        return;
    }
    QColor veil = ZRKCSSStyle::current().color(Role::canvas);
    veil.setAlphaF(0.35F);
    painter.fillPath(beyond.subtracted(within), veil);
    QColor line = ZRKCSSStyle::current().color(Role::note);
    line.setAlphaF(0.55F);
    painter.setPen(QPen(line, 1, Qt::DashLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(bounds);
}

void SliceCanvas::paintComponents(QPainter& painter, const QRectF& bar) const
{
    constexpr Qt::GlobalColor kEnds[] = {Qt::red, Qt::green, Qt::blue};
    const double wide = bar.width() / 3;
    for (int c = 0; c < 3; ++c) {
        const QRectF column(bar.left() + c * wide, bar.top(), wide, bar.height());
        QLinearGradient gradient(column.bottomLeft(), column.topLeft());
        gradient.setColorAt(0, Qt::black);
        gradient.setColorAt(1, kEnds[c]);
        painter.fillRect(column, gradient);
    }
}

void SliceCanvas::paintLegend(QPainter& painter, const QRectF& box) const
{
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    const zrkmodel::ValueRange& range = _preview.range;
    const QRectF bar(box.right() + scaled(*this, kGap), box.top(), scaled(*this, kBar), box.height());
    QPainterPath shape;
    shape.addRoundedRect(bar, 2, 2);
    painter.save();
    painter.setClipPath(shape);
    if (_preview.components == 1) {
        const int steps = static_cast<int>(bar.height() * devicePixelRatioF());
        for (int i = 0; i < steps; ++i) {
            const double share = 1 - (i + 0.5) / steps;
            const zrk::Rgb rgb =
                zrkmodel::scalarColor(range.low + (range.high - range.low) * share, range, _preview.style);
            painter.fillRect(QRectF(bar.left(), bar.top() + bar.height() * i / steps, bar.width(),
                                    bar.height() / steps + 0.5),
                             QColor::fromRgbF(static_cast<float>(rgb[0]), static_cast<float>(rgb[1]),
                                              static_cast<float>(rgb[2])));
        }
    } else {
        paintComponents(painter, bar);
    }
    painter.restore();

    std::vector<double> values = {range.low, range.high};
    const auto& contour = _preview.style.contour;
    const bool isDiverging = contour && range.low < *contour && *contour < range.high;
    const double middle = isDiverging ? *contour : 0.5 * (range.low + range.high);
    if (bar.height() > scaled(*this, 60)) {
        values.push_back(middle);
    }
    if (bar.height() > scaled(*this, 140)) {
        values.push_back(0.5 * (range.low + middle));
        values.push_back(0.5 * (middle + range.high));
    }
    const int decimals = decimalsFor(std::max(std::abs(range.low), std::abs(range.high)));
    const double x = bar.right() + scaled(*this, 4);
    for (const double value : values) {
        const double share = range.high > range.low ? (value - range.low) / (range.high - range.low) : 0.5;
        const double y = bar.bottom() - share * bar.height();
        const bool isLevel = isDiverging && value == *contour;
        painter.setFont(sized(*this, -2, isLevel ? QFont::DemiBold : QFont::Normal));
        painter.setPen(style.color(isLevel ? Role::text : Role::hint));
        const double half = 0.5 * QFontMetrics(painter.font()).capHeight();
        if (value != range.low && value != range.high) {
            painter.drawLine(QPointF(bar.right(), y), QPointF(bar.right() + scaled(*this, 3), y));
        }
        // The ends stand within the height of the bar.
        const double base = std::clamp(y + half, bar.top() + 2 * half + 1, bar.bottom() - 1);
        const QString text = isLevel && value == 0 ? QString("0") : figure(value, decimals);
        painter.drawText(QPointF(x, base), text);
    }
}

void SliceCanvas::paintScale(QPainter& painter, const QRectF& box) const
{
    const double perUnit = box.width() / window().width();
    const double most = box.width() * 0.3 / perUnit;
    if (!(most > 0) || !std::isfinite(most)) {
        return;
    }
    const double length = zrkmodel::roundLengthWithin(most);
    const double bar = length * perUnit;
    const QString text = QString::fromStdString(zrkmodel::scaleText(length, _unit));
    painter.setFont(sized(*this, -2, QFont::Medium));
    const QFontMetrics metrics(painter.font());
    const double pad = scaled(*this, 7);
    const double wide = std::max<double>(bar, metrics.horizontalAdvance(text)) + 2 * pad;
    const double high = scaled(*this, 26);
    const QRectF note(box.left() + scaled(*this, kInset), box.bottom() - scaled(*this, kInset) - high, wide,
                      high);
    if (note.right() + pad > box.right() || note.top() < box.top()) {
        return;
    }
    paintNote(painter, note, 4);
    painter.setPen(noteText());
    painter.drawText(QRectF(note.left(), note.top() + scaled(*this, 3), wide, metrics.height()),
                     Qt::AlignHCenter | Qt::AlignTop, text);
    const double y = note.bottom() - scaled(*this, 6);
    const double x = note.left() + (wide - bar) / 2;
    const double tick = scaled(*this, 3);
    painter.setPen(QPen(noteText(), 1.5));
    painter.drawLine(QPointF(x, y), QPointF(x + bar, y));
    painter.drawLine(QPointF(x, y - tick), QPointF(x, y));
    painter.drawLine(QPointF(x + bar, y - tick), QPointF(x + bar, y));
}

void SliceCanvas::paintCross(QPainter& painter) const
{
    const double gap = scaled(*this, 3);
    const double reach = scaled(*this, 10);
    QPainterPath path;
    const std::array<QPointF, 4> directions = {QPointF(1, 0), {-1, 0}, {0, 1}, {0, -1}};
    for (const QPointF& direction : directions) {
        path.moveTo(*_pointer + direction * gap);
        path.lineTo(*_pointer + direction * reach);
    }
    painter.setPen(QPen(noteText(), 3.5, Qt::SolidLine, Qt::FlatCap));
    painter.drawPath(path);
    painter.setPen(QPen(ZRKCSSStyle::current().color(Role::note), 1.5, Qt::SolidLine, Qt::FlatCap));
    painter.drawPath(path);
}

void SliceCanvas::paintReadout(QPainter& painter, const QRectF& box) const
{
    std::vector<std::pair<QString, QString>> rows;
    const std::array<const char*, 4> colors = {"red", "green", "blue", "opacity"};
    const std::array<const char*, 3> axes = {"x", "y", "z"};
    for (std::size_t c = 0; c < _readout.values.size(); ++c) {
        const char* name = _readout.values.size() == 1   ? "value"
                           : _readout.values.size() == 3 ? axes[c]
                                                         : colors[c];
        rows.emplace_back(name, figure(_readout.values[c]));
    }
    rows.emplace_back("weight", _readout.weight == 0 || _readout.weight == 1
                                    ? QString::number(_readout.weight)
                                    : figure(_readout.weight, 3));
    if (_readout.slope) {
        rows.emplace_back(QString("|%1|").arg(QChar(0x2207)), figure(*_readout.slope, 3));
    }
    const QFont nameFont = sized(*this, -2, QFont::Medium);
    const QFont valueFont = sized(*this, -1, QFont::DemiBold);
    const double pad = scaled(*this, 9);
    const double row = scaled(*this, 17);
    double names = 0;
    double values = scaled(*this, 44);
    for (const auto& [name, value] : rows) {
        names = std::max<double>(names, QFontMetrics(nameFont).horizontalAdvance(name));
        values = std::max<double>(values, QFontMetrics(valueFont).horizontalAdvance(value));
    }
    QRectF note(
        QPointF(*_pointer) + QPointF(scaled(*this, 14), scaled(*this, 14)),
        QSizeF(names + values + scaled(*this, 14) + 2 * pad, row * static_cast<double>(rows.size()) + pad));
    if (note.right() > box.right() - 4) {
        note.moveRight(_pointer->x() - scaled(*this, 14));
    }
    if (note.bottom() > box.bottom() - 4) {
        note.moveBottom(_pointer->y() - scaled(*this, 14));
    }
    paintNote(painter, note, 5);
    double y = note.top() + pad / 2;
    for (const auto& [name, value] : rows) {
        const QRectF line(note.left() + pad, y, note.width() - 2 * pad, row);
        painter.setFont(nameFont);
        painter.setPen(noteHint());
        painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, name);
        painter.setFont(valueFont);
        painter.setPen(noteText());
        painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, value);
        y += row;
    }
}

} // namespace zrkworkbench
