#pragma once

#include "components/guarded.h"
#include "components/raster/image_property.h"
#include "model/component.h"
#include "model/held_data.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

/// A volume from up to three images, each carried straight through it along the axis that it lacks, in the
/// manner of a drawing in three views.
///
/// | property               | unit        | default | effect                                              |
/// |------------------------|-------------|---------|-----------------------------------------------------|
/// | wrap                   |             | true    | true repeats the images, false their border pixels  |
/// | size x, size y, size z | model units | 1       | extent of the volume, from the origin               |
/// | compositing            |             | add     | see below; with another name nothing is written     |
/// | imageXY                |             | none    | image whose pixels run along x, and rows along y    |
/// | imageYZ                |             | none    | image whose pixels run along y, and rows along z    |
/// | imageXZ                |             | none    | image whose pixels run along x, and rows along z    |
///
/// The first channel of each image is read, as in the image samplers. The values s of the images are combined
/// in the order of this table with a start value a, and the result is cut to 0..1:
///
/// - add: from 0, a + s;
/// - subtract: from 1, a - s;
/// - multiply: from 1, a * s: inside all outlines;
/// - union: from 0, the larger one.
///
/// The weight is that of `coords`. Without an image nothing is written.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/gear.png"}],
///      "nodes": [{"id": 1, "type": "ZRK2DImageExtrude",
///                 "values": {"wrap": false, "compositing": "multiply",
///                            "imageXY": "0b0e", "imageXZ": "0b0e"}}],
///      "output": [1, 0]}
///
/// Any number of threads may build evaluators at once, but none while a property is edited.
class ZRK2DImageExtrude final : public ZRKComponent<ZRK2DImageExtrude>, public ZRKDataHolder {
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
    /// The converted images.
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
    using SharedRasters = std::array<std::shared_ptr<const zrk::Raster<1, 2, double>>, kSlots>;

    mutable Guarded<SharedRasters> _rasters; ///< the evaluators share what they point to

    /// The images as doubles, each converted unless that is done already; null where there is none.
    SharedRasters _ensureRasterCache() const;
};

} // namespace zrkmodel
