#pragma once

#include "core/values/export.h"
#include "model/icons.h"
#include "model/tag.h"
#include "model/type_info.h"
#include "model/ui_strings.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zrkmodel {

class ZRKGraphObject;

/// Tags of inputs and outputs, for search and for connection assistants. Need not be the pins'.
struct ZRKGraphObjectSignature {
    ZRKGraphObjectSignature() = default;
    ZRKGraphObjectSignature(const std::vector<Tag>& inputs, const std::vector<Tag>& outputs)
        : inputs(inputs), outputs(outputs)
    {}
    std::vector<Tag> inputs;
    std::vector<Tag> outputs;
};

/// All that is known about a type of graph object.
struct ZRKGraphObjectRegistration {
    ZRKTypeInfo info;
    std::string className; ///< without namespaces, e.g. "ZRKSphereSDF"; empty where it isn't stated
    ZRKGraphObjectSignature signature;
    std::function<std::shared_ptr<ZRKGraphObject>()> factory;
    ZRKUIStrings::info_t strings;
    ZRKIcon icon;
    IconResource iconResource; ///< what the icon was drawn from; none where it isn't stated
};

/// The types of graph objects in order of registration. Type name and uuid may each occur
/// several times; both together, and the class name, identify a type. Pointers stay valid.
class ZRK_API ZRKGraphObjectRegistry {
public:
    using Matches = std::vector<const ZRKGraphObjectRegistration*>;

    /// Enters a type. Never refuses one, and makes no object of it. Class name and icon resource are stated
    /// through the result.
    ZRKGraphObjectRegistration* add(const ZRKTypeInfo& info, const ZRKGraphObjectSignature& signature,
                                    const std::function<std::shared_ptr<ZRKGraphObject>()>& factory,
                                    const ZRKUIStrings::info_t& strings, ZRKIcon icon);

    const std::deque<ZRKGraphObjectRegistration>& entries() const { return _entries; }

    /// @{ All matches in order of registration. Names are compared exactly, uuids without
    /// regard to case.
    Matches findByName(std::string_view name) const;
    Matches findByUuid(std::string_view uuid) const;
    /// @}
    /// @{ The first match; null if there is none.
    const ZRKGraphObjectRegistration* find(std::string_view uuid, std::string_view name) const;
    const ZRKGraphObjectRegistration* findByClass(std::string_view className) const;
    /// @}

private:
    std::deque<ZRKGraphObjectRegistration> _entries;
};

} // namespace zrkmodel
