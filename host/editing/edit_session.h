#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/editing/document_parts.h"
#include "host/editing/edit_change.h"
#include "host/editing/edit_event.h"
#include "host/editing/edit_history.h"
#include "host/editing/file_watch.h"
#include "host/editing/pending_save.h"
#include "host/graph_document.h"
#include "model/signal.h"

#include <array>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zrkmodel {

/// Seconds of any clock that never goes back.
using EditClock = std::function<double()>;

struct EditSettings {
    EditClock clock{}; ///< that of the system's running time where there is none
    /// Where recovery files go; empty for the folder of the document.
    std::filesystem::path recoveryFolder{};
    /// The recovery file of a document that has no file yet; empty for none. Its folder must be there.
    std::filesystem::path unnamedRecovery{};
    /// Seconds from a change to the recovery file that has it.
    double recoverySeconds = 15;
    /// Seconds within which changes of the same value, or moves of the same nodes, become one step.
    double mergeSeconds = 0.5;
    HistoryLimits limits{};
    LoadSettings load{};
};

/// A node that is to be added.
struct NewNode {
    std::string type; ///< type name or class name
    std::string uuid{};
    std::optional<ZRKJson> values{}; ///< the component's own without one
    std::optional<ZRKJson> import{}; ///< as documents have it
    std::optional<std::array<double, 2>> position{};
};

struct NodePosition {
    std::uint16_t node;
    double x;
    double y;
};

struct PasteSettings {
    /// Links from nodes that weren't copied: made again where such a node is there, or left out.
    bool keepsOuterLinks = false;
    double dx = 0; ///< what is added to the positions
    double dy = 0;
    zrk::ProgressMonitor* monitor = nullptr;
};

/// A text that is to be pasted, as it was read apart from the document.
struct PasteText {
    ZRKJson fragment;
    std::filesystem::path folder; ///< from which its paths start
    /// What is taken over and not read again: nodes, and resources from files. May be null.
    std::shared_ptr<GraphDocument> read{};
    std::set<std::string> uuids{};   ///< of resources that there were
    std::set<std::uint16_t> whole{}; ///< nodes of `read` that use none of these; others are what they import
    DocumentWarnings warnings{};     ///< of what was read
};

struct Pasted {
    std::vector<std::uint16_t> nodes; ///< their ids, in the order of the fragment
    std::size_t droppedLinks = 0;     ///< outer links that were asked for and couldn't be made
    DocumentWarnings warnings;
};

/// A document with all that editing needs: its undo history, clipboard, recovery file and listeners.
///
/// Every change is an operation of the session and can be undone. What a panel or a script changes on a
/// component itself (a property, a list, an import, a computation) is noticed and becomes a step too. Nodes,
/// links, resources and the context are changed through the session only.
///
/// An operation that can't be done returns a fault and leaves all as it was. Undo also puts back what nodes
/// hold besides their values, such as an imported mesh or a frozen raster, without reading or computing it
/// again. A new node reads its values once, as that of a loaded document does, so that a saved document shows
/// what the session showed.
///
/// *Steps.* An operation is a step; a macro with all in it is one, and so is all between beginGesture and
/// endGesture, such as a drag. Outside of a gesture, further changes of the same value, or moves of the same
/// nodes, join the last step while they follow within `mergeSeconds`. Nothing joins a step that was saved.
///
/// *Listeners* are told in order once an operation is whole. One may call the session again: the operation is
/// done at once, as a step of its own, and what it tells follows to everyone when what is being told is told.
/// While an operation or an undo is under way, as in a listener of a component, undo, redo, save and recover
/// are refused; within an undo every operation is. What such a listener changes on components then
/// belongs to the operation, or after an undo is a step of its own.
///
/// Used on one thread, that of the interface.
class ZRK_API EditSession {
public:
    /// Opens a document from a file. A recovery file that is newer is offered, see `recovery`.
    static zrk::Result<std::unique_ptr<EditSession>> open(const std::string& path, DocumentWarnings& warnings,
                                                          EditSettings settings = {});
    /// Goes on with the recovery file of a document that had no file, which is that of the new session; it
    /// stays there until this one writes it anew. The document has unsaved changes, and its paths start from
    /// the folder of `name`.
    static zrk::Result<std::unique_ptr<EditSession>> openUnnamed(const std::filesystem::path& recovery,
                                                                 const std::string& name,
                                                                 DocumentWarnings& warnings,
                                                                 EditSettings settings = {});
    /// A session of a document that has no file yet.
    explicit EditSession(GraphDocument document, EditSettings settings = {});
    /// Closes the session.
    ~EditSession();
    EditSession(const EditSession&) = delete;
    EditSession& operator=(const EditSession&) = delete;

