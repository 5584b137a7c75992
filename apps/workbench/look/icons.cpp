#include "apps/workbench/look/icons.h"

#include "apps/workbench/look/icon_paths.h"

#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <system_error>

namespace zrkworkbench {

using zrkui::ZRKCSSStyle;

namespace {

constexpr double kGrid = 16;
constexpr const char* kUnknown = "node";

/// Reads commands and their numbers from the text of a path.
class PathReader {
public:
    PathReader(const char* text, IconShape& shape) : _start(text), _at(text), _shape(&shape) {}

    /// False where the text can't be read any further.
    bool read()
    {
        for (skipBlanks(); *_at; skipBlanks()) {
            if (!command(*_at++)) {
                return false;
            }
        }
        return true;
    }
    qptrdiff place() const { return _at - _start; }

private:
    const char* _start;
    const char* _at;
    IconShape* _shape;
    bool _isFilled = false;

    QPainterPath& path() { return _isFilled ? _shape->fills : _shape->lines; }

    void skipBlanks()
    {
        while (*_at == ' ' || *_at == ',') {
            ++_at;
        }
    }

    bool hasNumber()
    {
        skipBlanks();
        return *_at == '-' || *_at == '.' || std::isdigit(static_cast<unsigned char>(*_at)) != 0;
    }

    template <std::size_t Count>
    bool numbers(std::array<double, Count>& out)
    {
        for (double& number : out) {
            if (!hasNumber()) {
                return false;
            }
            // Not strtod: with a locale that writes 1,5 it would stop at the point.
            const auto [end, error] = std::from_chars(_at, _at + std::strlen(_at), number);
            if (error != std::errc()) {
                return false;
            }
            _at = end;
        }
        return true;
    }

    /// Calls `draw` for each group of so many numbers; there must be one.
    template <std::size_t Count, class Draw>
    bool groups(const Draw& draw)
    {
        do {
            std::array<double, Count> n;
            if (!numbers(n)) {
                return false;
            }
            draw(n);
        } while (hasNumber());
        return true;
    }

    bool command(char name)
    {
        switch (name) {
        case 'M':
            return groups<2>([&](const auto& n) { path().moveTo(n[0], n[1]); });
        case 'L':
            return groups<2>([&](const auto& n) { path().lineTo(n[0], n[1]); });
        case 'H':
            return groups<1>([&](const auto& n) { path().lineTo(n[0], path().currentPosition().y()); });
        case 'V':
            return groups<1>([&](const auto& n) { path().lineTo(path().currentPosition().x(), n[0]); });
        case 'C':
            return groups<6>([&](const auto& n) { path().cubicTo(n[0], n[1], n[2], n[3], n[4], n[5]); });
        case 'Q':
            return groups<4>([&](const auto& n) { path().quadTo(n[0], n[1], n[2], n[3]); });
        case 'E':
            return groups<4>([&](const auto& n) { path().addEllipse(QPointF(n[0], n[1]), n[2], n[3]); });
        case 'A':
            return groups<6>([&](const auto& n) {
                const QRectF box(n[0] - n[2], n[1] - n[3], 2 * n[2], 2 * n[3]);
                path().arcMoveTo(box, n[4]);
                path().arcTo(box, n[4], n[5]);
            });
        case 'R':
            return groups<5>(
                [&](const auto& n) { path().addRoundedRect(n[0], n[1], n[2], n[3], n[4], n[4]); });
        case 'Z':
            path().closeSubpath();
            return true;
        case 'F':
            _isFilled = true;
            return true;
        case 'S':
            _isFilled = false;
            return true;
        case 'W':
            return groups<1>([&](const auto& n) { _shape->lineWidth = n[0]; });
        default:
            --_at;
            return false;
        }
    }
};

const QHash<QString, IconShape>& shapes()
{
    static const QHash<QString, IconShape> all = [] {
        QHash<QString, IconShape> made;
        for (const IconPath& entry : iconPaths()) {
            made.insert(QString::fromLatin1(entry.name), parseIconShape(entry.path));
        }
        return made;
    }();
    return all;
}

/// Draws an icon when it is asked for, so that it follows the style.
class IconEngine : public QIconEngine {
public:
    IconEngine(const QString& name, ZRKCSSStyle::Role role) : _name(name), _role(role) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override
    {
        const auto role = mode == QIcon::Disabled ? ZRKCSSStyle::Role::hint
                          : state == QIcon::On    ? ZRKCSSStyle::Role::accent
                                                  : _role;
        const int side = std::min(rect.width(), rect.height());
        QRectF box(0, 0, side, side);
        box.moveCenter(QRectF(rect).center());
        painter->save();
        painter->setOpacity(mode == QIcon::Disabled ? 0.6 : 1);
        paintIcon(*painter, _name, box, ZRKCSSStyle::current().color(role));
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }

    QIconEngine* clone() const override { return new IconEngine(*this); }
    QString key() const override { return "zrk"; }

private:
    QString _name;
    ZRKCSSStyle::Role _role;
};

} // namespace

IconShape parseIconShape(const char* text, QString* problem)
{
    IconShape shape;
    PathReader reader(text, shape);
    if (!reader.read() && problem) {
        *problem = QString("at character %1: expected a command with its numbers").arg(reader.place());
    }
    return shape;
}

QStringList iconNames()
{
    QStringList names;
    for (const IconPath& entry : iconPaths()) {
        names << QString::fromLatin1(entry.name);
    }
    return names;
}

bool hasIcon(const QString& name) { return shapes().contains(name); }

const IconShape& iconShape(const QString& name)
{
    const auto found = shapes().constFind(name);
    return found != shapes().constEnd() ? *found : *shapes().constFind(kUnknown);
}

void paintIcon(QPainter& painter, const QString& name, const QRectF& box, const QColor& color)
{
    const IconShape& shape = iconShape(name);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.topLeft());
    painter.scale(box.width() / kGrid, box.height() / kGrid);
    painter.setPen(Qt::NoPen);
    painter.fillPath(shape.fills, color);
    painter.strokePath(shape.lines, QPen(color, shape.lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.restore();
}

QIcon icon(const QString& name, ZRKCSSStyle::Role role) { return QIcon(new IconEngine(name, role)); }

} // namespace zrkworkbench
