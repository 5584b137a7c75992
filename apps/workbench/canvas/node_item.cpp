#include "apps/workbench/canvas/node_item.h"

#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/wire_item.h"
#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icons.h"
#include "inspectors/number_text.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QPainter>
#include <QPixmap>
#include <QStyleOptionGraphicsItem>

#include <algorithm>
#include <cmath>
#include <map>

namespace zrkworkbench {

using zrkmodel::Pin_handle;
using zrkmodel::Tag;
using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

namespace {

constexpr double kShadow = 8; ///< how far it reaches
constexpr double kFadedNode = 0.45;
constexpr double kNameGap = 12; ///< between the names of an input and an output, at least
constexpr int kKnownWidths = 5000;

const Style& style() { return Style::current(); }

/// A font of the canvas, and how wide texts are in it: shaping them is most of what a node costs.
struct CanvasFont {
    QFont font;
    QHash<QString, double> widths{};
};

CanvasFont& fontOf(double pixels, bool isBold)
{
    static std::map<std::pair<int, bool>, CanvasFont> fonts;
    static QString family;
    if (const QString now = QGuiApplication::font().family(); now != family) {
        family = now;
        fonts.clear();
    }
    const std::pair key(static_cast<int>(std::lround(pixels)), isBold);
    const auto found = fonts.find(key);
    if (found != fonts.end()) {
        return found->second;
    }
    QFont font = QGuiApplication::font();
    font.setPixelSize(std::max(key.first, 1));
    font.setWeight(isBold ? QFont::DemiBold : QFont::Normal);
    font.setHintingPreference(QFont::PreferNoHinting);
    return fonts.emplace(key, CanvasFont{font}).first->second;
}

double textWidth(const QString& text, double pixels, bool isBold = false)
{
    CanvasFont& font = fontOf(pixels, isBold);
    if (const auto known = font.widths.constFind(text); known != font.widths.constEnd()) {
        return *known;
    }
    if (font.widths.size() >= kKnownWidths) {
        font.widths.clear();
    }
    return *font.widths.insert(text, QFontMetricsF(font.font).horizontalAdvance(text));
}

QString numberText(double value)
{
    const QString text = zrkui::textOfNumber(value, 3);
    return text.contains('.') || text.contains('e') ? text : text + ".0";
}

/// The node's shadow as a picture whose middle row and column are stretched.
const QImage& shadowPicture()
{
    static const QImage picture = [] {
        constexpr int kSide = 48;
        QImage image(kSide, kSide, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        for (int ring = 0; ring < 12; ++ring) {
            const double inset = ring * 1.25;
            painter.setBrush(QColor(0, 0, 0, 2 + ring / 3));
            painter.drawRoundedRect(QRectF(inset, inset, kSide - 2 * inset, kSide - 2 * inset),
                                    17 - inset * 0.4, 17 - inset * 0.4);
        }
        return image;
    }();
    return picture;
}

/// The picture's corners stay, what is between them is stretched over `target`.
void paintNinePatch(QPainter& painter, const QRectF& target, const QImage& picture, double scale)
{
    const double side = picture.width();
    const double corner = side / 2 - 1;
    const double shown = corner / scale;
    const double fromX[4] = {0, corner, side - corner, side};
    const double toX[4] = {target.left(), target.left() + shown, target.right() - shown, target.right()};
    const double toY[4] = {target.top(), target.top() + shown, target.bottom() - shown, target.bottom()};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            if (row != 1 || column != 1) {
                painter.drawImage(
                    QRectF(QPointF(toX[column], toY[row]), QPointF(toX[column + 1], toY[row + 1])), picture,
                    QRectF(QPointF(fromX[column], fromX[row]), QPointF(fromX[column + 1], fromX[row + 1])));
            }
        }
    }
}

/// A rectangle whose upper corners alone are round.
QPainterPath headerPath(const QRectF& rect, double radius)
{
    QPainterPath path(rect.bottomLeft());
    path.lineTo(rect.left(), rect.top() + radius);
    path.quadTo(rect.topLeft(), QPointF(rect.left() + radius, rect.top()));
    path.lineTo(rect.right() - radius, rect.top());
    path.quadTo(rect.topRight(), QPointF(rect.right(), rect.top() + radius));
    path.lineTo(rect.bottomRight());
    path.closeSubpath();
    return path;
}

void paintText(QPainter& painter, const QRectF& rect, int alignment, const QString& text, double pixels,
               const QColor& color, bool isBold = false)
{
    painter.setFont(canvasFont(pixels, isBold));
    painter.setPen(color);
    painter.drawText(rect, alignment | Qt::TextSingleLine, text);
}

} // namespace