    const GraphDocument& document() const { return _document; }
    /// The entry of a node as documents write it, without its current values; null for an unknown node.
    const ZRKJson* entry(std::uint16_t node) const { return _parts.entry(node); }
    /// A member of "view", where an editor keeps its frames, reroute points and the like; null without one.
    const ZRKJson* view(const std::string& key) const;

    // Nodes

    /// Adds a node under the next id and returns that. Its warnings are those of a document's node.
    zrk::Result<std::uint16_t> addNode(const NewNode& node, DocumentWarnings* warnings = nullptr);
    /// Adds the resources, nodes and links of a document that was loaded apart, such as on another thread:
    /// what they hold is taken over, and nothing is read again. Nodes get new ids and are selected.
    /// @return the ids, in the order of the other document; a fault for a resource whose uuid is taken.
    zrk::Result<std::vector<std::uint16_t>> addLoaded(GraphDocument loaded);
    /// Removes nodes with their links; the document's output, if it was on one of them, is none then.
    /// @param reconnects  links, and the output, go on to what arrived at a node's first linked input, where
    /// the tags allow it.
    zrk::Result<void> removeNodes(const std::vector<std::uint16_t>& nodes, bool reconnects = false);
    zrk::Result<void> move(const std::vector<NodePosition>& positions);
    /// Names a node for its readers; an empty text removes the name.
    zrk::Result<void> setLabel(std::uint16_t node, const std::string& label);
    /// Leads the links of a node's first output past it, to what arrives at its first input, or back again.
    /// The links are real ones, so that the document means the same to every program; "bypass" in the node's
    /// entry keeps which ones they were. Refused unless both pins carry one tag.
    zrk::Result<void> setBypassed(std::uint16_t node, bool isBypassed);
    bool isBypassed(std::uint16_t node) const;

    // Links

    /// Links an output to an input. With `replaces` a link that the input has is replaced.
    zrk::Result<void> link(Pin_handle output, Pin_handle input, bool replaces = false);
    zrk::Result<void> unlink(Pin_handle input);
    /// Puts a node into the link that ends at `input`: by its first free input and first output that fit.
    zrk::Result<void> insertIntoLink(std::uint16_t node, Pin_handle input);

    // Values

    /// Gives a node another value under a key of its stored form, or of a property that isn't stored.
    zrk::Result<void> setValue(std::uint16_t node, const std::string& key, const ZRKJson& value,
                               zrk::ProgressMonitor* monitor = nullptr);
    /// @{ Edit the list under a key, such as "poles", by index. Inserting at the size appends.
    zrk::Result<void> insertItem(std::uint16_t node, const std::string& key, std::size_t index,
                                 const ZRKJson& item);
    zrk::Result<void> setItem(std::uint16_t node, const std::string& key, std::size_t index,
                              const ZRKJson& item);
    zrk::Result<void> removeItem(std::uint16_t node, const std::string& key, std::size_t index);
    /// @}
    /// Has a component import files, and keeps their paths under "import". A file that isn't there is a fault
    /// and changes nothing; what else the import says is a warning, as when a document is read.
    zrk::Result<void> importFiles(std::uint16_t node, const std::vector<std::filesystem::path>& paths,
                                  DocumentWarnings& warnings, zrk::ProgressMonitor* monitor = nullptr);

