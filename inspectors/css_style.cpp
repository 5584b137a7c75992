#include "inspectors/css_style.h"

#include <QApplication>
#include <QFontInfo>
#include <QPainter>
#include <QProxyStyle>
#include <QRegularExpression>
#include <QStyleOption>
#include <QWidget>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <iterator>
#include <utility>

namespace zrkui {

namespace {

constexpr int kRoles = static_cast<int>(ZRKCSSStyle::Role::count);
constexpr double kBaseFont = 13;
constexpr const char* kIsStyled = "zrkIsStyled"; ///< property of an application with a TickStyle

struct TableColor {
    ZRKCSSStyle::Role role;
    const char* name; ///< in the sheet; null where it isn't used there
    const char* colors[2];
};

using Role = ZRKCSSStyle::Role;

// In the order of the roles.
constexpr TableColor kTable[] = {
    {Role::canvas, "canvas", {"#E9ECF0", "#131519"}},
    {Role::canvasDots, nullptr, {"#CBD1D9", "#2A2F37"}},
    {Role::panel, "panel", {"#F6F7F9", "#1B1E23"}},
    {Role::bar, "bar", {"#EFF1F4", "#17191E"}},
    {Role::popup, "popup", {"#FFFFFF", "#23272E"}},
    {Role::field, "field", {"#FFFFFF", "#121418"}},
    {Role::fieldOverridden, "fieldOverridden", {"#EDEFF2", "#1F2228"}},
    {Role::paneLine, "paneLine", {"#DDE1E7", "#2C3138"}},
    {Role::edge, "edge", {"#BFC6D0", "#434A55"}},
    {Role::edgeHovered, "edgeHovered", {"#7C8796", "#7D8794"}},
    {Role::text, "text", {"#1A1E25", "#E6E9EE"}},
    {Role::secondText, "secondText", {"#4D5664", "#B6BDC9"}},
    {Role::hint, "hint", {"#5C6573", "#99A2AF"}},
    {Role::link, "link", {"#1C50C8", "#7DA9FF"}},
    {Role::accent, "accent", {"#2563EB", "#5B93FF"}},
    {Role::accentFill, "accentFill", {"#DCE7FD", "#243452"}},
    {Role::warning, "warning", {"#855000", "#F2B63C"}},
    {Role::error, "error", {"#B03408", "#FF8A66"}},
    {Role::frozen, nullptr, {"#0B6A86", "#74C7E6"}},
    {Role::computing, nullptr, {"#515A68", "#AEB6C2"}},
    {Role::tagScalar, nullptr, {"#0B7F74", "#46C2AF"}},
    {Role::tagVector, nullptr, {"#6D4BD8", "#AB92FB"}},
    {Role::tagColor, nullptr, {"#B92B78", "#F184BC"}},
    {Role::tagNone, nullptr, {"#6B7584", "#8F98A5"}},
    {Role::familyPrimitives, nullptr, {"#0E7480", "#58BDCB"}},
    {Role::familyPatterns, nullptr, {"#2A7A4B", "#66C38D"}},
    {Role::familyCoordinates, nullptr, {"#5B50CC", "#9D97F5"}},
    {Role::familyTransforms, nullptr, {"#8443B0", "#C48DEA"}},
    {Role::familyOperators, nullptr, {"#4B5D74", "#A3B5CB"}},
    {Role::familyMesh, nullptr, {"#5C741B", "#A9C05F"}},
    {Role::familyRaster, nullptr, {"#91542A", "#D9A06F"}},
    {Role::familyTransport, nullptr, {"#8A4552", "#D78F9C"}},
    {Role::note, "note", {"#101216", "#101216"}},
    {Role::noteText, "noteText", {"#FFFFFF", "#FFFFFF"}},
};
static_assert(std::size(kTable) == kRoles);

bool isHighContrast = false;
const ZRKCSSStyle* applied = nullptr;

QPalette askSystem()
{
    const QPalette own = QApplication::palette();
    QApplication::setPalette(QPalette()); // without one of its own the application has that of the system
    QPalette palette = QApplication::palette();
    QApplication::setPalette(own);
    return palette;
}

std::function<QPalette()> systemPalette = askSystem;

// Names in braces stand for colours, numbers followed by "u" for scaled pixels.
const char* const kSheet = R"(
QToolTip { background: {popup}; color: {text}; border: 1px solid {edge}; padding: 4u; }
QMainWindow, QDialog, QScrollArea, QScrollArea > QWidget > QWidget { background: {panel}; }
QScrollArea { border: none; }
QScrollArea#Items { border: 1px solid {paneLine}; border-radius: 6u; }
QLabel#Thumbnail { background: {field}; border: 1px solid {paneLine}; border-radius: 4u; }
QPushButton#Picker::menu-indicator { image: none; }
QAbstractSpinBox, QLineEdit, QComboBox {
    background: {field}; border: 1px solid {edge}; border-radius: 4u; padding: 0 6u;
    min-height: 22u; max-height: 22u; selection-background-color: {accentFill}; selection-color: {text}; }
QAbstractSpinBox:hover, QLineEdit:hover, QComboBox:hover { border-color: {edgeHovered}; }
QAbstractSpinBox:focus, QLineEdit:focus, QComboBox:focus { border: 2px solid {accent}; padding: 0 5u;
    min-height: 20u; max-height: 20u; }
QAbstractSpinBox:disabled, QLineEdit:disabled, QComboBox:disabled { background: {fieldOverridden}; color: {hint}; }
QAbstractSpinBox QLineEdit, QAbstractSpinBox QLineEdit:focus { border: none; background: transparent; padding: 0; }
QComboBox::drop-down { border: none; width: 20u; }
QComboBox QAbstractItemView, QMenu { background: {popup}; border: 1px solid {edge};
    selection-background-color: {accentFill}; selection-color: {text}; outline: none; }
QMenu { padding: 4u; }
QMenu::item { padding: 4u 16u; border-radius: 3u; }
QMenu::item:selected { background: {accentFill}; }
QMenu::separator { height: 1px; background: {paneLine}; margin: 4u; }
QPushButton { background: {field}; border: 1px solid {edge}; border-radius: 4u; padding: 0 10u;
    min-height: 22u; max-height: 22u; }
QPushButton:hover { border-color: {edgeHovered}; }
QPushButton:pressed, QPushButton:checked { background: {accentFill}; }
QPushButton:focus { border: 2px solid {accent}; padding: 0 9u; min-height: 20u; max-height: 20u; }
QPushButton:disabled { color: {hint}; background: {fieldOverridden}; }
QPushButton#Warning { color: {error}; }
QCheckBox { spacing: 8u; min-height: 24u; }
QCheckBox:focus { color: {link}; }
QTabWidget::pane { border: none; border-top: 1px solid {paneLine}; }
QTabBar::tab { background: transparent; color: {secondText}; padding: 5u 10u; border-bottom: 2px solid transparent; }
QTabBar::tab:selected { color: {text}; border-bottom-color: {accent}; }
QTabBar::tab:focus { color: {link}; }
QGroupBox { border: none; margin: 0; padding: 0; }
QGroupBox::title { subcontrol-origin: margin; padding: 0; }
QFrame#Item, QFrame#SelectedItem { background: {popup}; border-radius: 6u; }
QFrame#Item { border: 1px solid {paneLine}; }
QFrame#SelectedItem { border: 1px solid {accent}; background: {accentFill}; }
QLabel[zrkRole="mark"] { color: {hint}; background: transparent; }
QLabel[zrkRole="hint"] { color: {hint}; }
QLabel[zrkRole="second"] { color: {secondText}; }
QLabel[zrkRole="problem"] { color: {error}; }
QLabel[zrkRole="warning"] { color: {warning}; }
QLabel[zrkRole="title"] { font-weight: 600; }
QScrollBar:vertical { background: transparent; width: 10u; margin: 0; }
QScrollBar::handle:vertical { background: {edge}; border-radius: 3u; min-height: 24u; margin: 2u; }
QScrollBar::handle:vertical:hover { background: {edgeHovered}; }
QScrollBar:horizontal { background: transparent; height: 10u; margin: 0; }
QScrollBar::handle:horizontal { background: {edge}; border-radius: 3u; min-width: 24u; margin: 2u; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QListWidget { background: {panel}; border: none; outline: none; }
QListWidget::item { min-height: 24u; padding: 0 8u; border-radius: 4u; }
QListWidget::item:selected { background: {accentFill}; color: {text}; }
QMenuBar, QStatusBar { background: {bar}; }
QMenuBar::item { padding: 4u 8u; background: transparent; }
QMenuBar::item:selected { background: {accentFill}; }
QSplitter::handle { background: {paneLine}; }
QProgressBar { border: 1px solid {edge}; border-radius: 4u; background: {field}; text-align: center; max-height: 14u; }
QProgressBar::chunk { background: {accent}; border-radius: 3u; }
)";

double scaleOf(const QFont& font) { return QFontInfo(font).pixelSize() / kBaseFont; }

/// Check boxes with a tick, which a sheet has no way to draw.
class TickStyle final : public QProxyStyle {
public:
    TickStyle() : QProxyStyle("fusion") {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        const bool isSide = metric == PM_IndicatorWidth || metric == PM_IndicatorHeight;
        return isSide && widget ? scaled(*widget, 16) : QProxyStyle::pixelMetric(metric, option, widget);
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        if (element != PE_IndicatorCheckBox) {
            QProxyStyle::drawPrimitive(element, option, painter, widget);
            return;
        }
        using Role = ZRKCSSStyle::Role;
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const bool isOn = (option->state & State_On) != 0;
        const bool isEnabled = (option->state & State_Enabled) != 0;
        const bool hasFocus = (option->state & State_HasFocus) != 0;
        const QRectF box = QRectF(option->rect).adjusted(1.5, 1.5, -1.5, -1.5);
        const Role fill = isOn ? (isEnabled ? Role::accent : Role::hint) : Role::field;
        const Role edge = hasFocus ? Role::link : isOn ? fill : Role::edgeHovered;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(style.color(edge), hasFocus ? 2 : 1));
        painter->setBrush(style.color(fill));
        painter->drawRoundedRect(box, 3, 3);
        if (isOn) {
            const auto at = [&](double x, double y) {
                return QPointF(box.left() + x * box.width(), box.top() + y * box.height());
            };
            painter->setPen(
                QPen(style.color(Role::field), box.width() / 7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter->setBrush(Qt::NoBrush);
            const QPointF tick[] = {at(0.24, 0.52), at(0.43, 0.71), at(0.77, 0.31)};
            painter->drawPolyline(tick, 3);
        }
        painter->restore();
    }
};

} // namespace

const ZRKCSSStyle& ZRKCSSStyle::light()
{
    static const ZRKCSSStyle style(0);
    return style;
}

const ZRKCSSStyle& ZRKCSSStyle::dark()
{
    static const ZRKCSSStyle style(1);
    return style;
}

const ZRKCSSStyle& ZRKCSSStyle::current() { return applied ? *applied : light(); }

const ZRKCSSStyle& ZRKCSSStyle::ofSystem()
{
    return systemPalette().color(QPalette::Window).lightness() < 128 ? dark() : light();
}

void ZRKCSSStyle::setSystemPalette(std::function<QPalette()> palette)
{
    systemPalette = palette ? std::move(palette) : askSystem;
}

QColor ZRKCSSStyle::color(Role role) const
{
    const Role shown = role == Role::edge && isHighContrast ? Role::edgeHovered : role;
    const TableColor& row = kTable[static_cast<int>(shown)];
    assert(row.role == shown);
    return QColor(row.colors[_column]);
}

QColor ZRKCSSStyle::mixed(const QColor& ground, const QColor& ink, double share)
{
    const auto mix = [&](int from, int to) {
        return static_cast<int>(std::lround(from + (to - from) * share));
    };
    return QColor(mix(ground.red(), ink.red()), mix(ground.green(), ink.green()),
                  mix(ground.blue(), ink.blue()));
}

QColor ZRKCSSStyle::header(Role family) const
{
    return mixed(color(Role::node), color(family), isDark() ? 0.23 : 0.15);
}

QColor ZRKCSSStyle::headerRule(Role family) const
{
    return isDark() ? mixed(header(family), Qt::black, 0.35) : mixed(header(family), color(family), 0.22);
}

QColor ZRKCSSStyle::greyHeader() const { return mixed(color(Role::node), color(Role::tagNone), 0.12); }

QColor ZRKCSSStyle::hoveredRow() const { return mixed(color(Role::panel), color(Role::text), 0.07); }

QColor ZRKCSSStyle::frame() const
{
    QColor white(Qt::white);
    white.setAlphaF(isDark() ? 0.035 : 0.37);
    return white;
}

QColor ZRKCSSStyle::fadedPin(Role pin) const { return mixed(color(pin), color(Role::node), 0.7); }

QColor ZRKCSSStyle::fadedName(Role name) const { return mixed(color(name), color(Role::node), 0.6); }

void ZRKCSSStyle::setHighContrast(bool isOn) { isHighContrast = isOn; }

QPalette ZRKCSSStyle::palette() const
{
    QPalette palette(color(Role::panel));
    palette.setColor(QPalette::Window, color(Role::panel));
    palette.setColor(QPalette::WindowText, color(Role::text));
    palette.setColor(QPalette::Base, color(Role::field));
    palette.setColor(QPalette::AlternateBase, color(Role::panel));
    palette.setColor(QPalette::Text, color(Role::text));
    palette.setColor(QPalette::Button, color(Role::field));
    palette.setColor(QPalette::ButtonText, color(Role::text));
    palette.setColor(QPalette::ToolTipBase, color(Role::popup));
    palette.setColor(QPalette::ToolTipText, color(Role::text));
    palette.setColor(QPalette::Highlight, color(Role::accentFill));
    palette.setColor(QPalette::HighlightedText, color(Role::text));
    palette.setColor(QPalette::Link, color(Role::link));
    palette.setColor(QPalette::PlaceholderText, color(Role::hint));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, color(Role::hint));
    }
    return palette;
}

