#include "host/document_resources.h"

#include "core/values/stop.h"
#include "formats/limits.h"
#include "host/document_values.h"
#include "host/geometry_reader.h"
#include "host/image_resource.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <set>
#include <utility>

namespace zrkmodel {

namespace {

/// One path for one file or folder that exists, however it is written; else the path itself.
std::filesystem::path wholePath(const std::filesystem::path& path)
{
    // An empty path is the current folder: that of a document opened by its bare name. Not by the library's
    // weakly_canonical, which crashes where memory fails.
    const std::unique_ptr<char, void (*)(void*)> whole(::realpath(path.empty() ? "." : path.c_str(), nullptr),
                                                       std::free);
    return whole ? std::filesystem::path(whole.get()) : path;
}

} // namespace

std::string newResourceUuid()
{
    std::random_device random;
    std::string text = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
    for (char& c : text) {
        const unsigned digit = random() % 16;
        if (c == 'x' || c == 'y') {
            c = "0123456789abcdef"[c == 'x' ? digit : 8 + digit % 4];
        }
    }
    return text;
}

namespace {

/// What lists call the resource of an entry.
std::string listedName(const ZRKJson& entry)
{
    const auto text = [&](const char* key) {
        const auto member = entry.find(key);
        return member != entry.end() && member->is_string() ? member->get<std::string>() : std::string();
    };
    if (!text("name").empty()) {
        return text("name");
    }
    const std::filesystem::path path(text("path"));
    if (!path.empty()) {
        return (path.has_filename() ? path : path.parent_path()).filename().string();
    }
    return text("shape") + " " + text("uuid").substr(0, 8);
}

} // namespace

/// Reads the entries of one document.
class ResourceReader {
public:
    ResourceReader(const ZRKJson& entries, const std::string& file, const DocumentPaths& paths,
                   DocumentResources& resources, zrk::ProgressMonitor* monitor, const std::string& unit,
                   std::vector<zrk::Fault>& warnings)
        : _entries(entries),
          _file(file),
          _paths(paths),
          _resources(resources),
          _monitor(monitor),
          _unit(unit),
          _warnings(warnings)
    {}

    void read()
    {
        // Uuids first, as groups may name members that stand below them.
        for (std::size_t i = 0; i < _entries.size(); ++i) {
            zrk::stopIfAsked();
            readIdentity(i);
        }
        for (std::size_t i = 0; i < _entries.size(); ++i) {
            zrk::stopIfAsked();
            if (!isGeometry(i)) {
                loadImage(i);
            } else if (!isGroup(_entries[i])) {
                loaded(i, zrk::valueOrThrow(readGeometry(_entries[i], place(i), _paths, _unit, _warnings)));
            }
        }
        for (std::size_t i = 0; i < _entries.size(); ++i) {
            zrk::stopIfAsked();
            if (isGeometry(i) && isGroup(_entries[i])) {
                readGroups(i);
            }
        }
    }

    /// Reads the first entry; the others are members of it, whose geometries are given.
    void readFirst(const std::vector<std::shared_ptr<DocumentGeometry>>& members)
    {
        for (std::size_t i = 0; i < _entries.size(); ++i) {
            readIdentity(i);
        }
        std::copy(members.begin(), members.end(), _geometries.begin() + 1);
        if (!isGeometry(0)) {
            loadImage(0);
        } else if (isGroup(_entries[0])) {
            readGroups(0);
        } else {
            loaded(0, zrk::valueOrThrow(readGeometry(_entries[0], place(0), _paths, _unit, _warnings)));
        }
    }

private:
    struct OpenGroup {
        std::size_t index;
        std::vector<std::size_t> members;
        std::size_t next = 0; ///< member to look at
    };

    const ZRKJson& _entries;
    const std::string& _file;
    const DocumentPaths& _paths;
    DocumentResources& _resources;
    zrk::ProgressMonitor* _monitor;
    const std::string& _unit;
    std::vector<zrk::Fault>& _warnings;
    std::vector<std::shared_ptr<DocumentGeometry>> _geometries; ///< null for images
    std::vector<bool> _isOpen;
    std::size_t _memberCount = 0;

    std::string place(std::size_t i, const char* key = nullptr) const
    {
        return key ? fmt::format("{}, resources[{}], \"{}\"", _file, i, key)
                   : fmt::format("{}, resources[{}]", _file, i);
    }

    [[noreturn]] static void refuse(const std::string& where, const std::string& found,
                                    const std::string& expected, const std::string& remedy)
    {
        throw zrk::FaultError({where, found, expected, remedy});
    }

