#pragma once

#include "core/values/raster.h"
#include "model/property_pack.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// The panel as components' inspectors see it. Implemented by a panel library.
namespace zrkui {

/// A length: a share of the surrounding layout plus a number of pixels.
struct UICoord {
    constexpr UICoord(double share = 0, double pixels = 0) : share(share), pixels(pixels) {}
    double share;
    double pixels;
};

/// Where and how large a widget is; what is missing is left to the layout.
struct UIRect {
    std::optional<UICoord> x, y, width, height;
    std::optional<UICoord> minWidth, minHeight;
};

using UIImage = zrk::Raster<4, 2, unsigned char>;

/// Any widget. Widgets belong to the view they were added to and live as long as it.
class UIWidget {
public:
    virtual ~UIWidget() = default;
    virtual void setToolTip(const std::string& text) = 0;
    /// The name that style sheets know the widget by.
    virtual void setObjectName(const std::string& name) = 0;
};

/// A caption: nothing, a widget, an image or a text.
using UIContent = std::variant<std::monostate, UIWidget*, UIImage, std::string>;

/// A widget that the user edits a T with.
template <class T>
class UIValueWidget : public UIWidget {
public:
    /// The listener is called with each new value the user chooses.
    virtual void connectToListener(std::function<void(const T&)> listener) = 0;
    /// Shows another value without calling the listeners.
    virtual void setValue(const T& value) = 0;
};

using SliderFWrapper = UIValueWidget<double>;
using QDoubleSpinBoxWrapper = UIValueWidget<double>;
using QSpinBoxWrapper = UIValueWidget<int>;
using QComboBoxWrapper = UIValueWidget<int>; ///< the value is the chosen label's index
using QCheckBoxWrapper = UIValueWidget<bool>;

class QPushButtonWrapper : public UIWidget {
public:
    virtual void connectToListener(std::function<void()> listener) = 0;
};

class QLabelWrapper : public UIWidget {
public:
    virtual void setText(const std::string& text) = 0;
    virtual void setImage(const UIImage& image) = 0;
};

class ZRKPropertyView;

class TabHelper : public UIWidget {
public:
    /// The view of the i-th page.
    virtual ZRKPropertyView& page(int i) = 0;
    /// Called with the index of the page that is shown.
    virtual void connectToListener(std::function<void(const int&)> listener) = 0;
};

/// A panel that stacks layouts: what is added lands in the innermost open one.
/// Used on the interface thread only.
class ZRKPropertyView : public UIWidget {
public:
    using Rect = std::optional<UIRect>;

    virtual void pushVBoxLayout(const Rect& rect = {}) = 0;
    virtual void pushHBoxLayout(const Rect& rect = {}) = 0;
    virtual void pushVBoxLayoutInGroup(const std::string& title, const Rect& rect = {}) = 0;
    virtual void popLayout() = 0;

    virtual UIWidget* addProperty(const zrkmodel::ZRKDynamicPropertyPack::Entry& entry) = 0;
    virtual QLabelWrapper* addLabel(const std::string& text, const Rect& rect = {}) = 0;
    virtual QPushButtonWrapper* addButton(const UIContent& content, const Rect& rect,
                                          std::function<void()> callback) = 0;
    virtual QComboBoxWrapper* addComboBox(const std::vector<std::string>& labels, int index,
                                          const Rect& rect = {}, const UIContent& content = {}) = 0;
    virtual QCheckBoxWrapper* addCheckBox(bool value, const Rect& rect = {},
                                          const UIContent& content = {}) = 0;
    virtual SliderFWrapper* addHSlider(double value, std::pair<double, double> range, const Rect& rect = {},
                                       const UIContent& content = {}) = 0;
    virtual QDoubleSpinBoxWrapper* addSpinBox(double value, std::pair<double, double> range,
                                              const Rect& rect = {}, const UIContent& content = {}) = 0;
    virtual QSpinBoxWrapper* addSpinBoxI(int value, std::pair<int, int> range, const Rect& rect = {},
                                         const UIContent& content = {}) = 0;
    virtual TabHelper* addTabWidget(const std::vector<std::string>& labels, const Rect& rect = {},
                                    const UIContent& content = {}) = 0;
    /// Places a widget made elsewhere and takes it over.
    virtual void add(UIWidget* widget, const Rect& rect = {}, const UIContent& content = {}) = 0;
    /// Takes a widget out of the view and destroys it.
    virtual void remove(UIWidget* widget) = 0;
};

/// The widget for the pack's first entry; null for an empty pack.
inline UIWidget* addFirstEntry(ZRKPropertyView& view, const zrkmodel::ZRKDynamicPropertyPack& pack)
{
    return pack.entries().empty() ? nullptr : view.addProperty(pack.entries().front());
}

/// The widget for a property, without limits; null for a type that has none.
inline UIWidget* addPropertyWidget(ZRKPropertyView& view, zrkmodel::ZRKPropertyBase& property)
{
    zrkmodel::ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property);
    return addFirstEntry(view, pack);
}

/// A slider for a number between two limits.
inline UIWidget* addPropertyWidget(ZRKPropertyView& view, zrkmodel::ZRKProperty<double>& property, double min,
                                   double max)
{
    zrkmodel::ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property, min, max, true);
    return addFirstEntry(view, pack);
}

} // namespace zrkui
