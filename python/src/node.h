#pragma once

#include "core/engine/prepared_field.h"
#include "host/document_context.h"
#include "host/graph_document.h"
#include "model/extension_base.h"
#include "model/graph.h"
#include "model/json.h"
#include "python/src/resource.h"
#include "python/src/running.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

namespace zrkpython {

class Node;
using SharedNode = std::shared_ptr<Node>;

/// An output of a node; no node for none.
struct Source {
    SharedNode node;
    std::uint8_t output = 0;
};

/// An output that was made ready for evaluation: what it was made of and what came out. Immutable but for the
/// note of when it was last found to be current.
struct Ready {
    std::shared_ptr<zrkmodel::ZRKGraph> graph; ///< of all nodes upstream
    std::uint64_t links = 0;                   ///< the last change of a link that the graph has
    std::uint64_t stamp = 0;                   ///< the last change that the field has
    mutable std::uint64_t checkedAt = 0;       ///< the last change of any node when it was compared
    zrkmodel::OutputField output;
    zrk::PreparedField field;
    bool callsPython = false;

    Where where() const { return callsPython ? Where::Here : Where::Aside; }
};

using SharedReady = std::shared_ptr<const Ready>;

/// A component with the outputs that its inputs read. Nodes are free, or belong to a document as well; who
/// reads a node keeps it alive.
///
/// Called with the GIL held, from any thread. Where properties are read for long, the GIL is released and the
/// nodes are locked against edits, which wait.
class Node : public std::enable_shared_from_this<Node> {
public:
    using Object = std::shared_ptr<zrkmodel::ZRKGraphObject>;
    using Context = std::shared_ptr<const zrkmodel::DocumentContext>;

    /// @param place  what messages call it.
    Node(Object object, std::string place, Context context);
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    const Object& object() const { return _object; }
    const std::string& place() const { return _place; }
    const std::vector<zrkmodel::ZRKGraphPinData>& inputPins() const { return _inputPins; }
    const std::vector<zrkmodel::ZRKGraphPinData>& outputPins() const { return _outputPins; }
    const std::vector<Source>& sources() const { return _sources; }
    const Context& context() const { return _context; }
    void setContext(Context context);
    void setPlace(std::string place) { _place = std::move(place); }

    /// Links an input, or unlinks it. Throws FaultError for a link that would close a cycle, and where both
    /// tags are declared and differ.
    void connect(std::size_t input, const Source& source);

    /// The stored form. Waits for an edit under way, as do the functions below.
    zrkmodel::ZRKJson stored();
    /// The value under a property's name or a key of the stored form; null where there is none.
    zrkmodel::ZRKJson value(const std::string& key);
    /// Sets properties and other keys of the stored form, all or none, as an edit by hand does; what the
    /// component keeps ready of their former values is made anew.
    /// @param used  the resources that the values name.
    void setValues(const zrkmodel::ZRKJson& values, const std::vector<SharedResource>& used,
                   const py::object& progress);

    /// Takes the data of files, which an entry of a document names under "import". Returns warnings of what
    /// was left out or is taken otherwise.
    std::vector<zrk::Fault> importFiles(const zrkmodel::ZRKJson& entry, const py::object& progress);
    /// What a document has under "import" for it, with whole paths; of a mesh in memory the options alone.
    const zrkmodel::ZRKJson& imported() const { return _imported; }
    void setImported(zrkmodel::ZRKJson imported) { _imported = std::move(imported); }
    /// The mesh in memory that it was imported from, to be written beside a document; None for a file.
    const py::object& importSource() const { return _importSource; }
    void setImportSource(py::object source) { _importSource = std::move(source); }

    const std::vector<SharedResource>& resources() const { return _resources; }
    void setResources(std::vector<SharedResource> resources) { _resources = std::move(resources); }

    /// An output as it is now, ready for evaluation. FaultError where it carries no values.
    SharedReady ready(std::size_t output, const py::object& progress = py::none());
    /// The tag that an output carries now.
    zrkmodel::Tag tag(std::size_t output);

    /// All nodes that this one reads, itself included, upstream first.
    std::vector<SharedNode> upstream();
    std::uint64_t version() const { return _version; }

    /// Locks the nodes against edits while they are read. The GIL isn't held.
    using ReadLocks = std::vector<std::shared_lock<std::shared_mutex>>;
    /// Throws FaultError where that would wait for an edit that waits for the calling thread. The GIL is
    /// held.
    static void checkReadable(const std::vector<SharedNode>& nodes);
    static ReadLocks lockForReading(const std::vector<SharedNode>& nodes);

private:
    Object _object;
    std::string _place;
    Context _context;
    std::vector<zrkmodel::ZRKGraphPinData> _inputPins;
    std::vector<zrkmodel::ZRKGraphPinData> _outputPins;
    std::vector<Source> _sources;
    bool _isRead = false; ///< an input was linked to it once
    std::vector<SharedResource> _resources;
    zrkmodel::ZRKJson _imported;
    py::object _importSource = py::none();
    std::uint64_t _version = 0;
    std::uint64_t _links = 0; ///< the last change of a link
    std::uint64_t _frozen =
        0; ///< the last change upstream that a raster of the component has; guarded by _editing
    std::vector<SharedReady> _ready;
    std::shared_mutex _editing; ///< held by who reads properties, and alone by who edits them

    void noteChange();
    std::shared_ptr<zrkmodel::ZRKGraph> graphOf(const std::vector<SharedNode>& nodes) const;
    static std::vector<std::pair<Node*, std::uint64_t>> rasters(const std::vector<SharedNode>& nodes);
    void refreshRaster(std::uint64_t lastChangeUpstream);
    /// Takes a lock that another thread may hold for long. Refuses to wait for an edit or an evaluation that
    /// itself waits for the calling thread.
    template <class Lock>
    void take(Lock& lock);
    void assign(const std::string& key, const zrkmodel::ZRKJson& value,
                const std::shared_ptr<ResourceList>& library);
    void readAll(const zrkmodel::ZRKJson& values, const zrkmodel::ZRKJson& former,
                 const std::shared_ptr<ResourceList>& library, zrk::ProgressMonitor* monitor);
};

} // namespace zrkpython
