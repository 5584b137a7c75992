#include "apps/workbench/window/top_bar.h"

#include "apps/workbench/window/quick_search.h"
#include "inspectors/css_style.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPainter>
#include <QToolButton>

#include <algorithm>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;

TopBar::TopBar(QWidget* parent)
    : QWidget(parent),
      _menus(new QMenuBar),
      _buttons(new QWidget),
      _name(new QLabel(this)),
      _search(new QuickSearch)
{
    setObjectName("TopBar");
    setFixedHeight(scaled(*this, 44));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(scaled(*this, 8), 0, scaled(*this, 16), 1);
    row->setSpacing(scaled(*this, 8));
    _menus->setNativeMenuBar(false);
    _menus->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Preferred);
    row->addWidget(_menus, 0, Qt::AlignVCenter);
    auto* line = new QFrame(this);
    line->setObjectName("Line");
    line->setFixedSize(1, scaled(*this, 18));
    row->addWidget(line, 0, Qt::AlignVCenter);
    auto* buttons = new QHBoxLayout(_buttons);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->setSpacing(scaled(*this, 2));
    row->addWidget(_buttons, 0, Qt::AlignVCenter);
    row->addStretch(1);
    _search->setFixedWidth(scaled(*this, 272));
    row->addWidget(_search, 0, Qt::AlignVCenter);
    _name->setAttribute(Qt::WA_TransparentForMouseEvents);
    _name->setTextFormat(Qt::RichText);
    _name->setAccessibleName("document");
}

void TopBar::addButton(QAction* action)
{
    auto* button = new QToolButton(_buttons);
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    button->setFixedSize(scaled(*this, 28), scaled(*this, 28));
    button->setIconSize(QSize(scaled(*this, 16), scaled(*this, 16)));
    button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    button->setAccessibleName(action->iconText());
    button->setFocusPolicy(Qt::TabFocus);
    _buttons->layout()->addWidget(button);
}

void TopBar::showName(const QString& name, bool isModified)
{
    _document = name;
    _isModified = isModified;
    _name->setAccessibleDescription(name + (isModified ? ", not saved" : ""));
    placeName();
}

/// In the middle of the window, or where there is room; a long one without its middle.
void TopBar::placeName()
{
    const int left = _buttons->geometry().right() + scaled(*this, 16);
    const int right = _search->geometry().left() - scaled(*this, 16);
    const QString stem = _document.section('.', 0, 0);
    const QString rest = _document.mid(stem.size());
    QFont bold = _name->font();
    bold.setWeight(QFont::DemiBold);
    const int room = right - left - _name->fontMetrics().horizontalAdvance(rest) - scaled(*this, 24);
    const QString second = ZRKCSSStyle::current().color(ZRKCSSStyle::Role::secondText).name();
    _name->setText(
        QString::fromUtf8("%1<b style=\"font-weight:600\">%2</b><span style=\"color:%3\">%4</span>")
            .arg(_isModified ? QString::fromUtf8("<span style=\"color:%1\">●</span>&nbsp; ").arg(second)
                             : QString(),
                 QFontMetrics(bold).elidedText(stem, Qt::ElideMiddle, room).toHtmlEscaped(), second,
                 rest.toHtmlEscaped()));
    _name->adjustSize();
    const int x = std::clamp((width() - _name->width()) / 2, left, std::max(left, right - _name->width()));
    _name->move(x, (height() - _name->height()) / 2);
    _name->setVisible(right - left > scaled(*this, 80));
}

void TopBar::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    placeName();
}

void TopBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    painter.fillRect(rect(), style.color(ZRKCSSStyle::Role::bar));
    painter.fillRect(0, height() - 1, width(), 1, style.color(ZRKCSSStyle::Role::paneLine));
}

} // namespace zrkworkbench
