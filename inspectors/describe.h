#pragma once

#include "core/values/export.h"
#include "model/json.h"

#include <string>
#include <vector>

class QWidget;

namespace zrkui {

class ZRKPropertyView;

/// What a control holds now: {"widget": ..., "label": ...} and what else it has: "property", "value", "min",
/// "max", "decimals", "items", "tip", "object", "dialog", "size", "filter", "limit", "buttons", "item".
zrkmodel::ZRKJson describeControl(const QWidget& control);

/// The controls of a view in their layouts: {"layout": "horizontal", "vertical" or "tabs",
/// "children": [...]}. The children of tabs carry a "title". Null for a view without controls.
ZRK_API zrkmodel::ZRKJson describeView(const ZRKPropertyView& view);

/// An object from class name to the panel of a fresh component, in the order given; null for a class that has
/// no panel. Names are class names; one that is unknown is left out.
ZRK_API zrkmodel::ZRKJson describePanels(const std::vector<std::string>& classNames);

} // namespace zrkui
