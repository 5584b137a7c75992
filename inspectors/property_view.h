#pragma once

#include "core/values/export.h"
#include "core/values/interval.h"
#include "inspectors/number_field.h"
#include "inspectors/ui_rect.h"
#include "inspectors/wrappers.h"
#include "model/property_pack.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QBoxLayout;

namespace zrkui {

/// A panel that stacks layouts: what is added lands in the innermost open one. Interface thread only.
///
/// Captions stand left of their controls in a form, that is while no horizontal layout is open, and above
/// them elsewhere, where there is less room. The view keeps alive what `keep` is given until its widgets are
/// gone.
class ZRK_API ZRKPropertyView : public QWidget {
public:
    using Rect = std::optional<UIRect>;

    explicit ZRKPropertyView(QWidget* parent = nullptr);
    ~ZRKPropertyView() override;

    void pushVBoxLayout(const Rect& rect = {});
    void pushHBoxLayout(const Rect& rect = {});
    void pushVBoxLayoutInGroup(const std::string& title, const Rect& rect = {});
    void popLayout();

    /// The widget for an entry, which writes its property with notification and follows it. Null for an
    /// entry that no panel has a widget for.
    QWidget* addProperty(const zrkmodel::ZRKDynamicPropertyPack::Entry& entry);
    QLabelWrapper* addLabel(const std::string& text, const Rect& rect = {});
    QPushButtonWrapper* addButton(const UIContent& content, const Rect& rect, std::function<void()> callback);
    QComboBoxWrapper* addComboBox(const std::vector<std::string>& labels, int index, const Rect& rect = {},
                                  const UIContent& content = {});
    QCheckBoxWrapper* addCheckBox(const std::string& text, bool value, const Rect& rect = {});
    SliderFWrapper* addHSlider(double value, const zrk::Interval<double>& range, const Rect& rect = {},
                               const UIContent& content = {});
    QDoubleSpinBoxWrapper* addSpinBox(double value, const zrk::Interval<double>& range, const Rect& rect = {},
                                      const UIContent& content = {});
    QSpinBoxWrapper* addSpinBoxI(double value, const zrk::Interval<int>& range, const Rect& rect = {},
                                 const UIContent& content = {});
    TabHelper* addTabWidget(const std::vector<std::string>& labels, const Rect& rect = {},
                            const UIContent& content = {});
    /// Places a widget made elsewhere and takes it over.
    void add(QWidget* widget, const Rect& rect = {}, const UIContent& content = {});
    /// Destroys a widget of this view, with its caption.
    void remove(QWidget* widget);

    void keep(std::shared_ptr<const void> object) { _kept.push_back(std::move(object)); }
    /// Around all that is added, in pixels at scale 1.
    void setMargins(double margin);
    /// Where it is in the tree of layouts: what is added next goes to its end.
    QBoxLayout* innermost() const { return _open.back().layout; }
    /// Goes on adding to a layout that was popped; popLayout leaves it again.
    void reopen(QBoxLayout* layout);

private:
    struct Open {
        QBoxLayout* layout;
        bool isForm; ///< no horizontal layout around it
    };
    std::vector<Open> _open;
    std::vector<std::shared_ptr<const void>> _kept;

    void push(QBoxLayout* layout, bool isForm, const Rect& rect);
    /// A short caption goes into a number's own field where captions would stand above.
    UIContent captionFor(NumberField& field, const UIContent& content) const;
};

/// The widget for the pack's first entry; null for an empty pack.
ZRK_API QWidget* addFirstEntry(ZRKPropertyView& view, const zrkmodel::ZRKDynamicPropertyPack& pack);
/// The widget for a property, without limits; null for a type that has none.
ZRK_API QWidget* addPropertyWidget(ZRKPropertyView* view, zrkmodel::ZRKPropertyBase& property);
/// A number field between two limits.
ZRK_API QWidget* addPropertyWidget(ZRKPropertyView* view, zrkmodel::ZRKProperty<double>& property, double min,
                                   double max);

} // namespace zrkui
