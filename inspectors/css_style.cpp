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
    const char* colors[2];
};

using Role = ZRKCSSStyle::Role;

// In the order of the roles.
constexpr TableColor kTable[] = {
    {Role::canvas, {"#E9ECF0", "#131519"}},
    {Role::canvasDots, {"#CBD1D9", "#2A2F37"}},
    {Role::panel, {"#F6F7F9", "#1B1E23"}},
    {Role::bar, {"#EFF1F4", "#17191E"}},
    {Role::popup, {"#FFFFFF", "#23272E"}},
    {Role::field, {"#FFFFFF", "#121418"}},
    {Role::fieldOverridden, {"#EDEFF2", "#1F2228"}},
    {Role::paneLine, {"#DDE1E7", "#2C3138"}},
    {Role::edge, {"#BFC6D0", "#434A55"}},
    {Role::edgeHovered, {"#7C8796", "#7D8794"}},
    {Role::text, {"#1A1E25", "#E6E9EE"}},
    {Role::secondText, {"#4D5664", "#B6BDC9"}},
    {Role::hint, {"#5C6573", "#99A2AF"}},
    {Role::link, {"#1C50C8", "#7DA9FF"}},
    {Role::accent, {"#2563EB", "#5B93FF"}},
    {Role::accentFill, {"#DCE7FD", "#243452"}},
    {Role::warning, {"#855000", "#F2B63C"}},
    {Role::error, {"#B03408", "#FF8A66"}},
    {Role::frozen, {"#0B6A86", "#74C7E6"}},
    {Role::computing, {"#515A68", "#AEB6C2"}},
    {Role::tagScalar, {"#0B7F74", "#46C2AF"}},
    {Role::tagVector, {"#6D4BD8", "#AB92FB"}},
    {Role::tagColor, {"#B92B78", "#F184BC"}},
    {Role::tagNone, {"#6B7584", "#8F98A5"}},
    {Role::familyPrimitives, {"#0E7480", "#58BDCB"}},
    {Role::familyPatterns, {"#2A7A4B", "#66C38D"}},
    {Role::familyCoordinates, {"#5B50CC", "#9D97F5"}},
    {Role::familyTransforms, {"#8443B0", "#C48DEA"}},
    {Role::familyOperators, {"#4B5D74", "#A3B5CB"}},
    {Role::familyMesh, {"#5C741B", "#A9C05F"}},
    {Role::familyRaster, {"#91542A", "#D9A06F"}},
    {Role::familyTransport, {"#8A4552", "#D78F9C"}},
    {Role::note, {"#101216", "#101216"}},
    {Role::noteText, {"#FFFFFF", "#FFFFFF"}},
};
static_assert(std::size(kTable) == kRoles);

/// A colour that the sheet names. It stands in the palette, so that another palette needs no other sheet.
struct SheetColor {
    const char* name; ///< in braces
    ZRKCSSStyle::Role role;
    QPalette::ColorRole inPalette;
    const char* reference; ///< what sheets call that
};

// The lower eight are roles that Qt shades frames with, which here are drawn by the sheet.
constexpr SheetColor kSheetColors[] = {
    {"panel", Role::panel, QPalette::Window, "window"},
    {"text", Role::text, QPalette::WindowText, "window-text"},
    {"field", Role::field, QPalette::Base, "base"},
    {"accentFill", Role::accentFill, QPalette::Highlight, "highlight"},
    {"link", Role::link, QPalette::Link, "link"},
    {"bar", Role::bar, QPalette::AlternateBase, "alternate-base"},
    {"popup", Role::popup, QPalette::Light, "light"},
    {"fieldOverridden", Role::fieldOverridden, QPalette::BrightText, "bright-text"},
    {"paneLine", Role::paneLine, QPalette::Midlight, "midlight"},
    {"edge", Role::edge, QPalette::Mid, "mid"},
    {"edgeHovered", Role::edgeHovered, QPalette::Dark, "dark"},
    {"secondText", Role::secondText, QPalette::Shadow, "shadow"},
    {"accent", Role::accent, QPalette::LinkVisited, "link-visited"},
};