    // The document

    /// Adds a resource, an entry as in "resources"; without a uuid it gets a new one. Returns the uuid.
    zrk::Result<std::string> addResource(ZRKJson entry, DocumentWarnings* warnings = nullptr,
                                         zrk::ProgressMonitor* monitor = nullptr);
    /// Refused while a node or a group uses the resource.
    zrk::Result<void> removeResource(const std::string& uuid);
    /// Removes all resources that nobody uses; returns how many.
    zrk::Result<std::size_t> removeUnusedResources();
    /// Sets a member of the context, such as "unit" or "modelBounds", or removes it. The nodes are told as of
    /// a change upstream.
    zrk::Result<void> setContext(const std::string& key, std::optional<ZRKJson> value);
    zrk::Result<void> setOutput(std::optional<PinAddress> output);
    /// Sets a member of "view", or removes it. Any value will do.
    zrk::Result<void> setView(const std::string& key, std::optional<ZRKJson> value);

    // Clipboard

    /// The nodes with their values, the links between them and the resources they use, as the text of a
    /// document. It also has "outerLinks", from nodes that weren't copied, and "base", the folder that paths
    /// start from.
    zrk::Result<std::string> copy(const std::vector<std::uint16_t>& nodes) const;
    /// Adds what a text that `copy` made, or any document, has, under new ids, and selects it. A resource
    /// whose uuid is taken is the one that is there where both are the same, and gets a new uuid otherwise.
    zrk::Result<Pasted> paste(const std::string& text, const PasteSettings& settings = {});
    /// @{ The same in two parts: what `startPaste` gives reads the text, and files that it names, once and on
    /// any thread, whatever becomes of the session; what it gives is added here.
    using PasteReading = std::function<zrk::Result<PasteText>(zrk::ProgressMonitor* monitor)>;
    PasteReading startPaste(std::string text) const;
    zrk::Result<Pasted> paste(PasteText text, const PasteSettings& settings = {});
    /// @}
    /// Whether pasting a text reads files.
    bool readsFiles(const std::string& text) const;
    /// Copies nodes within the document. Links from others to them are made again.
    zrk::Result<Pasted> duplicate(const std::vector<std::uint16_t>& nodes, double dx = 20, double dy = 20);

    // Selection, which undo restores and which alone is no step

    void select(std::vector<std::uint16_t> nodes);
    const std::vector<std::uint16_t>& selection() const { return *_selection; }

    // History

    /// Makes one step of all that `work` does. When it returns a fault, all of that is taken back.
    zrk::Result<void> macro(const std::string& name, const std::function<zrk::Result<void>()>& work);
    /// @{ What is changed between these calls becomes one step. An undo in between ends the gesture.
    void beginGesture();
    void endGesture();
    /// @}
    zrk::Result<void> undo();
    zrk::Result<void> redo();
    bool canUndo() const { return _history.canUndo(); }
    bool canRedo() const { return _history.canRedo(); }
    const EditHistory& history() const { return _history; }
    /// False in the state that was opened or saved last, also when undo or redo has led back to it.
    bool isModified() const { return _history.isModified(); }
    nod::connection addListener(EditListener listener) { return _listeners.connect(std::move(listener)); }

    // Files

    /// The document's file; empty without one.
    const std::string& path() const { return _path; }
    /// Saves under the document's own path, or another one that is its path then. The recovery file goes. In
    /// another folder, the paths in the document, and in its history, start from there.
    /// A file that another program has changed since it was read is refused unless `overwrites`.
    zrk::Result<void> save(const std::string& path = "", bool overwrites = false);
    /// @{ The same in three parts: what is to be written is taken here, `PendingSave::write` may run on
    /// another thread while editing goes on, and what became of it is told here. What was changed in between
    /// stays unsaved. Until then nothing else can be saved or recovered, and no recovery file
    /// is written. Refused within an operation; see `isBusy`.
    zrk::Result<PendingSave> startSaving(const std::string& path = "", bool overwrites = false);
    zrk::Result<void> finishSaving(const PendingSave& saved);
    /// @}
    /// An operation or an undo is under way.
    bool isBusy() const { return _isApplying || !_marks.empty(); }
    /// @{ What is known of the file. On another thread a copy tells whether another program has changed it,
    /// or removed it, for which it may have to be read; the copy is given back then.
    const FileWatch& file() const { return _file; }
    void setFile(const FileWatch& file) { _file = file; }
    /// @}

