#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/document_paths.h"
#include "model/document.h"
#include "model/image_library.h"
#include "model/json.h"
#include "model/resource.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// A uuid of 122 random bits.
std::string newResourceUuid();

/// The resources of one document, found by uuid. Used on one thread; the objects themselves are
/// safe to share.
class ZRK_API DocumentResources final : public ZRKResourceLibrary,
                                        public ZRKImage3dLibraryView,
                                        public ZRKDocument {
public:
    /// Loads the entries of a document's "resources", all or none. Faults name the entry and the key.
    ///
    /// @param file     the document's, for messages.
    /// @param paths    where the paths in the entries lead.
    /// @param monitor   may be null.
    /// @param unit      the document's, such as "mm"; empty where it has none.
    /// @param warnings  appended to; may be null.
    static zrk::Result<std::shared_ptr<DocumentResources>>
    load(const ZRKJson& entries, const std::string& file, const DocumentPaths& paths,
         zrk::ProgressMonitor* monitor = nullptr, const std::string& unit = {},
         std::vector<zrk::Fault>* warnings = nullptr);

    /// Nil for a uuid that no entry has.
    ZRKResourceHandle find(const ZRKuuid& uuid) override;

    /// Reads a folder that isn't a resource yet and adds it under a new uuid; null when it can't be read.
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string& path) override;

    /// A resource is listed by its "name", or else its file's name, or else its shape and uuid.
    std::vector<ZRKNamedResource<ZRKImage2d>> images2d() const override;
    std::vector<ZRKNamedResource<ZRKGeometry>> geometries(unsigned filter) const override;
    ZRKImage3dLibraryView& images3d() override { return *this; }
    ZRKAddedImage ensureImage2d(const std::string& path) override;
    ZRKImageReading startReading(ZRKImageKind kind, const std::string& path) override;

    /// The entries that were added since the document was read, as it is to store them.
    const ZRKJson& addedEntries() const { return _added; }

    /// The same, which from now on belong to the document.
    ZRKJson takeAddedEntries() { return std::exchange(_added, ZRKJson::array()); }

    /// Loads what an entry names and gives the object its uuid, without adding it. A group takes the
    /// geometries that are there.
    ///
    /// @param place     of the entry, for messages.
    /// @param monitor   may be null.
    /// @param unit      the document's; empty where it has none.
    /// @param warnings  appended to.
    zrk::Result<std::shared_ptr<ZRKSerializableObject>>
    read(const ZRKJson& entry, const std::string& place, const DocumentPaths& paths,
         zrk::ProgressMonitor* monitor, const std::string& unit, std::vector<zrk::Fault>& warnings);
    /// Puts a resource before that at `index`, or at the end. Its uuid must be a new one.
    void insert(std::size_t index, const ZRKJson& entry, std::shared_ptr<ZRKSerializableObject> object);
    /// Takes the resource at `index` out; who holds its object keeps it.
    void erase(std::size_t index);
    /// The folder that the document is in from now on.
    void setFolder(const std::filesystem::path& folder) { _folder = folder; }
    /// The place of a resource among the entries; none for a uuid that no entry has.
    std::optional<std::size_t> indexOf(const ZRKuuid& uuid) const;

    /// The loaded objects in the order of the document.
    std::vector<std::shared_ptr<ZRKSerializableObject>> objects() const;

private:
    std::vector<std::shared_ptr<ZRKResourceEntry>> _entries;
    std::vector<std::string> _names;                                            ///< of the entries
    std::unordered_map<ZRKuuid, std::size_t> _index;                            ///< place of an entry
    std::filesystem::path _folder;                                              ///< the document's
    std::map<std::filesystem::path, std::shared_ptr<ZRKResourceEntry>> _byPath; ///< images, by whole path
    ZRKJson _added = ZRKJson::array();
    struct ReadImage;
    std::shared_ptr<const ReadImage> _read; ///< apart; may be null

    zrk::Result<std::shared_ptr<ZRKResourceEntry>> ensureImage(ZRKImageKind kind, const std::string& path);
    void countPlaces();
    template <class R>
    std::vector<ZRKNamedResource<R>> named() const;
    friend class ResourceReader;
};

} // namespace zrkmodel
