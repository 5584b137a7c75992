#include "inspectors/property_view.h"

#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/follow.h"
#include "inspectors/images.h"
#include "inspectors/panel_parts.h"
#include "inspectors/vector_widget.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QGroupBox>
#include <QLineEdit>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <variant>

namespace zrkui {

namespace {

constexpr double kRowSpacing = 4;
constexpr double kColumnSpacing = 8;
constexpr double kTitleHeight = 20;

void applyExtent(QWidget& widget, const UIRect& rect)
{
    const auto pixels = [&](double length) {
        return std::isinf(length) ? QWIDGETSIZE_MAX : scaled(widget, length);
    };
    if (rect.width.minimum > 0) {
        widget.setMinimumWidth(pixels(rect.width.minimum));
    }
    if (rect.height.minimum > 0) {
        widget.setMinimumHeight(pixels(rect.height.minimum));
    }
    if (std::isfinite(rect.width.maximum)) {
        widget.setMaximumWidth(pixels(rect.width.maximum));
    }
    if (std::isfinite(rect.height.maximum)) {
        widget.setMaximumHeight(pixels(rect.height.maximum));
    }
}

int stretchOf(const ZRKPropertyView::Rect& rect, bool isHorizontal, const QWidget* widget = nullptr)
{
    const std::optional<UICoord> coord = !rect ? std::nullopt : isHorizontal ? rect->x : rect->y;
    // Buttons, checks and texts are as wide as what they say.
    const auto* const button = qobject_cast<const QAbstractButton*>(widget);
    const bool hasOwnWidth = button && button->sizePolicy().horizontalPolicy() != QSizePolicy::Expanding;
    if (coord) {
        return static_cast<int>(std::lround(coord->stretch));
    }
    const int wanted = widget ? widget->sizePolicy().horizontalStretch() : 0;
    return isHorizontal && !hasOwnWidth ? std::max(1, wanted) : 0;
}

/// The field that stands at the top of an item of a row; null for none.
UIField* topField(QLayoutItem& item)
{
    QLayout* inner = item.layout();
    while (inner && inner->count() > 0 && inner->itemAt(0)->layout()) {
        inner = inner->itemAt(0)->layout();
    }
    QWidget* widget = inner ? (inner->count() > 0 ? inner->itemAt(0)->widget() : nullptr) : item.widget();
    return dynamic_cast<UIField*>(widget);
}

/// Has the topmost controls of a row stand in one line, with captions above them or not.
void alignTops(QLayout& row)
{
    std::vector<UIField*> tops;
    for (int i = 0; i < row.count(); ++i) {
        if (UIField* field = topField(*row.itemAt(i))) {
            tops.push_back(field);
        }
    }
    if (std::any_of(tops.begin(), tops.end(), [](const UIField* top) { return top->hasCaptionAbove(); })) {
        std::for_each(tops.begin(), tops.end(), [](UIField* top) { top->reserveCaption(); });
    }
}

/// A line of text in place of a widget.
class TextField : public QLineEdit, public UIDescribed {
public:
    using QLineEdit::QLineEdit;
    void describe(zrkmodel::ZRKJson& out) const override
    {
        out["widget"] = "text";
        out["value"] = text().toStdString();
    }
};

template <class T, class Widget>
Widget* bound(zrkmodel::ZRKProperty<T>& property, Widget* widget)
{
    setShownProperty(*widget, property.name());
    widget->display(property.value());
    widget->connectToListener([&property](const T& value) { property.set(value); });
    follow<T>(*widget, property, [widget](const T& value) { widget->display(value); });
    return widget;
}

/// Makes the widget of an entry.
struct EntryWidget {
    ZRKPropertyView& view;

