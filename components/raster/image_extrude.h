#pragma once

#include "components/raster/image_property.h"
#include "model/component.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

/// A volume from up to three pictures, each carried straight through it along the axis that it lacks, in the
/// manner of a drawing in three views.
///
/// | property               | unit        | default | effect                                           |
/// |------------------------|-------------|---------|--------------------------------------------------|
/// | wrap                   |             | true    | repeat the pictures, or else their border pixels |
/// | size x, size y, size z | model units | 1       | extent of the volume, from the origin            |
/// | compositing            |             | add     | see below; with another name nothing is written  |
/// | imageXY                |             | none    | picture whose columns run along x, rows along y  |
/// | imageYZ                |             | none    | columns along y, rows along z                    |
/// | imageXZ                |             | none    | columns along x, rows along z                    |
///
/// Of each picture the first channel s counts, looked up as in the image samplers. From a start value a, they
/// are taken in this order, and the result is cut to 0..1:
///
/// - add: from 0, a + s;
/// - subtract: from 1, a - s;
/// - multiply: from 1, a * s: inside all outlines;
/// - union: from 0, the larger one.
///
/// The weight is that of `coords`. Without a picture nothing is written.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/gear.png"}],
///      "nodes": [{"id": 1, "type": "ZRK2DImageExtrude",
///                 "values": {"wrap": false, "compositing": "multiply",
///                            "imageXY": "0b0e", "imageXZ": "0b0e"}}],
///      "output": [1, 0]}
///
/// Edits belong to the interface thread, and so does building evaluators.
class ZRK2DImageExtrude final : public ZRKComponent<ZRK2DImageExtrude> {
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
    /// The copy converts its pictures itself, once it is asked.
    ZRK2DImageExtrude(const ZRK2DImageExtrude& other) : ZRKComponent(other) {}
    ZRK2DImageExtrude& operator=(const ZRK2DImageExtrude&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onDeserialize(const ZRKDeserialization& d) override;

    /// The caption of a slot's picker: the axis of the picture's rows, then that of its columns.
    static const char* pickerLabel(std::size_t slot);
    /// What a slot's picker does: takes another picture, or none.
    void pick(std::size_t slot, const std::shared_ptr<ZRKImage2d>& picked);
    ZRKImage2dProperty& image(std::size_t slot);
    const ZRKImage2dProperty& image(std::size_t slot) const;

    /// The names of the list of compositings, in order.
    static std::vector<std::string> compositingNames();
    /// The row to show for the value of "compositing". An unknown name becomes that of row 0 first.
    std::size_t shownCompositing();
    /// Takes the name of a row over; a row that isn't there is ignored.
    void chooseCompositing(int row);

private:
    mutable std::array<std::shared_ptr<const zrk::Raster<1, 2, double>>, kSlots>
        _rasters; ///< shared with evaluators

    void _ensureRasterCache() const;
};

} // namespace zrkmodel
