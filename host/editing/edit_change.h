#pragma once

#include "host/editing/value_delta.h"
#include "model/held_data.h"
#include "model/json.h"
#include "model/serializable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zrkmodel {

class ZRKGraphObject;

// The smallest changes that edits are made of. Each holds what is needed to make it and to take it back.

/// A node came or went, without links. Its object is kept meanwhile, with all that it holds.
struct NodeChange {
    bool isAdded;
    std::uint16_t node;
    std::size_t index; ///< in "nodes"
    ZRKJson entry;     ///< as "nodes" has it
    std::shared_ptr<ZRKGraphObject> object;
    ZRKJson values; ///< of the object while it is away
};

struct LinkChange {
    bool isAdded;
    std::size_t index; ///< in "links"
    ZRKJson link;      ///< as "links" has it
};

/// A resource came or went.
struct ResourceChange {
    bool isAdded;
    std::size_t index; ///< in "resources"
    ZRKJson entry;     ///< as "resources" has it
    std::shared_ptr<ZRKSerializableObject> object;
};

/// A member of a node's entry, of "view" or of the document itself got another value.
struct MemberChange {
    enum class Place { Document, View, Node };

    Place place;
    std::uint16_t node; ///< for Place::Node
    std::string key;
    std::size_t index; ///< of the member among its neighbours, where it comes or goes
    std::optional<ZRKJson> before;
    std::optional<ZRKJson> after;
};

/// Values of a node's component became others.
struct ValueChange {
    std::uint16_t node;
    std::vector<ValueDelta> deltas;
};

using EditChange = std::variant<NodeChange, LinkChange, ResourceChange, MemberChange, ValueChange>;

/// What a component held when a state was left, before the step and after it. None where it wasn't in the
/// document, or where the state hasn't been left yet.
struct HeldChange {
    std::uint16_t node;
    std::optional<ZRKHeldData> before;
    std::optional<ZRKHeldData> after;
};

} // namespace zrkmodel