QFont canvasFont(double pixels, bool isBold) { return fontOf(pixels, isBold).font; }

void paintPin(QPainter& painter, const QPointF& at, Tag tag, const QColor& color, const QColor& ground,
              double radius)
{
    QPainterPath shape;
    if (tag == Tag::Vector3d) {
        const double reach = radius * 1.3;
        shape.moveTo(at.x(), at.y() - reach);
        shape.lineTo(at.x() + reach, at.y());
        shape.lineTo(at.x(), at.y() + reach);
        shape.lineTo(at.x() - reach, at.y());
        shape.closeSubpath();
    } else if (tag == Tag::Color) {
        const double reach = radius * 0.92;
        shape.addRoundedRect(QRectF(at.x() - reach, at.y() - reach, 2 * reach, 2 * reach), 1, 1);
    } else {
        shape.addEllipse(at, radius, radius);
    }
    painter.setPen(QPen(ground, 3, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(shape);
    if (tag == Tag::None || tag == Tag::Any) {
        painter.setPen(QPen(color, 2));
        painter.setBrush(ground);
        painter.drawEllipse(at, radius - 1, radius - 1);
    } else {
        painter.fillPath(shape, color);
    }
}

NodeItem::NodeItem(NodeInfo info) : _info(std::move(info))
{
    setZValue(2);
    measure();
    setPos(_info.position);
}

void NodeItem::setInfo(NodeInfo info)
{
    if (info == _info) {
        return;
    }
    prepareGeometryChange();
    _info = std::move(info);
    measure();
    setPos(_info.position);
    update();
}

void NodeItem::measure()
{
    const double name = textWidth(_info.title, size::kNodeFont, true);
    const double summary = _info.summary.isEmpty() ? 0 : textWidth(_info.summary, size::kHintFont) + 8;
    // Room for one badge always, so that the width doesn't change with states.
    const double header = std::min(size::kHeaderName + name + summary + size::kHeaderPad + size::kBadgePitch,
                                   size::kWidestHeader);
    double inputs = 0;
    double outputs = 0;
    for (const PinInfo& pin : _info.inputs) {
        inputs = std::max(inputs, textWidth(pin.name, size::kNodeFont));
    }
    for (const PinInfo& pin : _info.outputs) {
        outputs = std::max(outputs, textWidth(pin.name, size::kNodeFont));
    }
    const double rows = 2 * size::kPinName + inputs + kNameGap + outputs;
    const double width = std::max({size::kNodeWidth, header, rows});
    const auto count = std::max(_info.inputs.size(), _info.outputs.size());
    _size.setWidth(std::ceil(width / size::kSnap) * size::kSnap);
    _size.setHeight(size::kHeader + size::kPadTop + size::kPadBottom +
                    size::kRow * static_cast<double>(count));
    if (_hasThumbnailRoom) {
        _size.rheight() += thumbnailSize().height();
    }
}

QSizeF NodeItem::thumbnailSize() const
{
    return {_size.width(), std::round(_size.width() * size::kThumbnailShape)};
}

void NodeItem::setThumbnailShown(bool isOn)
{
    const bool hasRoom = isOn && !_info.outputs.empty();
    if (hasRoom != _hasThumbnailRoom) {
        prepareGeometryChange();
        _hasThumbnailRoom = hasRoom;
        measure();
        update();
    }
}

void NodeItem::setSelected(bool isOn)
{
    if (isOn != _isSelected) {
        _isSelected = isOn;
        update();
    }
}

void NodeItem::setHover(double hover)
{
    if (hover != _hover) {
        _hover = hover;
        update();
    }
}

void NodeItem::setViewed(bool isOn)
{
    if (isOn != _isViewed) {
        _isViewed = isOn;
        update();
    }
}

void NodeItem::setBadge(const NodeBadge& badge)
{
    if (badge != _badge) {
        _badge = badge;
        update();
    }
}

void NodeItem::setThumbnail(const QImage& picture)
{
    _thumbnail = picture;
    update();
}

void NodeItem::setLights(std::optional<DragLights> lights)
{
    if (lights != _lights) {
        _lights = std::move(lights);
        setOpacity(isFadedWhole() ? kFadedNode : 1);
        update();
    }
}

bool NodeItem::isFadedWhole() const
{
    if (!_lights || _lights->start.node() == _info.id) {
        return false;
    }
    const auto isLit = [](bool lit) { return lit; };
    return std::none_of(_lights->inputs.begin(), _lights->inputs.end(), isLit) &&
           std::none_of(_lights->outputs.begin(), _lights->outputs.end(), isLit);
}

double NodeItem::rowMiddle(std::size_t row) const
{
    return size::kHeader + size::kPadTop + size::kRow * (static_cast<double>(row) + 0.5);
}

QPointF NodeItem::pinPosition(Pin_handle pin) const
{
    return pos() + QPointF(pin.isOutput() ? _size.width() : 0, rowMiddle(pin.index()));
}

QStringList NodeItem::badgeIcons() const
{
    QStringList icons; // from the right
    using Kind = NodeBadge::Kind;
    const Kind kind = _badge.kind;
    if (kind != Kind::none) {
        icons << (kind == Kind::error       ? "error"
                  : kind == Kind::warning   ? "warning"
                  : kind == Kind::computing ? "computing"
                                            : "frozen");
    }
    if (_info.isBypassed) {
        icons << "bypass";
    }
    if (_isViewed) {
        icons << "eye";
    }
    return icons;
}

QRectF NodeItem::badgeRect() const
{
    if (_badge.kind == NodeBadge::Kind::none) {
        return {};
    }
    return {pos() +
                QPointF(_size.width() - size::kHeaderPad - size::kIcon, (size::kHeader - size::kIcon) / 2),
            QSizeF(size::kIcon, size::kIcon)};
}

QRectF NodeItem::boundingRect() const
{
    const double above = size::kFlagHeight + size::kFlagGap + 2;
    return bodyRect().adjusted(-12, -above, 12, 14);
}

void NodeItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    const double zoom = zoomOf(*painter);
    if (zoom < size::kBlockZoom) {
        paintBlock(*painter);
        return;
    }
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::TextAntialiasing);
    if (zoom < size::kPlateZoom) {
        paintPlate(*painter, zoom);
        return;
    }
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    paintBody(*painter, zoom);
    paintHeader(*painter, zoom);
    paintThumbnail(*painter);
    if (zoom >= size::kNamesZoom) {
        paintRows(*painter);
    }
    paintRing(*painter, zoom);
    paintPins(*painter, zoom);
    paintFlag(*painter, zoom);
}

