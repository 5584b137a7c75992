#pragma once

#include <QColor>
#include <QPalette>
#include <QString>

class QApplication;
class QWidget;

namespace zrkui {

/// The one table of colours, in a light and a dark column, and the sheet that is made of it.
/// Each colour has one meaning: blue is selected, focused or on, amber warns, vermilion is an error.
class ZRKCSSStyle {
public:
    enum class Role {
        canvas,
        panel,
        bar,
        popup,
        field,
        fieldOverridden,
        paneLine,
        edge,
        edgeHovered,
        text,
        secondText,
        hint,
        link,
        accent,
        accentFill,
        warning,
        error,
        curve, ///< of gradients and of thumbnails: the tag of scalars
        count
    };

    static const ZRKCSSStyle& light();
    static const ZRKCSSStyle& dark();
    /// The one that was applied last; before that the light one.
    static const ZRKCSSStyle& current();
    /// Light or dark as the system's palette is.
    static const ZRKCSSStyle& ofSystem();

    QColor color(Role role) const { return QColor(_colors[static_cast<int>(role)]); }
    QPalette palette() const;
    /// Sizes in pixels at scale 1 are multiplied by `scale`.
    QString sheet(double scale) const;
    /// Gives the application this palette and sheet, scaled by its font.
    void apply(QApplication& application) const;

private:
    explicit ZRKCSSStyle(const char* const* colors) : _colors(colors) {}
    const char* const* _colors;
};

/// How much larger the widget's font is than the one that sizes are given for, 13 pixels.
double uiScale(const QWidget& widget);
/// So many pixels of scale 1, in whole pixels of the widget.
int scaled(const QWidget& widget, double pixels);

} // namespace zrkui