QString ZRKCSSStyle::sheet(double scale) const { return filled(QString::fromLatin1(kSheet), scale); }

QString ZRKCSSStyle::filled(QString sheet, double scale) const
{
    for (const TableColor& row : kTable) {
        if (row.name) {
            sheet.replace("{" + QString::fromLatin1(row.name) + "}", color(row.role).name());
        }
    }
    static const QRegularExpression length("(\\d+)u\\b");
    QString result;
    int done = 0;
    for (auto found = length.globalMatch(sheet); found.hasNext();) {
        const auto match = found.next();
        const int start = static_cast<int>(match.capturedStart());
        result += sheet.mid(done, start - done);
        result += QString::number(std::lround(match.captured(1).toInt() * scale)) + "px";
        done = static_cast<int>(match.capturedEnd());
    }
    return result + sheet.mid(done);
}

void ZRKCSSStyle::apply(QApplication& application, const QString& more) const
{
    if (!application.property(kIsStyled).toBool()) {
        QApplication::setStyle(new TickStyle); // owned by the application
        application.setProperty(kIsStyled, true);
    }
    applied = this;
    QApplication::setPalette(palette());
    application.setStyleSheet(filled(QString::fromLatin1(kSheet) + more, scaleOf(QApplication::font())));
}

double contrast(const QColor& a, const QColor& b)
{
    const auto luminance = [](const QColor& color) {
        const auto linear = [](double c) {
            return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
               0.0722 * linear(color.blueF());
    };
    const double first = luminance(a);
    const double second = luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

double uiScale(const QWidget& widget) { return scaleOf(widget.font()); }

int scaled(const QWidget& widget, double pixels)
{
    return static_cast<int>(std::lround(pixels * uiScale(widget)));
}

} // namespace zrkui