void NodeItem::paintBlock(QPainter& painter) const
{
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(bodyRect(), _isSelected ? style().color(Role::accent)
                                             : Style::mixed(style().color(Role::canvas),
                                                            style().color(_info.family), 0.5));
}

void NodeItem::paintPlate(QPainter& painter, double zoom) const
{
    const double line = (_isSelected ? 2 : 1) / zoom;
    const QColor edge = _isSelected                               ? style().color(Role::accent)
                        : _badge.kind == NodeBadge::Kind::error   ? style().color(Role::error)
                        : _badge.kind == NodeBadge::Kind::warning ? style().color(Role::warning)
                                                                  : style().color(Role::edge);
    painter.setPen(QPen(edge, line, _info.isBypassed ? Qt::DashLine : Qt::SolidLine));
    painter.setBrush(_info.isBypassed ? style().greyHeader() : style().header(_info.family));
    painter.drawRoundedRect(bodyRect(), size::kNodeRadius, size::kNodeRadius);
    const double font = 10 / zoom;
    const QRectF room = bodyRect().adjusted(4 / zoom, 0, -4 / zoom, 0);
    const QFontMetricsF metrics(canvasFont(font, true));
    paintText(painter, room, Qt::AlignCenter, metrics.elidedText(_info.title, Qt::ElideRight, room.width()),
              font, style().color(Role::text), true);
}