    QWidget* operator()(const zrkmodel::ZRKPDouble& entry) const
    {
        auto* field = new QDoubleSpinBoxWrapper;
        field->setLimits(entry.min, entry.max);
        return placed(bound(*entry.property, field), entry.property->name());
    }
    QWidget* operator()(const zrkmodel::ZRKPInt& entry) const
    {
        auto* field = new QSpinBoxWrapper;
        field->setLimits(entry.min, entry.max);
        return placed(bound(*entry.property, field), entry.property->name());
    }
    QWidget* operator()(const zrkmodel::ZRKPBool& entry) const
    {
        return placed(
            bound(*entry.property, new QCheckBoxWrapper(entry.property->name(), entry.property->value())),
            "");
    }
    QWidget* operator()(const zrkmodel::ZRKPVector3d& entry) const
    {
        auto* widget = new VectorWidget<3>(entry.property->value());
        widget->setLimits(entry.min, entry.max);
        return placed(bound(*entry.property, widget), entry.property->name());
    }
    QWidget* operator()(const zrkmodel::ZRKPString& entry) const
    {
        auto* field = new TextField;
        auto& property = *entry.property;
        setShownProperty(*field, property.name());
        field->setText(QString::fromStdString(property.value()));
        QObject::connect(field, &QLineEdit::editingFinished, field, [field, &property] {
            if (field->text().toStdString() != property.value()) {
                property.set(field->text().toStdString());
            }
        });
        follow<std::string>(*field, property, [field](const std::string& text) {
            field->setText(QString::fromStdString(text));
        });
        return placed(field, property.name());
    }
    QWidget* operator()(const zrkmodel::ZRKPGeometry& entry) const
    {
        auto& property = *entry.property;
        return addGeometryPicker(
            view, property, zrkmodel::kAnyGeometry, 1, property.name(),
            [&property](const auto& picked) { property.set(picked.empty() ? nullptr : picked.front()); });
    }
    QWidget* operator()(const zrkmodel::ZRKPScalarGrad& entry) const
    {
        auto* curve = dynamic_cast<zrkmodel::ZRKProperty<zrkmodel::ScalarCurve>*>(entry.property);
        return curve ? addCurveEditor(view, *curve) : nullptr;
    }
    // No component has a property of another kind.
    template <class Other>
    QWidget* operator()(const Other&) const
    {
        return nullptr;
    }

private:
    template <class Widget>
    QWidget* placed(Widget* widget, const std::string& caption) const
    {
        view.add(widget, {}, captionOf(caption));
        return widget;
    }
};

} // namespace

ZRKPropertyView::ZRKPropertyView(QWidget* parent) : QWidget(parent)
{
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(0, 0, 0, 0);
    root->setSpacing(scaled(*this, kRowSpacing));
    _open.push_back({root, true});
}

ZRKPropertyView::~ZRKPropertyView()
{
    // Before what their listeners refer to.
    qDeleteAll(findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly));
}

void ZRKPropertyView::setMargins(double margin)
{
    const int pixels = scaled(*this, margin);
    layout()->setContentsMargins(pixels, pixels, pixels, pixels);
}

void ZRKPropertyView::push(QBoxLayout* layout, bool isForm, const Rect& rect)
{
    layout->setContentsMargins(0, 0, 0, 0);
    QBoxLayout* outer = innermost();
    const bool isInRow =
        outer->direction() == QBoxLayout::LeftToRight || outer->direction() == QBoxLayout::RightToLeft;
    outer->addLayout(layout, stretchOf(rect, isInRow));
    if (isInRow) {
        outer->setAlignment(layout, Qt::AlignTop);
    }
    _open.push_back({layout, isForm});
}

void ZRKPropertyView::pushVBoxLayout(const Rect& rect)
{
    auto* layout = new QVBoxLayout;
    layout->setSpacing(scaled(*this, kRowSpacing));
    push(layout, _open.back().isForm, rect);
}

void ZRKPropertyView::pushHBoxLayout(const Rect& rect)
{
    auto* layout = new QHBoxLayout;
    layout->setSpacing(scaled(*this, kColumnSpacing));
    push(layout, false, rect);
}

void ZRKPropertyView::pushVBoxLayoutInGroup(const std::string& title, const Rect& rect)
{
    auto* group = new QGroupBox(QString::fromStdString(title));
    auto* layout = new QVBoxLayout(group);
    layout->setContentsMargins(0, title.empty() ? 0 : scaled(*this, kTitleHeight), 0, 0);
    layout->setSpacing(scaled(*this, kRowSpacing));
    const bool isForm = _open.back().isForm;
    if (rect) {
        applyExtent(*group, *rect);
    }
    innermost()->addWidget(group);
    _open.push_back({layout, isForm});
}

void ZRKPropertyView::popLayout()
{
    if (_open.size() > 1) { // the view's own stays
        if (innermost()->direction() == QBoxLayout::LeftToRight) {
            alignTops(*innermost());
        }
        _open.pop_back();
    }
}

void ZRKPropertyView::reopen(QBoxLayout* layout) { _open.push_back({layout, false}); }

QWidget* ZRKPropertyView::addProperty(const zrkmodel::ZRKDynamicPropertyPack::Entry& entry)
{
    return std::visit(EntryWidget{*this}, entry);
}

QLabelWrapper* ZRKPropertyView::addLabel(const std::string& text, const Rect& rect)
{
    auto* label = new QLabelWrapper(text);
    add(label, rect);
    return label;
}