    /// To be called now and then, with the clock's time: writes the recovery file when it is due. While a
    /// recovery is offered, nothing is written. A file that can't be written is tried again as long after.
    zrk::Result<void> tick();
    /// The same in parts: the recovery file, if it is due, to be written and given to `finishSaving`.
    std::optional<PendingSave> startRecovery();
    /// Where this document's recovery file is; empty for a document without a file that has none.
    std::filesystem::path recoveryPath() const;
    /// The recovery file that was found on opening and is newer than the document; empty without one.
    const std::filesystem::path& recovery() const { return _offer; }
    /// Takes over the document of the recovery file, with unsaved changes.
    zrk::Result<void> recover(DocumentWarnings& warnings);
    /// Removes the recovery file that is offered.
    void discardRecovery();
    /// Ends editing: removes the recovery file, but not one that is still offered.
    void close();

private:
    /// A node of the document and what was last known of it.
    struct Watched {
        std::shared_ptr<ZRKGraphObject> object;
        ZRKJson values;
        nod::scoped_connection change{};
        nod::scoped_connection edit{};
        nod::scoped_connection import{};
    };
    /// How far the changes under way had come when an operation began.
    struct Mark {
        std::size_t changes;
        std::size_t held;
        Selection selection;
    };
    /// Values that were put back and are yet to be announced.
    struct Restored {
        std::uint16_t node;
        std::shared_ptr<ZRKGraphObject> object;
        std::shared_ptr<ZRKGraphObject> twin;
        std::vector<std::string> keys;
    };

    EditSettings _settings;
    GraphDocument _document;
    DocumentParts _parts;
    EditHistory _history;
    std::string _path;
    FileWatch _file;
    std::filesystem::path _offer;
    bool _hasRecovery = false;
    bool _isSaving = false;           ///< between startSaving or startRecovery and finishSaving
    std::optional<double> _changedAt; ///< the first change that the recovery file doesn't have
    std::map<std::uint16_t, Watched> _watched;
    Selection _selection = std::make_shared<const std::vector<std::uint16_t>>();

    EditStep _open; ///< the step under way
    std::vector<Mark> _marks;
    bool _isApplying = false; ///< an undo, a redo or a rollback
    bool _isImporting = false;
    std::set<std::uint16_t> _touched; ///< nodes that told of a change
    std::set<std::uint16_t> _told;    ///< those of the whole step under way
    std::vector<std::pair<std::uint16_t, ZRKHeldData>> _heldLog;
    std::vector<std::pair<std::uint16_t, ZRKHeldData>> _applyLog;
    std::uint64_t _gesture = 0; ///< 0 for none
    std::uint64_t _lastGesture = 0;

    nod::signal<void(const EditEvent&)> _listeners;
    std::deque<EditEvent> _outbox;
    bool _isTelling = false;

    /// Runs an operation: its changes are recorded, or taken back if it fails.
    template <class Work>
    auto perform(const std::string& name, const std::string& mergeKey, Work&& work)
    {
        using Outcome = decltype(zrk::attempt("", work));
        if (_isApplying) {
            return Outcome(zrk::refused(busy()));
        }
        begin(name, mergeKey);
        Outcome outcome = zrk::attempt(_document.name(), work);
        end(outcome.has_value());
        return outcome;
    }
    void begin(const std::string& name, const std::string& mergeKey);
    void end(bool isDone);
    void rollBack(const Mark& mark);
    bool takeHeld(EditStep& step);
    void joinLast(EditStep& last, EditStep step, bool isPlain);
    void commit();
    void joinValues(std::vector<EditChange>& changes) const;
    void record(EditChange change);
    void flush();
    void takeAddedResources();
    zrk::Fault busy() const;
    zrk::Result<void> checkFree() const;
    zrk::Fault fault(const std::string& place, const std::string& found, const std::string& expected,
                     const std::string& remedy) const;

