#pragma once

#include "core/engine/field_generator.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/interval.h"
#include "host/document_resources.h"
#include "model/graph.h"
#include "model/json.h"
#include "model/tag.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrk {
struct BeamCacheData;
}

namespace zrkmodel {

inline constexpr unsigned kMaxNodeId = ZRKGraph::kMaxId;

/// What a document says that is taken otherwise than its author may think. The remedy tells how it is taken.
using DocumentWarnings = std::vector<zrk::Fault>;

/// An output of a node, as documents write it: [node, output index].
struct PinAddress {
    std::uint16_t node = 0;
    std::uint8_t output = 0;
};

/// An output of a document's graph and the tag that it carries now.
struct OutputPin {
    PinAddress address;
    std::string name;
    Tag tag;
};

/// A field that can be sampled.
struct OutputField {
    zrk::IField field; ///< keeps the graph alive that it belongs to; the document may go
    Tag tag;           ///< Scalar, Vector3d or Color
    std::string name;  ///< of the pin
    PinAddress address;
    /// Named as a density: the inside lies above 0.5. Else the inside lies below 0.
    bool isDensity = false;
    /// Where the surface of the field lies.
    double surfaceLevel = 0.0;
};

/// The field of an output of a graph; `place` is where it stands, for messages. FailedWork when the pin
/// carries no type or its field can't be had.
ZRK_API zrk::Result<OutputField> outputFieldOf(const std::shared_ptr<ZRKGraph>& graph, PinAddress address,
                                               const std::string& place);

/// How a document asks to be seen in slices, by its member "view".
struct DocumentView {
    std::optional<int> axis;                    ///< 0, 1 or 2: the axis that the slice is across
    std::optional<double> at;                   ///< where along it, 0 to 1
    std::optional<zrk::Interval<double>> range; ///< the values at the ends of the colours
};

/// How a document is loaded.
struct LoadSettings {
    /// @param follower  told of the loading of large resources, asked whether to stop; may be null.
    LoadSettings(zrk::ProgressMonitor* follower = nullptr) : monitor(follower) {}

    zrk::ProgressMonitor* monitor;
    /// Refuses paths that lead out of the document's folder: for documents that aren't trusted.
    bool isConfined = false;
    /// Finds the resources in place of the document's own "resources", which then aren't read; may be null.
    std::shared_ptr<DocumentResources> resources{};
    /// Is told of the files and folders that the document names, also where reading it fails; may be null.
    std::vector<std::filesystem::path>* files = nullptr;
};

/// JSON in the form that documents are written in: short values on one line, so that a node or a link is a
/// line.
ZRK_API std::string documentText(const ZRKJson& root);

/// A graph document: a JSON file with nodes, their values and the links between them.
///
/// A document is read whole or not at all; a fault names the file, the place and what would be right, and is
/// of the kind BadInput, lack of memory included. Keys that aren't known are kept and written back.
class ZRK_API GraphDocument {
public:
    /// Reads a file, or for "-" standard input, with paths from the current folder. Values that a component
    /// leaves out of account, unknown keys and the like are told in `warnings`. When the monitor interrupts,
    /// the fault is of the kind Interrupted.
    static zrk::Result<GraphDocument> load(const std::string& path, DocumentWarnings& warnings,
                                           const LoadSettings& settings = {});
    /// Reads a document from text; `name` stands for it in messages, relative paths start from its folder.
    static zrk::Result<GraphDocument> parse(const std::string& text, const std::string& name,
                                            DocumentWarnings& warnings, const LoadSettings& settings = {});

    /// An empty document. Relative paths that it is given start from the folder of `name`.
    static GraphDocument create(const std::string& name);

    /// The document with the values that its components have now.
    ZRKJson toJson() const;
    /// The same as text. Saving what was read from a saved document gives the same bytes.
    std::string toText() const { return documentText(toJson()); }
    /// Writes it beside the target and renames; leaves the target when that fails.
    zrk::Result<void> save(const std::string& path) const;

    /// Gives a node another value under a key of its stored form, a property for example, and tells its
    /// listeners. BadInput, and nothing is changed, where there is no such node or key, or the component
    /// refuses the value. A property of a resource takes "" for none.
    /// @param monitor  of what the component computes from its values, a sweep for example; may be null.
    zrk::Result<void> setValue(std::uint16_t node, const std::string& key, const ZRKJson& value,
                               zrk::ProgressMonitor* monitor = nullptr);

    /// What the document has under a key; null where there is none.
    const ZRKJson* member(const std::string& key) const;
    /// Sets what `toText` writes under a key besides nodes and links, which are the graph's: "context", for
    /// example. Null removes the key. The graph's own context and the resources that are loaded stay.
    void setMember(const std::string& key, const ZRKJson& value);
    /// What the document has for a node; null for one that was added since.
    const ZRKJson* nodeEntry(std::uint16_t node) const;
    /// The same for a key of a node besides its id, type and values: "import" or "position".
    void setNodeMember(std::uint16_t node, const std::string& key, const ZRKJson& value);
    /// The output that the document names itself.
    const std::optional<PinAddress>& output() const { return _output; }
    void setOutput(const std::optional<PinAddress>& output);
    /// Takes another file's name. Relative paths of resources and imports are rewritten so that they lead
    /// from its folder to the same files as before.
    void moveTo(const std::string& name);

    const std::shared_ptr<ZRKGraph>& graph() const { return _graph; }
    const std::shared_ptr<DocumentResources>& resources() const { return _resources; }
    /// The file's name, or what stands for it in messages.
    const std::string& name() const { return _name; }
    /// Where sampling runs unless told otherwise: the model's bounds, or the unit cube.
    zrk::BBox<double> samplingBounds() const;
    const DocumentView& view() const { return _view; }
    /// What a length of 1 stands for: m, cm, mm, um, inch or ft; empty where the context has none of these.
    std::string unit() const;

    /// The beams that an output is the distance to: where it is that of a beam lattice whose positions are
    /// the model's own. Else null.
    std::shared_ptr<const zrk::BeamCacheData> beamsOf(PinAddress address) const;

    /// All outputs of all nodes, in the order of the document.
    std::vector<OutputPin> outputPins() const;
    /// The field of an output, or of the document's own "output". BadInput when there is no such pin,
    /// FailedWork when the pin carries no type or its field can't be had.
    zrk::Result<OutputField> outputField(PinAddress address) const;
    zrk::Result<OutputField> outputField() const;

private:
    zrk::Result<std::shared_ptr<ZRKGraphObject>> twinWith(const ZRKGraphObject& object,
                                                          const std::string& key, const ZRKJson& value,
                                                          const ZRKJson& former,
                                                          const std::string& place) const;
    zrk::Result<void> takeByReading(ZRKGraphObject& object, ZRKGraphObject& twin, const std::string& key,
                                    ZRKJson values, const std::string& place, zrk::ProgressMonitor* monitor);

    std::string _name;
    std::shared_ptr<ZRKGraph> _graph;
    std::shared_ptr<DocumentResources> _resources;
    ZRKJson _root;                                   ///< as it was read, for what isn't known
    std::map<std::uint16_t, std::size_t> _nodeIndex; ///< place of a node in "nodes"
    std::optional<PinAddress> _output;
    DocumentView _view;

    std::vector<std::shared_ptr<ZRKGraphNode>> orderedNodes() const;

    friend class DocumentReader;
    friend class DocumentParts;
};

} // namespace zrkmodel