void NodeItem::paintBody(QPainter& painter, double zoom) const
{
    const QRectF body = bodyRect();
    if (zoom >= size::kNamesZoom / 2) {
        paintNinePatch(painter, body.adjusted(-kShadow, -kShadow + 2, kShadow, kShadow + 3), shadowPicture(),
                       2);
    }
    const bool isError = _badge.kind == NodeBadge::Kind::error;
    const QColor edge =
        isError ? style().color(Role::error)
                : Style::mixed(style().color(Role::edge), style().color(Role::edgeHovered), _hover);
    QPen pen(edge, std::max(isError ? 1.5 : 1.0, 1 / zoom));
    if (_info.isBypassed) {
        pen.setDashPattern({3, 2.5});
    }
    painter.setPen(pen);
    painter.setBrush(style().color(Role::node));
    painter.drawRoundedRect(body, size::kNodeRadius, size::kNodeRadius);
}

void NodeItem::paintHeader(QPainter& painter, double zoom) const
{
    const QRectF header(0.5, 0.5, _size.width() - 1, size::kHeader - 0.5);
    const QColor ground = _info.isBypassed ? style().greyHeader() : style().header(_info.family);
    painter.fillPath(headerPath(header, size::kNodeRadius - 0.5), ground);
    const QRectF rule(0.5, size::kHeader - 1, _size.width() - 1, 1);
    painter.fillRect(rule, _info.isBypassed ? style().color(Role::edge) : style().headerRule(_info.family));
    if (_badge.kind == NodeBadge::Kind::computing && _badge.progress >= 0) {
        painter.fillRect(QRectF(0.5, size::kHeader - 1, _size.width() - 1, 2), style().color(Role::edge));
        painter.fillRect(
            QRectF(0.5, size::kHeader - 1, (_size.width() - 1) * std::clamp(_badge.progress, 0.0, 1.0), 2),
            style().color(Role::computing));
    }
    paintIcon(painter, _info.icon,
              QRectF(size::kHeaderPad, (size::kHeader - size::kIcon) / 2, size::kIcon, size::kIcon),
              style().color(_info.isBypassed ? Role::secondText : _info.family));

    double right = _size.width() - size::kHeaderPad;
    if (zoom >= size::kPlateZoom) {
        for (const QString& name : badgeIcons()) {
            const Role role = name == "error"       ? Role::error
                              : name == "warning"   ? Role::warning
                              : name == "frozen"    ? Role::frozen
                              : name == "computing" ? Role::computing
                                                    : Role::secondText;
            const QRectF box(right - size::kIcon, (size::kHeader - size::kIcon) / 2, size::kIcon,
                             size::kIcon);
            if (name == "computing") {
                // The whole ring faintly, and as much of it as is done.
                const double share = _badge.progress >= 0 ? std::clamp(_badge.progress, 0.02, 1.0) : 0.7;
                const QRectF ring = box.adjusted(2.2, 2.2, -2.2, -2.2);
                painter.setBrush(Qt::NoBrush);
                painter.setPen(QPen(style().color(Role::edge), 1.5));
                painter.drawEllipse(ring);
                painter.setPen(QPen(style().color(role), 1.5, Qt::SolidLine, Qt::RoundCap));
                painter.drawArc(ring, 90 * 16, static_cast<int>(-360 * 16 * share));
            } else {
                paintIcon(painter, name, box, style().color(role));
            }
            right -= size::kBadgePitch;
        }
    }
    const double nameEnd = size::kHeaderName + textWidth(_info.title, size::kNodeFont, true) + 8;
    const double summaryWidth = textWidth(_info.summary, size::kHintFont);
    // Where badges leave too little room, the name stays whole.
    if (zoom >= size::kNamesZoom && !_info.summary.isEmpty() && right - summaryWidth >= nameEnd) {
        paintText(painter, QRectF(right - summaryWidth, 0, summaryWidth + 1, size::kHeader),
                  Qt::AlignVCenter | Qt::AlignLeft, _info.summary, size::kHintFont,
                  style().color(Role::secondText));
        right -= summaryWidth + 8;
    }
    const double font =
        zoom >= size::kNamesZoom ? size::kNodeFont : std::max(9 / zoom, double(size::kNodeFont));
    const QRectF room(size::kHeaderName, 0, right - size::kHeaderName, size::kHeader);
    const QFontMetricsF metrics(canvasFont(font, true));
    paintText(painter, room, Qt::AlignVCenter | Qt::AlignLeft,
              metrics.elidedText(_info.title, Qt::ElideRight, room.width()), font,
              style().color(_info.isBypassed ? Role::secondText : Role::text), true);
}