    void watchAll();
    void watch(std::uint16_t node);
    void onImport(std::uint16_t node, const std::vector<std::filesystem::path>& paths);
    std::optional<ZRKHeldData> heldBy(std::uint16_t node) const;
    void hold(std::uint16_t node, const std::optional<ZRKHeldData>& data);

    zrk::Result<void> step(bool forward);
    void apply(EditChange& change, bool forward, std::vector<Restored>& restored);
    void applyNode(NodeChange& change, bool forward);
    Restored restore(std::uint16_t node, const std::vector<std::string>& keys);
    void announce(const std::vector<Restored>& restored);
    void rebind(const std::string& uuid, bool isNew, std::vector<Restored>& restored);
    void tell(EditEvent event);
    void tellOf(const std::vector<EditChange>& changes, const std::vector<HeldChange>& held, bool forward);
    void deliver();

    /// What is known of nodes that are to be inserted, by their ids.
    struct ReadNodes {
        std::map<std::uint16_t, ZRKHeldData> imported{};                    ///< isn't read again
        std::map<std::uint16_t, std::shared_ptr<ZRKGraphObject>> objects{}; ///< are whole
    };
    zrk::Result<std::vector<std::uint16_t>> insertNodes(ZRKJson entries, DocumentWarnings& warnings,
                                                        zrk::ProgressMonitor* monitor,
                                                        const ReadNodes& known);
    void insertNode(ZRKJson entry, std::shared_ptr<ZRKGraphObject> object);
    void eraseLink(Pin_handle input);
    ZRKLinkResult connect(Pin_handle output, Pin_handle input);
    zrk::Result<void> setMember(MemberChange::Place place, std::uint16_t node, const std::string& key,
                                std::optional<ZRKJson> value);
    zrk::Result<std::shared_ptr<ZRKSerializableObject>>
    readResource(const ZRKJson& entry, DocumentWarnings* warnings, zrk::ProgressMonitor* monitor) const;
    void insertResource(const ZRKJson& entry, std::size_t index,
                        std::shared_ptr<ZRKSerializableObject> object);
    void eraseResource(std::size_t index);
    void addResource(const ZRKJson& entry, std::shared_ptr<ZRKSerializableObject> object);
    zrk::Result<ZRKJson> fragment(const std::vector<std::uint16_t>& nodes) const;
    zrk::Result<Pasted> pasteFragment(PasteText text, const PasteSettings& settings, const ReadNodes& read);
    zrk::Result<void> pasteResources(PasteText& text, DocumentWarnings& warnings,
                                     zrk::ProgressMonitor* monitor);
    ReadNodes takeRead(const PasteText& text) const;
    bool hasResource(const ZRKJson& entry) const;
    std::size_t linkFromOutside(const ZRKJson& links, const std::map<int, int>& newIds);
    std::string userOf(const std::string& uuid) const;
    zrk::Result<void> editList(std::uint16_t node, const std::string& key, std::size_t index,
                               const std::function<void(ZRKJson& list)>& edit, bool isInsertion);
    zrk::Result<void> checkNode(std::uint16_t node) const;
    zrk::Result<int> nextId() const;
    std::string nodeText(std::uint16_t node) const;
    std::string storedPath(const std::filesystem::path& path) const;
    std::filesystem::path folder() const;
    static std::filesystem::path wholeFolder(const std::filesystem::path& folder);
    void rebase(const std::filesystem::path& from, const std::filesystem::path& to);
    DocumentPaths paths() const;

    void replace(GraphDocument document);
    void removeRecovery();
    double now() const { return _settings.clock(); }
};

} // namespace zrkmodel