/// The colour of a text, by the property kTextRole of its label or button.
struct TextColor {
    const char* name;
    ZRKCSSStyle::Role role;
};

constexpr const char* kTextRole = "zrkRole";
constexpr TextColor kTextColors[] = {
    {"hint", Role::hint},
    {"second", Role::secondText},
    {"problem", Role::error},
};

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
QScrollArea#Items { border: 1px solid {paneLine}; border-radius: 8u; padding: 3u; }
QLabel#Thumbnail { background: {field}; border: 1px solid {paneLine}; border-radius: 4u; }
QPushButton#Picker::menu-indicator { image: none; }
QAbstractSpinBox, QLineEdit, QComboBox {
    background: {field}; border: 1px solid {edge}; border-radius: 4u; padding: 0 6u;
    min-height: 22u; max-height: 22u; selection-background-color: {accentFill}; selection-color: {text}; }
QAbstractSpinBox:hover, QLineEdit:hover, QComboBox:hover { border-color: {edgeHovered}; }
QAbstractSpinBox:focus, QLineEdit:focus, QComboBox:focus { border: 2px solid {accent}; padding: 0 5u;
    min-height: 20u; max-height: 20u; }
QAbstractSpinBox:disabled, QLineEdit:disabled, QComboBox:disabled { background: {fieldOverridden}; }
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
QPushButton:disabled { background: {fieldOverridden}; }
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

/// Gives a label or a button the colour that its property names.
void colourText(QWidget& widget)
{
    const QString name = widget.property(kTextRole).toString();
    for (const TextColor& entry : kTextColors) {
        if (name == entry.name) {
            QPalette palette; // of which this colour alone holds
            palette.setColor(widget.foregroundRole(), ZRKCSSStyle::current().color(entry.role));
            widget.setPalette(palette);
        }
    }
}

/// Has the widgets read the sheet's colours out of the palette again. They keep what they read; a sheet that
/// is set anew would also parse it and lay out everything, for ten times as long.
void takeNewPalette()
{
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget->testAttribute(Qt::WA_WState_Polished)) {
            widget->style()->polish(widget);
        }
    }
}

/// Check boxes with a tick, which a sheet has no way to draw.
class TickStyle final : public QProxyStyle {
public:
    TickStyle() : QProxyStyle("fusion") {}

    using QProxyStyle::polish;
    void polish(QWidget* widget) override
    {
        QProxyStyle::polish(widget);
        colourText(*widget);
    }

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
    for (const SheetColor& entry : kSheetColors) {
        palette.setColor(entry.inPalette, color(entry.role));
    }
    palette.setColor(QPalette::Text, color(Role::text));
    palette.setColor(QPalette::Button, color(Role::field));
    palette.setColor(QPalette::ButtonText, color(Role::text));
    palette.setColor(QPalette::ToolTipBase, color(Role::popup));
    palette.setColor(QPalette::ToolTipText, color(Role::text));
    palette.setColor(QPalette::HighlightedText, color(Role::text));
    palette.setColor(QPalette::PlaceholderText, color(Role::hint));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, color(Role::hint));
    }
    return palette;
}

QString ZRKCSSStyle::sheet(double scale) { return filled(QString::fromLatin1(kSheet), scale); }

QString ZRKCSSStyle::filled(QString sheet, double scale)
{
    for (const SheetColor& entry : kSheetColors) {
        sheet.replace(QString("{%1}").arg(entry.name), QString("palette(%1)").arg(entry.reference));
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
    const QString wanted = filled(QString::fromLatin1(kSheet) + more, scaleOf(QApplication::font()));
    if (application.styleSheet() != wanted) {
        application.setStyleSheet(wanted);
    } else {
        takeNewPalette();
    }
    for (QWidget* widget : QApplication::allWidgets()) {
        colourText(*widget);
    }
}

void ZRKCSSStyle::setTextRole(QWidget& widget, const char* role)
{
    widget.setProperty(kTextRole, QString(role));
    colourText(widget);
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
