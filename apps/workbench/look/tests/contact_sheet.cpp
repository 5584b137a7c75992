// Draws all icons, light and dark, with their names, for the eye: icon_sheet FILE.

#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icons.h"
#include "components/registration.h"
#include "model/graph_object.h"

#include <QApplication>
#include <QPainter>

#include <cstdio>

using namespace zrkworkbench;
using Style = zrkui::ZRKCSSStyle;

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    if (argc != 2) {
        std::fputs("usage: icon_sheet FILE\n", stderr);
        return 2;
    }
    constexpr int kColumns = 9;
    constexpr int kCell = 84;
    const QStringList names = iconNames();
    const int rows = (static_cast<int>(names.size()) + kColumns - 1) / kColumns;
    QImage sheet(2 * kColumns * kCell * 2, rows * 70 * 2, QImage::Format_RGB32);
    sheet.setDevicePixelRatio(2);
    QPainter painter(&sheet);
    QFont font = painter.font();
    font.setPixelSize(7);
    painter.setFont(font);
    for (int side = 0; side < 2; ++side) {
        const Style& style = side == 0 ? Style::light() : Style::dark();
        painter.fillRect(QRect(side * kColumns * kCell, 0, kColumns * kCell, rows * 70),
                         style.color(Style::Role::node));
        for (int i = 0; i < names.size(); ++i) {
            const QPoint at(side * kColumns * kCell + i % kColumns * kCell, i / kColumns * 70);
            const auto* type = zrkmodel::ZRKGraphObject::registry().findByClass(names[i].toStdString());
            const QColor color = style.color(type ? familyOf(*type).role : Style::Role::secondText);
            paintIcon(painter, names[i], QRectF(at + QPoint(6, 10), QSizeF(32, 32)), color);
            paintIcon(painter, names[i], QRectF(at + QPoint(48, 18), QSizeF(16, 16)), color);
            painter.setPen(style.color(Style::Role::text));
            painter.drawText(at + QPoint(4, 56), names[i]);
        }
    }
    painter.end();
    return sheet.save(argv[1]) ? 0 : 1;
}