QPushButtonWrapper* ZRKPropertyView::addButton(const UIContent& content, const Rect& rect,
                                               std::function<void()> callback)
{
    const auto* text = std::get_if<std::string>(&content);
    auto* button = new QPushButtonWrapper(text ? *text : std::string());
    if (const auto* image = std::get_if<UIImage>(&content)) {
        button->setIcon(QPixmap::fromImage(toImage(*image)));
    } else if (auto* const* widget = std::get_if<QWidget*>(&content)) {
        (new QHBoxLayout(button))->addWidget(*widget);
    }
    if (callback) {
        button->connectToListener(std::move(callback));
    }
    add(button, rect);
    return button;
}

QComboBoxWrapper* ZRKPropertyView::addComboBox(const std::vector<std::string>& labels, int index,
                                               const Rect& rect, const UIContent& content)
{
    auto* combo = new QComboBoxWrapper(labels, index);
    add(combo, rect, content);
    return combo;
}

QCheckBoxWrapper* ZRKPropertyView::addCheckBox(const std::string& text, bool value, const Rect& rect)
{
    auto* check = new QCheckBoxWrapper(text, value);
    add(check, rect);
    return check;
}

UIContent ZRKPropertyView::captionFor(NumberField& field, const UIContent& content) const
{
    const auto* text = std::get_if<std::string>(&content);
    if (!text || _open.back().isForm) {
        return content;
    }
    field.setMark(QString::fromStdString(*text));
    field.setAccessibleName(QString::fromStdString(*text));
    field.setProperty("zrkCaption", QString::fromStdString(*text));
    return {};
}

SliderFWrapper* ZRKPropertyView::addHSlider(double value, const zrk::Interval<double>& range,
                                            const Rect& rect, const UIContent& content)
{
    auto* slider = new SliderFWrapper(range);
    slider->display(value);
    add(slider, rect, captionFor(*slider, content));
    return slider;
}

QDoubleSpinBoxWrapper* ZRKPropertyView::addSpinBox(double value, const zrk::Interval<double>& range,
                                                   const Rect& rect, const UIContent& content)
{
    auto* field = new QDoubleSpinBoxWrapper;
    field->setLimits(range.lower, range.upper);
    field->display(value);
    add(field, rect, captionFor(*field, content));
    return field;
}

QSpinBoxWrapper* ZRKPropertyView::addSpinBoxI(double value, const zrk::Interval<int>& range, const Rect& rect,
                                              const UIContent& content)
{
    auto* field = new QSpinBoxWrapper;
    field->setLimits(range.lower, range.upper);
    field->display(value);
    add(field, rect, captionFor(*field, content));
    return field;
}

TabHelper* ZRKPropertyView::addTabWidget(const std::vector<std::string>& labels, const Rect& rect,
                                         const UIContent& content)
{
    auto* tabs = new TabHelper(labels);
    add(tabs, rect, content);
    return tabs;
}

void ZRKPropertyView::add(QWidget* widget, const Rect& rect, const UIContent& content)
{
    if (rect) {
        applyExtent(*widget, *rect);
    }
    const auto arrangement = _open.back().isForm ? UIField::Arrangement::row : UIField::Arrangement::column;
    auto* field = new UIField(widget, content, arrangement);
    QBoxLayout* layout = innermost();
    const bool isInRow = layout->direction() == QBoxLayout::LeftToRight;
    if (rect && rect->x && isInRow) {
        layout->addSpacing(scaled(*this, rect->x->offset));
    }
    layout->addWidget(field, stretchOf(rect, isInRow, widget));
    if (isInRow && widget->sizePolicy().verticalPolicy() != QSizePolicy::Expanding) {
        layout->setAlignment(field, Qt::AlignTop);
    }
}

void ZRKPropertyView::remove(QWidget* widget)
{
    if (UIField* field = widget ? UIField::of(widget) : nullptr) {
        delete field;
    } else {
        delete widget;
    }
}

QWidget* addFirstEntry(ZRKPropertyView& view, const zrkmodel::ZRKDynamicPropertyPack& pack)
{
    if (pack.entries().empty()) {
        return nullptr;
    }
    view.keep(pack.owner());
    return view.addProperty(pack.entries().front());
}

QWidget* addPropertyWidget(ZRKPropertyView* view, zrkmodel::ZRKPropertyBase& property)
{
    zrkmodel::ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property);
    return addFirstEntry(*view, pack);
}

QWidget* addPropertyWidget(ZRKPropertyView* view, zrkmodel::ZRKProperty<double>& property, double min,
                           double max)
{
    zrkmodel::ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property, min, max, true);
    return addFirstEntry(*view, pack);
}

} // namespace zrkui
