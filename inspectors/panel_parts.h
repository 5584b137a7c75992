#pragma once

#include "components/point_interpolator_serializer.h"
#include "inspectors/field.h"
#include "inspectors/follow.h"
#include "inspectors/geometry_picker.h"
#include "inspectors/gradient_editor.h"
#include "inspectors/image_picker.h"
#include "inspectors/property_view.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zrkui {

/// The property widgets of several properties, in order.
template <class... Properties>
void addPropertyWidgets(ZRKPropertyView& view, Properties&... properties)
{
    (addPropertyWidget(&view, properties), ...);
}

/// A choice whose index is the property's number. A number without a label is shown as no choice and stays.
template <class Enum>
QComboBoxWrapper* addChoice(ZRKPropertyView& view, zrkmodel::ZRKProperty<Enum>& property,
                            const std::vector<std::string>& labels)
{
    QComboBoxWrapper* combo =
        view.addComboBox(labels, static_cast<int>(property.value()), {}, captionOf(property.name()));
    setShownProperty(*combo, property.name());
    combo->connectToListener([&property](int index) { property.set(static_cast<Enum>(index)); });
    follow<Enum>(*combo, property, [combo](Enum value) { combo->display(static_cast<int>(value)); });
    return combo;
}

/// A slider from 0 to 1 for a property, which may well lie beyond.
/// @param moved  assigns the value; without it the property itself takes it.
inline SliderFWrapper* addShareSlider(ZRKPropertyView& view, zrkmodel::ZRKProperty<double>& property,
                                      std::function<void(double)> moved = nullptr)
{
    SliderFWrapper* slider = view.addHSlider(property.value(), {0, 1}, {}, captionOf(property.name()));
    setShownProperty(*slider, property.name());
    slider->connectToListener(moved ? std::move(moved) : [&property](double value) { property.set(value); });
    follow<double>(*slider, property, [slider](double value) { slider->display(value); });
    return slider;
}

using GeometryProperty = zrkmodel::ZRKProperty<std::shared_ptr<zrkmodel::ZRKGeometry>>;

/// A picker that hands its selection on, and follows the property.
inline ZRKGeometryPicker*
addGeometryPicker(ZRKPropertyView& view, GeometryProperty& property, unsigned filter, int limit,
                  const std::string& label,
                  std::function<void(const ZRKGeometryPicker::Selection&)> selectionChanged,
                  const ZRKPropertyView::Rect& rect = {})
{
    auto* picker = new ZRKGeometryPicker(filter, limit, {property.value()});
    setShownProperty(*picker, property.name());
    view.add(picker, rect, captionOf(label));
    picker->onSelectionChanged([picker, selectionChanged = std::move(selectionChanged)] {
        const ZRKGeometryPicker::Selection selection = picker->selectedObjects();
        selectionChanged(selection);
        if (selection.empty()) {
            picker->unsetThumbnail();
        } else {
            picker->setThumbnail(selection, ZRKGeometryPicker::kThumbnail);
        }
    });
    follow<std::shared_ptr<zrkmodel::ZRKGeometry>>(*picker, property, [picker](const auto& value) {
        const auto& selection = picker->selectedObjects();
        if (selection.empty() ? value != nullptr : selection.front() != value) {
            picker->display({value});
        }
    });
    return picker;
}

/// An editor of a curve whose keys run from 0 to 1.
inline ZRKScalarGradientEditor* addCurveEditor(ZRKPropertyView& view,
                                               zrkmodel::ZRKProperty<zrkmodel::ScalarCurve>& property,
                                               const ZRKPropertyView::Rect& rect = {})
{
    using Curve = zrkmodel::ScalarCurve;
    auto* editor = new ZRKScalarGradientEditor(property.value(), {0.0, 1.0});
    setShownProperty(*editor, property.name());
    view.add(editor, rect, captionOf(property.name()));
    editor->onGradientChanged([&property](const Curve& curve) { property.set(curve); });
    follow<Curve>(*editor, property, [editor](const Curve& curve) { editor->display(curve); });
    return editor;
}

using ImageProperty = zrkmodel::ZRKProperty<std::shared_ptr<zrkmodel::ZRKImage2d>>;

/// A picker of at least 80 by 80 pixels that hands the picked picture on, and follows the property.
inline ZRKImagePicker* addImagePicker(ZRKPropertyView& view, ImageProperty& property,
                                      const std::string& label,
                                      std::function<void(const ZRKImagePicker::Image&)> picked)
{
    constexpr int kCanBeEmptied = 1;
    auto* picker = new ZRKImagePicker(property.value(), kCanBeEmptied);
    setShownProperty(*picker, property.name());
    UIRect rect;
    rect.width = UIInterval::withMinimum(80.0);
    rect.height = UIInterval::withMinimum(80.0);
    view.add(picker, rect, captionOf(label));
    picker->connectToListener(std::move(picked));
    follow<ZRKImagePicker::Image>(*picker, property, [picker](const auto& value) { picker->display(value); });
    return picker;
}

} // namespace zrkui
