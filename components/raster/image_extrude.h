#pragma once

#include "components/guarded.h"
#include "components/pending_raster.h"
#include "components/raster/image_property.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/held_data.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

/// Extrudes up to three pictures along the axes and combines them. Each is carried straight through the
/// volume along the axis that it lacks, in the manner of a drawing in three views.
///
/// | property    | kind    | unit | default | range | meaning                                               |
/// |-------------|---------|------|---------|-------|-------------------------------------------------------|
/// | wrap        | bool    |      | true    |       | true: repeats the pictures; false: their border       |
/// |             |         |      |         |       | pixels                                                |
/// | size x      | double  | mu   | 1.0     |       | extent of the volume along x, from the origin         |
/// | size y      | double  | mu   | 1.0     |       | the same along y                                      |
/// | size z      | double  | mu   | 1.0     |       | the same along z                                      |
/// | compositing | string  |      | "add"   |       | how the pictures are combined; with another name      |
/// |             |         |      |         |       | nothing is written                                    |
/// | imageXY     | image2d |      | ""      |       | picture whose pixels run along x, and rows along y    |
/// | imageYZ     | image2d |      | ""      |       | picture whose pixels run along y, and rows along z    |
/// | imageXZ     | image2d |      | ""      |       | picture whose pixels run along x, and rows along z    |
///
/// | compositing | name | meaning                             |
/// |-------------|------|-------------------------------------|
/// | "add"       |      | the sum                             |
/// | "subtract"  |      | 1 less their sum                    |
/// | "multiply"  |      | the product: inside all outlines    |
/// | "union"     |      | the largest one: inside any outline |
///
/// | input  | unit | meaning                 |
/// |--------|------|-------------------------|
/// | coords | mu   | the place in the volume |
///
/// | output    | unit | meaning                                                                             |
/// |-----------|------|-------------------------------------------------------------------------------------|
/// | (unnamed) |      | the density, 0 to 1, with the weight of `coords`; without a picture nothing is      |
/// |           |      | written                                                                             |
///
/// Formula: The values s of the pictures are combined in the order of the properties with a start value a,
/// and the result is cut to 0..1:
///
///     add        from 0, a + s
///     subtract   from 1, a - s
///     multiply   from 1, a * s
///     union      from 0, the larger one
///
/// Notes: The first channel of each picture is read, as in the image samplers.
///
/// Example: What is within an outline from the front and from above.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/gear.png"}],
///      "nodes": [{"id": 1, "type": "ZRK2DImageExtrude",
///                 "values": {"wrap": false, "compositing": "multiply",
///                            "imageXY": "0b0e", "imageXZ": "0b0e"}}],
///      "output": [1, 0]}
///
/// Threads: Any number of threads may build evaluators at once, but none while a property is edited.
class ZRK_API ZRK2DImageExtrude final : public ZRKComponent<ZRK2DImageExtrude>, public ZRKDataHolder {
public:
    static constexpr std::size_t kSlots = 3;

    ZRKProperty<bool> wrap{"wrap", true, this};
    ZRKProperty<double> sizeX{"size x", 1.0, this};
    ZRKProperty<double> sizeY{"size y", 1.0, this};
    ZRKProperty<double> sizeZ{"size z", 1.0, this};
    ZRKProperty<std::string> compositing{"compositing", "add", this};
    ZRKImage2dProperty imageXY{"imageXY", nullptr, this};
    ZRKImage2dProperty imageYZ{"imageYZ", nullptr, this};
    ZRKImage2dProperty imageXZ{"imageXZ", nullptr, this};

    ZRK2DImageExtrude() = default;
    /// The copy converts its images itself, once it is asked.
    ZRK2DImageExtrude(const ZRK2DImageExtrude& other) : ZRKComponent(other), ZRKDataHolder(other) {}
    ZRK2DImageExtrude& operator=(const ZRK2DImageExtrude&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onDeserialize(const ZRKDeserialization& d) override;

    /// The caption of a slot's picker: the axis along which its rows follow one another, then the axis along
    /// which a row runs. A slot is below kSlots, here and below.
    static const char* pickerLabel(std::size_t slot);
    /// What a slot's picker does: takes another image, or none.
    void pick(std::size_t slot, const std::shared_ptr<ZRKImage2d>& picked);
    /// The converted images, or those that are to be converted.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    ZRKImage2dProperty& image(std::size_t slot);
    const ZRKImage2dProperty& image(std::size_t slot) const;

    /// The names of the list of compositings, in order.
    static std::vector<std::string> compositingNames();
    /// Returns the row of the value of "compositing". An unknown name is first replaced by that of row 0.
    std::size_t shownCompositing();
    /// Sets "compositing" to the name of a row. A row that isn't there is ignored.
    void chooseCompositing(int row);

private:
    using PendingRasters = std::array<PendingRaster<1, 2>, kSlots>;

    mutable Guarded<PendingRasters> _rasters; ///< the evaluators share what they point to

    /// The images as doubles; null where there is none. They are converted by now, unless that is put off.
    PendingRasters _ensureRasterCache() const;
};

} // namespace zrkmodel
