#pragma once

#include "core/values/export.h"
#include "host/editing/edit_change.h"
#include "host/graph_document.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace zrkmodel {

/// The parts of a document, changed one at a time: the text that is written and the graph that computes stay
/// in step. Whoever uses it checks beforehand that a change can be made.
class ZRK_API DocumentParts {
public:
    /// @param document  not owned.
    explicit DocumentParts(GraphDocument& document);

    const ZRKJson& root() const { return _document->_root; }
    ZRKGraph& graph() const { return *_document->_graph; }
    DocumentResources& resources() const { return *_document->_resources; }
    const std::optional<PinAddress>& output() const { return _document->_output; }
    std::string unit() const { return _document->unit(); }

    /// The entry of a node in "nodes"; null for a node that isn't there.
    const ZRKJson* entry(std::uint16_t node) const;
    std::size_t place(std::uint16_t node) const { return _document->_nodeIndex.at(node); }
    /// The place in "links" of the link that ends at an input.
    std::size_t linkPlace(Pin_handle input) const;
    std::size_t resourceCount() const;

    void insertNode(const NodeChange& node);
    void eraseNode(std::uint16_t node);
    /// Makes a link in the graph and, where that succeeds, in "links".
    ZRKLinkResult insertLink(std::size_t index, const ZRKJson& link);
    void eraseLink(std::size_t index);
    void insertResource(const ResourceChange& resource);
    void eraseResource(std::size_t index);
    /// Sets a member, or removes it. A BadInput for a "context" that no document may have.
    zrk::Result<void> setMember(const MemberChange& change, bool forward);
    /// The change that gives a member another value; not made yet.
    MemberChange memberChange(MemberChange::Place place, std::uint16_t node, const std::string& key,
                              std::optional<ZRKJson> value) const;

    void rename(const std::string& name) { _document->_name = name; }
    /// Has all paths start from another folder.
    void rebase(const std::filesystem::path& from, const std::filesystem::path& to);

    static Pin_handle from(const ZRKJson& link) { return pin(link["from"], true); }
    static Pin_handle to(const ZRKJson& link) { return pin(link["to"], false); }
    static ZRKJson linkBetween(Pin_handle from, Pin_handle to);

private:
    GraphDocument* _document;

    static Pin_handle pin(const ZRKJson& pair, bool isOutput);
    const ZRKJson* object(MemberChange::Place place, std::uint16_t node) const;
    zrk::Result<void> readContext(const std::optional<ZRKJson>& context);
    void countPlaces(std::size_t first);
};

} // namespace zrkmodel
