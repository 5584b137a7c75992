#pragma once

#include "components/guarded.h"
#include "components/pending_raster.h"
#include "components/raster/image_property.h"
#include "core/values/export.h"
#include "formats/slices.h"
#include "model/component.h"
#include "model/file_import.h"
#include "model/held_data.h"
#include "model/image_library.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrkmodel {

/// A stack of picture slices as its panel sees it. The class behind it, ZRK3DImage, is the one component that
/// the shared library exports nothing of: others reach it through the registry.
class ZRK_API ZRKImageStack : public ZRKExtensionBase, public ZRKFileImport {
public:
    ZRKProperty<bool> wrap{"wrap", true, this};
    ZRKProperty<double> sizeX{"size x", 1.0, this};
    ZRKProperty<double> sizeY{"size y", 1.0, this};
    ZRKProperty<double> sizeZ{"size z", 1.0, this};
    ZRKImage3dProperty image{"image", nullptr, this};

    /// Fills the view with the panel of ZRKImageStack.
    bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node) override;

    /// What the button "remove image" does: it drops the volume and announces "raster". "image" keeps its
    /// value, so that the volume returns with the next inspection or load.
    virtual void removeImage() = 0;
    /// What the button "load folder" does: it assigns "image" without a notification, replaces the volume by
    /// the image's first channel and announces "raster". Where the document has no image for the folder, as
    /// for the empty path of a dialog without a choice, both become empty.
    virtual void loadFolder(ZRKImage3dLibraryView& library, const std::string& path) = 0;
    /// The slice at a share of the stack, 0 to 1, as grey from 0 to 255; nothing without a volume.
    virtual std::optional<zrk::Raster<1, 2, std::uint8_t>> preview(double share) const = 0;

protected:
    ZRKImageStack() = default;
    ZRKImageStack(const ZRKImageStack& other) : ZRKExtensionBase(other), ZRKFileImport(other) {}
    ZRKImageStack& operator=(const ZRKImageStack&) = default;
};

/// Samples a volume made of picture slices. A scan is one.
///
/// | property | kind    | unit | default | range | meaning                                                  |
/// |----------|---------|------|---------|-------|----------------------------------------------------------|
/// | wrap     | bool    |      | true    |       | true: repeats the volume along all axes; false: its      |
/// |          |         |      |         |       | border                                                   |
/// | size x   | double  | mu   | 1.0     |       | extent of the volume along x, from the origin            |
/// | size y   | double  | mu   | 1.0     |       | the same along y                                         |
/// | size z   | double  | mu   | 1.0     |       | the same along z                                         |
/// | image    | image3d |      | ""      |       | a folder of slices, or an array                          |
///
/// | input  | unit | meaning                 |
/// |--------|------|-------------------------|
/// | coords | mu   | the place in the volume |
///
/// | output    | unit | meaning                                                                             |
/// |-----------|------|-------------------------------------------------------------------------------------|
/// | (unnamed) |      | the density, 0 to 1, with the weight of `coords`; without a volume nothing is       |
/// |           |      | written                                                                             |
///
/// Import (path): Single slices, pictures in the order of the paths, in place of "image". They aren't stored
/// with the document, which names them to have them read again.
///
/// Formula: x runs along the rows of a slice, y along its columns, z through the slices; between voxels the
/// value is trilinear. Wrapped, the volume starts over after one more voxel.
///
/// Notes: Whole numbers of the files arrive as 0 to 1; of several channels the first one counts. The type
/// name is that of the extrusion of pictures, "2DImageExtrude": a document tells the two apart by the class
/// name or the UUID.
///
/// Example: A shell from a folder of slices.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "1c1f", "kind": "image3d", "path": "pictures/shell/"}],
///      "nodes": [{"id": 1, "type": "ZRK3DImage", "values": {"wrap": false, "image": "1c1f"}}],
///      "output": [1, 0]}
///
/// Threads: Any number of threads may build evaluators at once, but none while a property is edited.
class ZRK3DImage final : public ZRKComponent<ZRK3DImage, ZRKImageStack>, public ZRKDataHolder {
public:
    ZRK3DImage() = default;
    /// A copy, and so a clone, has the volume, slices that were loaded included.
    ZRK3DImage(const ZRK3DImage& other) : ZRKComponent(other), ZRKDataHolder(other), _raster(other._raster) {}
    ZRK3DImage& operator=(const ZRK3DImage&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node) override;

    void removeImage() override;
    void loadFolder(ZRKImage3dLibraryView& library, const std::string& path) override;
    /// What the button "load slices" does: it replaces the volume by the slices of PNG files (see
    /// zrk::readGreyStack) and announces "raster"; "image" is left alone. Nothing changes without paths, and
    /// when the slices are refused: too many pixels together, too little memory, an interruption. Without a
    /// fit slice the volume is dropped.
    /// @param monitor  may be null.
    /// @return the slices that were left out.
    /// Throws std::filesystem::filesystem_error as readGreyStack does, and changes nothing then.
    zrk::Result<std::vector<zrk::Fault>> loadSlices(const zrk::Paths& paths, zrk::ProgressMonitor* monitor);
    /// The volume.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    void takeImport(const ZRKDataHolder& from, const std::vector<std::filesystem::path>& files) override;

    std::optional<zrk::Raster<1, 2, std::uint8_t>> preview(double share) const override;

protected:
    /// What `loadSlices` does, for documents that name slices. There are no options.
    zrk::Result<ZRKImportWarnings> onImport(const std::vector<std::filesystem::path>& paths,
                                            const ZRKImportOptions& options,
                                            zrk::ProgressMonitor* monitor) override;

private:
    /// The image that a volume is made of, or was, and its doubles.
    struct Volume {
        std::shared_ptr<const ZRKImage3d> image;
        PendingRaster<1, 3> doubles;
    };
    using SharedVolume = std::shared_ptr<const Volume>;

    mutable Guarded<SharedVolume> _raster; ///< null without a usable image

    static SharedVolume volumeOf(const std::shared_ptr<const ZRKImage3d>& image);
    /// Takes the image, unless there is a volume already.
    void _ensureRasterCache() const;
    void replaceRaster(SharedVolume volume, const std::vector<std::filesystem::path>& imported = {});
};

} // namespace zrkmodel
