#include "inspectors/wrappers.h"

#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/property_view.h"

#include <QMenu>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyle>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <QTabBar>
#include <QWheelEvent>

#include <algorithm>
#include <exception>
#include <initializer_list>

namespace zrkui {

using Role = ZRKCSSStyle::Role;

namespace {

/// A line with round ends through points given in pixels at scale 1 around the centre.
void drawStroke(QPainter& painter, std::initializer_list<QPointF> points, const QPointF& center, double scale,
                const QColor& color)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color, 1.5 * scale, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPolygonF placed;
    for (const QPointF& point : points) {
        placed << center + point * scale;
    }
    painter.drawPolyline(placed);
}

/// At the right of a control that opens a list. The sheet's own arrow would be a file.
void drawOpener(QWidget& control)
{
    QPainter painter(&control);
    drawStroke(painter, {{-3.5, -2}, {0, 1.5}, {3.5, -2}},
               QPointF(control.width() - scaled(control, 12), control.height() / 2.0), uiScale(control),
               ZRKCSSStyle::current().color(control.isEnabled() ? Role::secondText : Role::hint));
}

} // namespace

QLabelWrapper::QLabelWrapper(const std::string& text, QWidget* parent)
    : QLabel(QString::fromStdString(text), parent)
{
    setTextFormat(Qt::PlainText);
    setMinimumHeight(scaled(*this, 24)); // a row's
}

void QLabelWrapper::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "label";
    out["label"] = text().toStdString();
}

QPushButtonWrapper::QPushButtonWrapper(const std::string& text, QWidget* parent)
    : QPushButton(QString::fromStdString(text), parent)
{
    setAutoDefault(false);
    setAccessibleName(this->text());
    // Never narrower than its text.
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
}

void QPushButtonWrapper::connectToListener(std::function<void()> listener)
{
    connect(this, &QPushButton::clicked, this, [this, listener = std::move(listener)] {
        try {
            listener();
        } catch (const std::exception& error) { // no event may throw
            UIField::say(this, error.what());
        }
    });
}

zrkmodel::ZRKJson describeDialog(const FileRequest& request)
{
    return {{"mode", request.mode == FileRequest::Mode::folder ? "folder" : "files"},
            {"caption", request.caption},
            {"filter", request.filter},
            {"multiple", request.multiple}};
}

void QPushButtonWrapper::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "button";
    out["label"] = text().toStdString();
    if (_dialog) {
        out["dialog"] = describeDialog(*_dialog);
    }
}

UIPickButton::UIPickButton(QWidget* parent) : QPushButton(parent)
{
    setObjectName("Picker");
    setAutoDefault(false);
    setMenu(new QMenu(this));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize UIPickButton::sizeHint() const { return {scaled(*this, 72), scaled(*this, 24)}; }

void UIPickButton::paintEvent(QPaintEvent*)
{
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text.clear(); // the style would leave no room beside it
    QStylePainter painter(this);
    painter.drawControl(QStyle::CE_PushButton, option);
    const QRect room = rect().adjusted(scaled(*this, 8), 0, -scaled(*this, 24), 0);
    painter.setPen(ZRKCSSStyle::current().color(isEnabled() ? Role::text : Role::hint));
    painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(text(), Qt::ElideMiddle, room.width()));
    drawOpener(*this);
}

QComboBoxWrapper::QComboBoxWrapper(const std::vector<std::string>& labels, int index, QWidget* parent)
    : QComboBox(parent)
{
    for (const std::string& label : labels) {
        addItem(QString::fromStdString(label));
    }
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setSizeAdjustPolicy(QComboBox::AdjustToContents);
    display(index);
    connect(this, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this](int chosen) {
        if (chosen >= 0) {
            _chosen(chosen);
        }
    });
}

void QComboBoxWrapper::display(int index)
{
    const QSignalBlocker blocker(this);
    setCurrentIndex(index >= 0 && index < count() ? index : -1);
}