    void readIdentity(std::size_t i)
    {
        const ZRKJson& entry = _entries[i];
        if (!entry.is_object()) {
            refuse(place(i), shown(entry), "an object", "write {\"uuid\": ..., \"kind\": ..., ...}");
        }
        const std::string kind = shownMember(entry, "kind");
        if (kind != "\"image2d\"" && kind != "\"image3d\"" && kind != "\"geometry\"") {
            refuse(place(i, "kind"), kind, "\"image2d\", \"image3d\" or \"geometry\"",
                   "write one of these kinds");
        }
        const auto member = entry.find("uuid");
        const ZRKuuid uuid(member != entry.end() && member->is_string() ? member->get<std::string>()
                                                                        : std::string());
        if (uuid.isNil()) {
            refuse(place(i, "uuid"), shownMember(entry, "uuid"), "the resource's uuid",
                   "write a uuid that no other resource has; nodes refer to it");
        }
        const auto [earlier, isNew] = _resources._index.emplace(uuid, i);
        if (!isNew) {
            refuse(place(i, "uuid"), shown(*member) + " a second time", "a uuid that no other resource has",
                   fmt::format("resources[{}] has it already; case makes no difference", earlier->second));
        }
        _resources._entries.push_back(std::make_shared<ZRKResourceEntry>(uuid));
        _resources._names.push_back(listedName(entry));
        _geometries.emplace_back();
        _isOpen.push_back(false);
    }

    bool isGeometry(std::size_t i) const { return _entries[i]["kind"] == "geometry"; }

    void loadImage(std::size_t i)
    {
        std::shared_ptr<ZRKSerializableObject> image;
        if (_entries[i]["kind"] == "image2d") {
            image = zrk::valueOrThrow(readImage2d(_entries[i], _paths, place(i)));
        } else {
            image = zrk::valueOrThrow(readImage3d(_entries[i], _paths, place(i), _monitor));
        }
        _resources._byPath.emplace(
            wholePath(_paths.find(_entries[i]["path"].get<std::string>(), place(i, "path"))),
            _resources._entries[i]);
        image->setUuid(_resources._entries[i]->uuid());
        _resources._entries[i]->resolve(std::move(image));
    }

    void loaded(std::size_t i, std::shared_ptr<DocumentGeometry> geometry)
    {
        geometry->setUuid(_resources._entries[i]->uuid());
        _geometries[i] = geometry;
        _resources._entries[i]->resolve(std::move(geometry));
    }

    /// Loads a group and the groups within it, innermost first, without recursion.
    void readGroups(std::size_t outermost)
    {
        std::vector<OpenGroup> open;
        enter(outermost, open);
        while (!open.empty()) {
            OpenGroup& group = open.back();
            if (group.next == group.members.size()) {
                close(group);
                open.pop_back();
                continue;
            }
            const std::size_t member = group.members[group.next++];
            if (_isOpen[member]) {
                refuse(place(group.index, "members"),
                       fmt::format("resources[{}], which contains this group", member),
                       "groups that lead one way", "remove the member that closes the cycle");
            }
            enter(member, open);
        }
    }

    /// Opens a group unless it, or another shape in its place, is loaded already.
    void enter(std::size_t i, std::vector<OpenGroup>& open)
    {
        if (!_geometries[i]) {
            open.push_back({i, membersOf(i)});
            _isOpen[i] = true;
        }
    }

    std::vector<std::size_t> membersOf(std::size_t i) const
    {
        const auto members = _entries[i].find("members");
        if (members == _entries[i].end() || !members->is_array()) {
            refuse(place(i, "members"), shownMember(_entries[i], "members"), "an array of uuids",
                   "write \"members\": [\"uuid of a geometry\", ...]");
        }
        std::vector<std::size_t> indices;
        for (const ZRKJson& member : *members) {
            zrk::stopIfAsked();
            const ZRKuuid uuid(member.is_string() ? member.get<std::string>() : std::string());
            const auto index = _resources._index.find(uuid);
            if (index == _resources._index.end() || !isGeometry(index->second)) {
                refuse(place(i, "members"), shown(member), "the uuid of a geometry of this document",
                       "remove the member, or add the geometry to \"resources\"");
            }
            indices.push_back(index->second);
        }
        return indices;
    }

