#pragma once

#include "host/graph_document.h"
#include "python/src/node.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zrkpython {

/// A graph document and the nodes of its graph. The nodes say what is linked and what the values are; the
/// document takes that over when it is written.
class Document {
public:
    using Corner = std::array<double, 3>;
    using NodeList = std::vector<std::pair<std::uint16_t, SharedNode>>;
    using Output = std::optional<std::pair<std::uint16_t, std::uint8_t>>;

    static std::unique_ptr<Document> load(const std::string& path, const py::object& progress);
    static std::unique_ptr<Document> parse(const std::string& text, const std::string& name,
                                           const py::object& progress);
    static std::unique_ptr<Document> create(const std::string& name);

    const std::string& name() const { return _document.name(); }
    /// What loading had to tell.
    std::vector<std::string> warnings() const;
    /// The nodes that were loaded, handed out once.
    NodeList releaseNodes() { return std::exchange(_nodes, {}); }
    Output output() const;
    std::string unit() const { return _document.unit(); }
    void setUnit(const std::string& unit);
    /// Where sampling runs unless told otherwise.
    zrk::BBox<double> bounds() const;
    /// Sets the model's bounds for all nodes that the document has now.
    void setBounds(const Corner& lower, const Corner& upper, const NodeList& nodes);
    const Node::Context& context() const { return _context; }

    /// The document with these nodes as text. Resources without a file are named as if they had been written.
    std::string text(const NodeList& nodes, const Output& output);
    /// Writes it, and beside it the resources that lie in no file yet: write(resource, path) does that.
    void save(const std::string& path, const NodeList& nodes, const Output& output, const py::function& write,
              const py::object& progress);

private:
    zrkmodel::GraphDocument _document;
    zrkmodel::DocumentWarnings _warnings;
    NodeList _nodes;
    Node::Context _context;

    explicit Document(zrkmodel::GraphDocument document) : _document(std::move(document)) {}
    static std::unique_ptr<Document>
    taken(std::pair<zrkmodel::GraphDocument, zrkmodel::DocumentWarnings> read);
    std::string stem() const;
    std::string importName(std::uint16_t id) const;
    void takeNodes();
    void takeImport(std::uint16_t id, const Node& node);
    void takeGraph(const NodeList& nodes);
    void takeOutput(const NodeList& nodes, const Output& output);
    std::vector<SharedResource> takeResources(const NodeList& nodes);
};

} // namespace zrkpython