void NodeItem::paintRows(QPainter& painter) const
{
    const auto nameColor = [&](bool isInput, std::size_t i) {
        const Role role = isInput ? Role::secondText : Role::text;
        if (!_lights || isFadedWhole()) {
            return style().color(role);
        }
        const std::vector<bool>& lit = isInput ? _lights->inputs : _lights->outputs;
        const Pin_handle pin = isInput ? Pin_handle::input(_info.id, static_cast<std::uint8_t>(i))
                                       : Pin_handle::output(_info.id, static_cast<std::uint8_t>(i));
        return (i < lit.size() && lit[i]) || pin == _lights->start ? style().color(Role::text)
                                                                   : style().fadedName(role);
    };
    for (std::size_t i = 0; i < _info.outputs.size(); ++i) {
        paintText(
            painter, QRectF(0, rowMiddle(i) - size::kRow / 2, _size.width() - size::kPinName, size::kRow),
            Qt::AlignVCenter | Qt::AlignRight, _info.outputs[i].name, size::kNodeFont, nameColor(false, i));
    }
    for (std::size_t i = 0; i < _info.inputs.size(); ++i) {
        const PinInfo& pin = _info.inputs[i];
        const QRectF row(size::kPinName, rowMiddle(i) - size::kRow / 2, _size.width() - size::kPinName,
                         size::kRow);
        paintText(painter, row, Qt::AlignVCenter | Qt::AlignLeft, pin.name, size::kNodeFont,
                  nameColor(true, i));
        const double outputName =
            i < _info.outputs.size() ? textWidth(_info.outputs[i].name, size::kNodeFont) : 0;
        const double end = _size.width() - size::kPinName - outputName - kNameGap;
        if (pin.isLinked) {
            continue;
        }
        // What arrives while nothing is linked.
        const QString text = pin.value            ? numberText(*pin.value)
                             : pin.passesPosition ? QString("position")
                                                  : QString();
        if (!text.isEmpty()) {
            const double left = size::kPinName + textWidth(pin.name, size::kNodeFont) + 6;
            if (left + textWidth(text, size::kHintFont) <= end) {
                paintText(painter, row.adjusted(left - size::kPinName, 0, 0, 0),
                          Qt::AlignVCenter | Qt::AlignLeft, text, size::kHintFont,
                          _lights ? style().fadedName(Role::hint) : style().color(Role::hint));
            }
        }
    }
    if (_info.isBypassed && !_info.inputs.empty() && !_info.outputs.empty()) {
        const double left = size::kPinName + textWidth(_info.inputs[0].name, size::kNodeFont) + 6;
        const double right =
            _size.width() - size::kPinName - textWidth(_info.outputs[0].name, size::kNodeFont) - 6;
        QPen pen(style().color(roleOf(_info.inputs[0].tag)), 1.5, Qt::SolidLine, Qt::FlatCap);
        pen.setDashPattern({2, 1.6});
        painter.setPen(pen);
        if (right > left) {
            painter.drawLine(QPointF(left, rowMiddle(0)), QPointF(right, rowMiddle(0)));
        }
    }
}

