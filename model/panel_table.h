#pragma once

#include "core/values/export.h"
#include "model/graph_object.h"

#include <functional>
#include <typeindex>
#include <unordered_map>

namespace zrkui {

/// Fills a view with the controls of one object.
using ZRKPanel = std::function<void(zrkmodel::ZRKGraphObject& object, ZRKPropertyView& view,
                                    const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node)>;

/// The panels of the classes that have one, filled by panel libraries while they load.
class ZRK_API ZRKPanelTable {
public:
    static ZRKPanelTable& instance();

    /// Enters, or replaces, the panel of a class.
    template <class Object>
    void add(std::function<void(Object&, ZRKPropertyView&,
                                const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>&)>
                 panel)
    {
        _panels[typeid(Object)] = [panel = std::move(panel)](auto& object, auto& view, const auto& node) {
            panel(static_cast<Object&>(object), view, node);
        };
    }

    /// Null when the class has none.
    const ZRKPanel* find(std::type_index objectClass) const
    {
        const auto found = _panels.find(objectClass);
        return found == _panels.end() ? nullptr : &found->second;
    }

private:
    std::unordered_map<std::type_index, ZRKPanel> _panels;
};

} // namespace zrkui
