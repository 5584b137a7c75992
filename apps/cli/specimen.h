#pragma once

#include "model/graph.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <memory>

namespace zrkcli {

/// A fresh node of a type, with its pins declared, and the graph that it lives in.
struct Specimen {
    std::shared_ptr<zrkmodel::ZRKGraph> graph = zrkmodel::ZRKGraph::create();
    std::shared_ptr<zrkmodel::ZRKGraphObject> object;
    std::shared_ptr<zrkmodel::ZRKGraphNode> node;

    explicit Specimen(const zrkmodel::ZRKGraphObjectRegistration& entry) : object(entry.factory())
    {
        node = graph->getNodePtr(graph->addNode(object).id());
    }
};

} // namespace zrkcli
