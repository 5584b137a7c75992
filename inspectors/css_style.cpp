#include "inspectors/css_style.h"

#include <QApplication>
#include <QFontInfo>
#include <QRegularExpression>
#include <QWidget>

#include <cmath>
#include <utility>

namespace zrkui {

namespace {

constexpr int kRoles = static_cast<int>(ZRKCSSStyle::Role::count);
constexpr double kBaseFont = 13;

// In the order of the roles.
const char* const kLight[kRoles] = {"#E9ECF0", "#F6F7F9", "#EFF1F4", "#FFFFFF", "#FFFFFF", "#EDEFF2",
                                    "#DDE1E7", "#BFC6D0", "#7C8796", "#1A1E25", "#4D5664", "#5C6573",
                                    "#1C50C8", "#2563EB", "#DCE7FD", "#855000", "#B03408", "#0B7F74"};
const char* const kDark[kRoles] = {"#131519", "#1B1E23", "#17191E", "#23272E", "#121418", "#1F2228",
                                   "#2C3138", "#434A55", "#7D8794", "#E6E9EE", "#B6BDC9", "#99A2AF",
                                   "#7DA9FF", "#5B93FF", "#243452", "#F2B63C", "#FF8A66", "#46C2AF"};

const ZRKCSSStyle* applied = nullptr;

// Names in braces stand for colours, numbers followed by "u" for scaled pixels.
const char* const kSheet = R"(
QWidget { color: {text}; }
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
QCheckBox::indicator { width: 14u; height: 14u; border: 1px solid {edgeHovered}; border-radius: 3u; background: {field}; }
QCheckBox::indicator:focus { border: 2px solid {accent}; }
QCheckBox::indicator:checked { background: {accent}; border-color: {accent}; }
QCheckBox:focus { color: {link}; }
QTabWidget::pane { border: none; border-top: 1px solid {paneLine}; }
QTabBar::tab { background: transparent; color: {secondText}; padding: 5u 10u; border-bottom: 2px solid transparent; }
QTabBar::tab:selected { color: {text}; border-bottom-color: {accent}; }
QTabBar::tab:focus { color: {link}; }
QFrame#Item, QFrame#SelectedItem { background: {popup}; border-radius: 6u; }
QFrame#Item { border: 1px solid {paneLine}; }
QFrame#SelectedItem { border: 1px solid {accent}; background: {accentFill}; }
QLabel[zrkRole="caption"] { color: {text}; }
QLabel[zrkRole="mark"] { color: {hint}; background: transparent; }
QLabel[zrkRole="hint"] { color: {hint}; }
QLabel[zrkRole="second"] { color: {secondText}; }
QLabel[zrkRole="problem"] { color: {error}; }
QLabel[zrkRole="warning"] { color: {warning}; }
QLabel[zrkRole="title"] { color: {text}; font-weight: 600; }
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

const std::pair<const char*, ZRKCSSStyle::Role> kNames[] = {
    {"panel", ZRKCSSStyle::Role::panel},
    {"bar", ZRKCSSStyle::Role::bar},
    {"popup", ZRKCSSStyle::Role::popup},
    {"field", ZRKCSSStyle::Role::field},
    {"fieldOverridden", ZRKCSSStyle::Role::fieldOverridden},
    {"paneLine", ZRKCSSStyle::Role::paneLine},
    {"edge", ZRKCSSStyle::Role::edge},
    {"edgeHovered", ZRKCSSStyle::Role::edgeHovered},
    {"text", ZRKCSSStyle::Role::text},
    {"secondText", ZRKCSSStyle::Role::secondText},
    {"hint", ZRKCSSStyle::Role::hint},
    {"link", ZRKCSSStyle::Role::link},
    {"accent", ZRKCSSStyle::Role::accent},
    {"accentFill", ZRKCSSStyle::Role::accentFill},
    {"warning", ZRKCSSStyle::Role::warning},
    {"error", ZRKCSSStyle::Role::error},
};

double scaleOf(const QFont& font) { return QFontInfo(font).pixelSize() / kBaseFont; }

} // namespace

const ZRKCSSStyle& ZRKCSSStyle::light()
{
    static const ZRKCSSStyle style(kLight);
    return style;
}

const ZRKCSSStyle& ZRKCSSStyle::dark()
{
    static const ZRKCSSStyle style(kDark);
    return style;
}

const ZRKCSSStyle& ZRKCSSStyle::current() { return applied ? *applied : light(); }

const ZRKCSSStyle& ZRKCSSStyle::ofSystem()
{
    return QApplication::palette().color(QPalette::Window).lightness() < 128 ? dark() : light();
}

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

QString ZRKCSSStyle::sheet(double scale) const
{
    QString sheet = QString::fromLatin1(kSheet);
    for (const auto& [name, role] : kNames) {
        sheet.replace("{" + QString::fromLatin1(name) + "}", color(role).name());
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

void ZRKCSSStyle::apply(QApplication& application) const
{
    applied = this;
    QApplication::setPalette(palette());
    application.setStyleSheet(sheet(scaleOf(QApplication::font())));
}

double uiScale(const QWidget& widget) { return scaleOf(widget.font()); }

int scaled(const QWidget& widget, double pixels)
{
    return static_cast<int>(std::lround(pixels * uiScale(widget)));
}

} // namespace zrkui