    /// All members are loaded: the group is their distances in order.
    void close(const OpenGroup& group)
    {
        std::size_t count = 0;
        for (const std::size_t member : group.members) {
            count += _geometries[member]->distanceCount();
        }
        _memberCount += count;
        if (_memberCount > zrk::kMaxGroupMembers) {
            refuse(place(group.index, "members"),
                   fmt::format("groups of {} members in all, counted through groups within groups",
                               _memberCount),
                   fmt::format("at most {}", zrk::kMaxGroupMembers),
                   "name fewer members, or nest groups less");
        }
        std::vector<ZRKGeometry::SignedDistance> distances;
        distances.reserve(count);
        for (const std::size_t member : group.members) {
            zrk::stopIfAsked();
            for (auto& distance : _geometries[member]->getSDFUngroup()) {
                distances.push_back(std::move(distance));
            }
        }
        _isOpen[group.index] = false;
        loaded(group.index, std::make_shared<DocumentGeometry>(nullptr, std::move(distances)));
    }
};

zrk::Result<std::shared_ptr<DocumentResources>>
DocumentResources::load(const ZRKJson& entries, const std::string& file, const DocumentPaths& paths,
                        zrk::ProgressMonitor* monitor, const std::string& unit,
                        std::vector<zrk::Fault>* warnings)
{
    std::vector<zrk::Fault> unheard;
    return zrk::attempt(file + ", \"resources\"", [&] {
        auto resources = std::make_shared<DocumentResources>();
        resources->_folder = paths.folder();
        ResourceReader(entries, file, paths, *resources, monitor, unit, warnings ? *warnings : unheard)
            .read();
        return resources;
    });
}

ZRKResourceHandle DocumentResources::find(const ZRKuuid& uuid)
{
    const auto index = _index.find(uuid);
    return index == _index.end() ? ZRKResourceHandle() : ZRKResourceHandle(_entries[index->second]);
}

std::optional<std::size_t> DocumentResources::indexOf(const ZRKuuid& uuid) const
{
    const auto index = _index.find(uuid);
    return index == _index.end() ? std::nullopt : std::optional(index->second);
}

zrk::Result<std::shared_ptr<ZRKSerializableObject>>
DocumentResources::read(const ZRKJson& entry, const std::string& place, const DocumentPaths& paths,
                        zrk::ProgressMonitor* monitor, const std::string& unit,
                        std::vector<zrk::Fault>& warnings)
{
    return zrk::attempt(place, [&] {
        // A document of this entry alone, or of a group with stand-ins for its members.
        DocumentResources single;
        single._folder = _folder;
        ZRKJson entries = ZRKJson::array({entry});
        std::vector<std::shared_ptr<DocumentGeometry>> known;
        const auto members = entry.is_object() ? entry.find("members") : entry.end();
        if (members != entry.end() && members->is_array() && isGroup(entry)) {
            for (const ZRKJson& member : *members) {
                const ZRKuuid uuid(member.is_string() ? member.get<std::string>() : std::string());
                const auto geometry = std::dynamic_pointer_cast<DocumentGeometry>(
                    single.indexOf(uuid) ? nullptr
                                         : ZRKResourceHandleOf<ZRKSerializableObject>(find(uuid)).object());
                if (geometry) {
                    single._index.emplace(uuid, entries.size());
                    entries.push_back({{"uuid", member}, {"kind", "geometry"}, {"shape", "known"}});
                    known.push_back(geometry);
                }
            }
            single._index.clear();
        }
        ResourceReader(entries, place, paths, single, monitor, unit, warnings).readFirst(known);
        return single._entries.front()->object();
    });
}

void DocumentResources::insert(std::size_t index, const ZRKJson& entry,
                               std::shared_ptr<ZRKSerializableObject> object)
{
    const auto at = static_cast<std::ptrdiff_t>(std::min(index, _entries.size()));
    const ZRKuuid uuid(entry["uuid"].get<std::string>());
    const auto added = std::make_shared<ZRKResourceEntry>(uuid);
    if (entry["kind"] != "geometry") {
        const std::filesystem::path path = entry["path"].get<std::string>();
        _byPath.emplace(wholePath(_folder / path), added);
    }
    added->resolve(std::move(object));
    _entries.insert(_entries.begin() + at, added);
    _names.insert(_names.begin() + at, listedName(entry));
    countPlaces();
}

void DocumentResources::erase(std::size_t index)
{
    const auto at = static_cast<std::ptrdiff_t>(index);
    std::erase_if(_byPath, [&](const auto& known) { return known.second == _entries[index]; });
    _entries.erase(_entries.begin() + at);
    _names.erase(_names.begin() + at);
    countPlaces();
}

void DocumentResources::countPlaces()
{
    _index.clear();
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        _index.emplace(_entries[i]->uuid(), i);
    }
}

/// An image on its way into the document.
struct DocumentResources::ReadImage {
    ZRKImageKind kind;
    std::string path; ///< as it was asked for
    std::filesystem::path whole{};
    ZRKJson entry{};
    zrk::Result<std::shared_ptr<ZRKSerializableObject>> object{nullptr};