void NodeItem::paintThumbnail(QPainter& painter) const
{
    if (!_hasThumbnailRoom) {
        return;
    }
    const double height = thumbnailSize().height();
    const QRectF room(0.5, _size.height() - height, _size.width() - 1, height - 0.5);
    QPainterPath shape; // the lower corners alone are round
    {
        const double r = size::kNodeRadius - 0.5;
        shape.moveTo(room.topLeft());
        shape.lineTo(room.topRight());
        shape.lineTo(room.right(), room.bottom() - r);
        shape.quadTo(room.bottomRight(), QPointF(room.right() - r, room.bottom()));
        shape.lineTo(room.left() + r, room.bottom());
        shape.quadTo(room.bottomLeft(), QPointF(room.left(), room.bottom() - r));
        shape.closeSubpath();
    }
    if (_thumbnail.isNull()) {
        painter.fillPath(shape, style().color(Role::fieldOverridden));
    } else {
        const double opacity = painter.opacity();
        painter.setOpacity(opacity * style().thumbnailOpacity());
        QBrush brush(_thumbnail);
        brush.setTransform(QTransform(room.width() / _thumbnail.width(), 0, 0,
                                      room.height() / _thumbnail.height(), room.left(), room.top()));
        painter.fillPath(shape, brush);
        painter.setOpacity(opacity);
    }
    painter.fillRect(QRectF(0.5, room.top() - 0.5, _size.width() - 1, 1), style().color(Role::edge));
}

void NodeItem::paintPins(QPainter& painter, double zoom) const
{
    const QColor ground = style().color(Role::node);
    const double radius = std::max(size::kPinRadius, 3 / zoom);
    const auto paintOne = [&](const PinInfo& pin, bool isInput, std::size_t i) {
        const QPointF at(isInput ? 0 : _size.width(), rowMiddle(i));
        const Role role = roleOf(pin.tag);
        QColor color = style().color(role);
        if (_lights && !isFadedWhole()) { // a node that fades as a whole does so once
            const std::vector<bool>& lit = isInput ? _lights->inputs : _lights->outputs;
            const Pin_handle handle = isInput ? Pin_handle::input(_info.id, static_cast<std::uint8_t>(i))
                                              : Pin_handle::output(_info.id, static_cast<std::uint8_t>(i));
            if (i < lit.size() && lit[i]) {
                color = style().color(roleOf(_lights->tag));
                QColor halo = color;
                halo.setAlphaF(0.22);
                painter.setPen(Qt::NoPen);
                painter.setBrush(halo);
                painter.drawEllipse(at, size::kPinHalo, size::kPinHalo);
                painter.setPen(QPen(color, 2));
                painter.setBrush(ground);
                painter.drawEllipse(at, size::kPinRing, size::kPinRing);
            } else if (handle != _lights->start) {
                color = style().fadedPin(role);
            }
        }
        paintPin(painter, at, pin.tag, color, ground, radius);
    };
    for (std::size_t i = 0; i < _info.inputs.size(); ++i) {
        paintOne(_info.inputs[i], true, i);
    }
    for (std::size_t i = 0; i < _info.outputs.size(); ++i) {
        paintOne(_info.outputs[i], false, i);
    }
}

void NodeItem::paintRing(QPainter& painter, double zoom) const
{
    if (!_isSelected) {
        return;
    }
    const double line = std::max(2.0, 1.5 / zoom);
    painter.setPen(QPen(style().color(Role::accent), line));
    painter.setBrush(Qt::NoBrush);
    const double gap = 1.5 + line / 2;
    painter.drawRoundedRect(bodyRect().adjusted(-gap, -gap, gap, gap), size::kNodeRadius + gap,
                            size::kNodeRadius + gap);
}

void NodeItem::paintFlag(QPainter& painter, double zoom) const
{
    if (!_info.hasOutputFlag || zoom < size::kPlateZoom) {
        return;
    }
    const QString text = "output";
    const double width = textWidth(text, size::kHintFont, true) + 28;
    const QRectF flag(_size.width() - width, -size::kFlagGap - size::kFlagHeight, width, size::kFlagHeight);
    painter.setPen(Qt::NoPen);
    painter.setBrush(style().color(Role::text));
    painter.drawRoundedRect(flag, 3, 3);
    const QColor ink = style().color(Role::node);
    paintIcon(painter, "output", QRectF(flag.left() + 6, flag.top() + 3, 12, 12), ink);
    paintText(painter, flag.adjusted(21, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, text, size::kHintFont,
              ink, true);
}

} // namespace zrkworkbench