void QComboBoxWrapper::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "combo";
    out["value"] = currentIndex();
    out["items"] = zrkmodel::ZRKJson::array();
    for (int i = 0; i < count(); ++i) {
        out["items"].push_back(itemText(i).toStdString());
    }
}

QSize QComboBoxWrapper::sizeHint() const { return minimumSizeHint(); }

QSize QComboBoxWrapper::minimumSizeHint() const
{
    int widest = 0;
    for (int i = 0; i < count(); ++i) {
        widest = std::max(widest, fontMetrics().horizontalAdvance(itemText(i)));
    }
    return {widest + scaled(*this, 40), scaled(*this, 24)};
}

void QComboBoxWrapper::paintEvent(QPaintEvent* event)
{
    QComboBox::paintEvent(event);
    drawOpener(*this);
}

void QComboBoxWrapper::wheelEvent(QWheelEvent* event)
{
    if (hasFocus()) {
        QComboBox::wheelEvent(event);
    } else {
        event->ignore(); // the panel scrolls
    }
}

QCheckBoxWrapper::QCheckBoxWrapper(const std::string& text, bool value, QWidget* parent)
    : QCheckBox(QString::fromStdString(text), parent)
{
    setAccessibleName(this->text());
    display(value);
    connect(this, &QCheckBox::toggled, this, [this](bool set) { _set(set); });
}

void QCheckBoxWrapper::display(bool value)
{
    const QSignalBlocker blocker(this);
    setChecked(value);
}

void QCheckBoxWrapper::paintEvent(QPaintEvent* event)
{
    QCheckBox::paintEvent(event);
    if (isChecked()) {
        QStyleOptionButton option;
        initStyleOption(&option);
        const QRect box = style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this);
        QPainter painter(this);
        drawStroke(painter, {{-3.5, 0}, {-1, 2.5}, {3.5, -2.5}}, QRectF(box).center(), uiScale(*this),
                   ZRKCSSStyle::current().color(Role::field));
    }
}

void QCheckBoxWrapper::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "check";
    out["label"] = text().toStdString();
    out["value"] = isChecked();
}

TabHelper::TabHelper(const std::vector<std::string>& labels, QWidget* parent) : QTabWidget(parent)
{
    setDocumentMode(true);
    tabBar()->setDrawBase(false);
    setUsesScrollButtons(false);
    for (const std::string& label : labels) {
        auto* page = new ZRKPropertyView;
        page->setMargins(8);
        addTab(page, QString::fromStdString(label));
    }
}

ZRKPropertyView& TabHelper::page(int i) const { return static_cast<ZRKPropertyView&>(*widget(i)); }

void TabHelper::connectToListener(std::function<void(const int&)> listener)
{
    connect(this, &QTabWidget::currentChanged, this,
            [listener = std::move(listener)](int page) { listener(page); });
}

ZRKOptionsButton::ZRKOptionsButton(QWidget* parent) : QPushButton(parent)
{
    setText(QString(QChar(0x22EF)));
    setAccessibleName("more");
    setAutoDefault(false);
    setMenu(new QMenu(this));
    setStyleSheet("QPushButton { padding: 0; } QPushButton::menu-indicator { image: none; width: 0; }");
    setFixedWidth(scaled(*this, 28));
}

void ZRKOptionsButton::addEntry(const std::string& text, std::function<void()> action)
{
    const QString label = QString::fromStdString(text);
    if (action) {
        connect(menu()->addAction(label), &QAction::triggered, this,
                [action = std::move(action)] { action(); });
    } else {
        menu()->addSection(label);
    }
}

void ZRKOptionsButton::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "menu";
    out["label"] = "";
    out["items"] = zrkmodel::ZRKJson::array();
    for (const QAction* action : menu()->actions()) {
        out["items"].push_back(action->text().toStdString());
    }
}

} // namespace zrkui