    ReadImage(ZRKImageKind imageKind, std::string asked) : kind(imageKind), path(std::move(asked)) {}

    void findPath() { whole = wholePath(path); }
    void read(const std::filesystem::path& folder, zrk::ProgressMonitor* monitor)
    {
        const std::filesystem::path relative = whole.lexically_relative(wholePath(folder));
        const bool isPicture = kind == ZRKImageKind::picture;
        entry = {{"uuid", newResourceUuid()},
                 {"kind", isPicture ? "image2d" : "image3d"},
                 {"path", (relative.empty() ? whole : relative).string()}};
        const auto any = [](const auto& image) -> std::shared_ptr<ZRKSerializableObject> { return image; };
        object = isPicture ? readImage2d(entry, folder, path).map(any)
                           : readImage3d(entry, folder, path, monitor).map(any);
    }
};

ZRKImageReading DocumentResources::startReading(ZRKImageKind kind, const std::string& path)
{
    const auto image = std::make_shared<ReadImage>(kind, path);
    std::set<std::filesystem::path> known;
    for (const auto& [whole, entry] : _byPath) {
        known.insert(whole);
    }
    return {[image, known = std::move(known), folder = _folder](zrk::ProgressMonitor& monitor) {
                const auto done = zrk::attempt(image->path, [&]() -> zrk::Result<void> {
                    image->findPath();
                    if (!known.contains(image->whole)) {
                        image->read(folder, &monitor);
                    }
                    return {};
                });
                if (!done) {
                    image->object = zrk::refused(done.error());
                }
            },
            [this, image] { _read = image; }};
}

zrk::Result<std::shared_ptr<ZRKResourceEntry>> DocumentResources::ensureImage(ZRKImageKind kind,
                                                                              const std::string& path)
{
    ReadImage image(kind, path);
    const std::shared_ptr<const ReadImage> read = std::exchange(_read, nullptr);
    const bool isRead = read && read->kind == kind && read->path == path && !read->whole.empty();
    if (isRead) {
        image = *read;
    } else {
        image.findPath();
    }
    if (const auto known = _byPath.find(image.whole); known != _byPath.end()) {
        return known->second;
    }
    if (!isRead || (image.object && !*image.object)) { // it was known when it was to be read
        image.read(_folder, nullptr);
    }
    if (!image.object) {
        return zrk::refused(image.object.error());
    }
    const ZRKuuid uuid(image.entry["uuid"].get<std::string>());
    const auto entry = std::make_shared<ZRKResourceEntry>(uuid);
    (*image.object)->setUuid(uuid);
    entry->resolve(*image.object);
    _index.emplace(uuid, _entries.size());
    _entries.push_back(entry);
    _names.push_back(listedName(image.entry));
    _byPath.emplace(image.whole, entry);
    _added.push_back(std::move(image.entry));
    return entry;
}

std::shared_ptr<ZRKResourceEntry> DocumentResources::ensureImageFromfolder(const std::string& path)
{
    if (path.empty()) {
        return nullptr; // none was chosen
    }
    return ensureImage(ZRKImageKind::volume, path).value_or(nullptr);
}

ZRKAddedImage DocumentResources::ensureImage2d(const std::string& path)
{
    const auto entry = ensureImage(ZRKImageKind::picture, path);
    if (!entry) {
        return {nullptr, zrk::messageOf(entry.error())};
    }
    const auto image = std::dynamic_pointer_cast<ZRKImage2d>((*entry)->object());
    return {image, image ? "" : path + ": found a volume, expected a picture"};
}

template <class R>
std::vector<ZRKNamedResource<R>> DocumentResources::named() const
{
    std::vector<ZRKNamedResource<R>> found;
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        if (auto object = std::dynamic_pointer_cast<R>(_entries[i]->object())) {
            found.push_back({_names[i], std::move(object)});
        }
    }
    return found;
}

std::vector<ZRKNamedResource<ZRKImage2d>> DocumentResources::images2d() const { return named<ZRKImage2d>(); }

std::vector<ZRKNamedResource<ZRKGeometry>> DocumentResources::geometries(unsigned filter) const
{
    auto found = named<ZRKGeometry>();
    std::erase_if(found, [&](const auto& entry) { return (geometryKind(*entry.object) & filter) == 0; });
    return found;
}

std::vector<std::shared_ptr<ZRKSerializableObject>> DocumentResources::objects() const
{
    std::vector<std::shared_ptr<ZRKSerializableObject>> objects;
    for (const auto& entry : _entries) {
        objects.push_back(entry->object());
    }
    return objects;
}

} // namespace zrkmodel
