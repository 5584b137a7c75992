#pragma once

#include "components/registration.h"
#include "core/engine/field_generator.h"
#include "model/extension_base.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/json.h"
#include "model/registry.h"
#include "model/serialization.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zrkmodel::testing {

/// A random graph of the registered components: shapes, patterns, transforms of their positions, operators
/// that combine them, with random values. The last node is a combination of scalars. Components that need a
/// file have none.
class RandomGraph {
public:
    explicit RandomGraph(std::uint32_t seed) : _random(seed)
    {
        ZRKGraphComponentsInit::initializeModule();
        const int count = 3 + static_cast<int>(_random() % 6);
        for (int i = 0; i < count; ++i) {
            if (_random() % 2 == 0) {
                addNode(anyType());
            } else {
                addNode(kShapes[_random() % std::size(kShapes)]);
            }
        }
        addNode("BinaryOperator");
    }

    zrk::IField field() const
    {
        return std::dynamic_pointer_cast<ZRKFieldObject>(_nodes.back().object())
            ->realizeField(_nodes.back(), 0);
    }
    /// The names of the types, in order, for messages.
    const std::string& names() const { return _names; }

private:
    static constexpr const char* kShapes[] = {"SphereSDF", "BoxSDF", "CylinderSDF",
                                              "TorusSDF",  "Gyroid", "BeamSDF"};

    std::mt19937 _random;
    std::shared_ptr<ZRKGraph> _graph = ZRKGraph::create();
    std::vector<ZRKGraph::Node> _nodes;
    std::string _names;

    double number(double lower, double upper)
    {
        return lower + (upper - lower) * (static_cast<double>(_random()) / 4294967296.0);
    }

    const ZRKGraphObjectRegistration& anyType()
    {
        const auto& entries = ZRKGraphObject::registry().entries();
        return entries[_random() % entries.size()];
    }
    void addNode(const char* name) { addNode(*ZRKGraphObject::registry().findByName(name).front()); }

    void addNode(const ZRKGraphObjectRegistration& type)
    {
        const auto object = type.factory();
        ZRKSerialization stored;
        object->serialize(stored);
        ZRKJson values = stored.root();
        for (auto& [key, value] : values.items()) {
            value = changed(key, value);
        }
        object->deserialize(ZRKDeserialization(values));
        const ZRKGraph::Node node = _graph->addNode(object);
        for (const ZRKGraphPin& pin : node.record()->inputs) {
            connect(pin);
        }
        _nodes.push_back(node);
        _names += type.info.name + " ";
    }

    /// Tries outputs of earlier nodes, late ones more often; an input may stay free.
    void connect(const ZRKGraphPin& pin)
    {
        for (int attempt = 0; attempt < 12 && !_nodes.empty(); ++attempt) {
            const std::size_t back = std::min(_random() % _nodes.size(), _random() % _nodes.size());
            const ZRKGraph::Node& from = _nodes[_nodes.size() - 1 - back];
            const auto outputs = from.record()->outputs.size();
            if (outputs > 0 &&
                _graph->connect(Pin_handle::output(from.id(), static_cast<std::uint8_t>(_random() % outputs)),
                                pin.handle) == ZRKLinkResult::Done) {
                return;
            }
        }
    }

    ZRKJson changed(const std::string& key, const ZRKJson& value)
    {
        if (key == "op_name") {
            static constexpr const char* kOperations[] = {"minimum", "maximum", "add", "subtract"};
            return kOperations[_random() % 4];
        }
        if (value.is_boolean()) {
            return _random() % 2 == 0;
        }
        if (value.is_number_float()) {
            const double before = value.get<double>();
            return before == 0 ? number(-0.3, 0.3) : before * number(0.4, 1.6);
        }
        if (value.is_array() && !value.empty() && value[0].is_number_float()) {
            ZRKJson all = value;
            for (auto& element : all) {
                element = changed("", element);
            }
            return all;
        }
        return value;
    }
};

} // namespace zrkmodel::testing
