#pragma once

#include "core/values/export.h"

#include <QColor>
#include <QPalette>
#include <QString>

#include <functional>

class QApplication;
class QWidget;

namespace zrkui {

/// The one table of colours, in a light and a dark column, and the sheet that is made of it.
/// Each colour has one meaning: blue is selected, focused or on, amber warns, vermilion is an error.
class ZRK_API ZRKCSSStyle {
public:
    enum class Role {
        canvas,
        canvasDots,
        panel,
        bar, ///< menus and status
        popup,
        field,
        fieldOverridden,
        paneLine,
        edge,
        edgeHovered,
        text,
        secondText, ///< on headers too
        hint,       ///< units and what is off; not on headers
        link,       ///< blue as text
        accent,     ///< blue as a graphic
        accentFill, ///< under a chosen row and a button that is on
        warning,
        error,
        frozen,
        computing,
        tagScalar,
        tagVector,
        tagColor,
        tagNone, ///< a wildcard that has no tag yet
        familyPrimitives,
        familyPatterns,
        familyCoordinates,
        familyTransforms,
        familyOperators,
        familyMesh,
        familyRaster,
        familyTransport,
        note, ///< the ground of notes on a picture, with kNoteOpacity
        noteText,
        count,
        node = popup,
        curve = tagScalar ///< of gradients and of thumbnails
    };
    static constexpr double kNoteOpacity = 0.88;

    static const ZRKCSSStyle& light();
    static const ZRKCSSStyle& dark();
    /// The one that was applied last; before that the light one.
    static const ZRKCSSStyle& current();
    /// Light or dark as the system's palette is now.
    static const ZRKCSSStyle& ofSystem();
    /// Answers for the system what its palette is; an empty function lets the system answer again.
    static void setSystemPalette(std::function<QPalette()> palette);

    QColor color(Role role) const;
    bool isDark() const { return _column == 1; }

    // Colours made of those in the table

    /// `ground` with so much of `ink` in it, 0 to 1.
    static QColor mixed(const QColor& ground, const QColor& ink, double share);
    /// The header of a node of a family, and the line under it.
    QColor header(Role family) const;
    QColor headerRule(Role family) const;
    /// The header of a node that is bypassed.
    QColor greyHeader() const;
    /// A row under the pointer.
    QColor hoveredRow() const;
    /// The ground of a frame around nodes; it lets the canvas through.
    QColor frame() const;
    /// A pin, or a name, that a dragged wire doesn't fit, on its ground.
    QColor fadedPin(Role pin) const;
    QColor fadedName(Role name) const;
    /// How opaque pictures of fields are in nodes.
    double thumbnailOpacity() const { return isDark() ? 0.86 : 1; }
    /// Edges as strong as hovered ones, for those who see little contrast. Of both styles.
    static void setHighContrast(bool isOn);

    /// The colours that the sheet refers to are among these.
    QPalette palette() const;
    /// The sheet of both styles. Sizes in pixels at scale 1 are multiplied by `scale`.
    static QString sheet(double scale);
    /// A sheet in which names in braces stand for colours of the palette, and numbers followed by "u" for
    /// pixels at scale 1.
    static QString filled(QString sheet, double scale);
    /// Gives the application this palette and the sheet, scaled by its font, over the style "fusion".
    /// @param more  added to the sheet, see `filled`: one sheet is taken in in half the time of two.
    void apply(QApplication& application, const QString& more = {}) const;
    /// Gives the text of a label or button the colour of a role, "hint", "second" or "problem", in each
    /// style. Until it is shown, setting the property "zrkRole" does the same.
    static void setTextRole(QWidget& widget, const char* role);

private:
    explicit ZRKCSSStyle(int column) : _column(column) {}
    int _column; ///< of the table
};

/// The contrast of two colours by WCAG 2: 1 for equal ones, 21 for black on white.
double contrast(const QColor& a, const QColor& b);

/// How much larger the widget's font is than the one that sizes are given for, 13 pixels.
ZRK_API double uiScale(const QWidget& widget);
/// So many pixels of scale 1, in whole pixels of the widget.
ZRK_API int scaled(const QWidget& widget, double pixels);

} // namespace zrkui
