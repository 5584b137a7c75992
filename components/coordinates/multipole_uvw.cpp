#include "components/coordinates/multipole_uvw.h"

#include "components/coordinates/multipole_uvw_formula.h"
#include "components/position_pins.h"
#include "core/engine/formula.h"

#include <utility>
#include <vector>

namespace zrkmodel {

bool ZRKMultipoleUVW::Pole::set(int i, double value)
{
    if (_is_ref || i < 0 || i > 2) {
        return false;
    }
    point[static_cast<std::size_t>(i)] = value;
    return true;
}

void ZRKMultipoleUVW::Pole::set_ref(const std::shared_ptr<ZRKGeometry>& geometry)
{
    handle.reset(geometry);
    _is_ref = true;
}

zrk::Tensor<3, double> ZRKMultipoleUVW::Pole::get_point() const
{
    if (!_is_ref) {
        return point;
    }
    const auto resource = geometry();
    const auto shape = resource ? std::dynamic_pointer_cast<IPoint>(resource->geometry()) : nullptr;
    return shape ? shape->position() : zrk::Tensor<3, double>{};
}

void ZRKValueSerializer<ZRKMultipoleUVW::Pole>::write(ZRKSerialization& s, const Pole& pole,
                                                      const ZRKSerializationPos& pos)
{
    s.beginObject(pos);
    ZRKValueSerializer<double>::write(s, pole.strength, "strength");
    ZRKValueSerializer<bool>::write(s, pole._is_ref, "is_ref");
    ZRKValueSerializer<zrk::Tensor<3, double>>::write(s, pole.is_valid() ? pole.get_point() : pole.point,
                                                      "point");
    if (pole._is_ref) {
        ZRKValueSerializer<ZRKResourceHandle>::write(s, pole.handle, "point_handle");
    }
    s.end();
}

bool ZRKValueSerializer<ZRKMultipoleUVW::Pole>::read(const ZRKDeserialization& d, Pole& pole,
                                                     const ZRKSerializationPos& pos)
{
    if (!d.beginObject(pos)) {
        return false;
    }
    ZRKValueSerializer<double>::read(d, pole.strength, "strength");
    ZRKValueSerializer<bool>::read(d, pole._is_ref, "is_ref");
    ZRKValueSerializer<zrk::Tensor<3, double>>::read(d, pole.point, "point");
    ZRKResourceHandle handle;
    if (pole._is_ref && ZRKValueSerializer<ZRKResourceHandle>::read(d, handle, "point_handle")) {
        pole.handle = handle;
    }
    d.end();
    return true;
}

ComponentIdentity ZRKMultipoleUVW::identity()
{
    return {
        .className = "ZRKMultipoleUVW",
        .typeName = "Multipole UVW",
        .uuid = "DD3B8046-432A-40DC-864C-C70DF0E6E0EC",
        .icon = IconResources::uvw_multipole,
        .strings = ZRKUIStrings::multipole_coordinates(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKMultipoleUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKMultipoleUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    std::vector<zrk::PoleRecord> records;
    for (const Pole& pole : poles.values()) {
        if (pole.is_valid()) {
            records.push_back({pole.get_point(), pole.strength});
        }
    }
    if (records.empty()) {
        return zrk::doNothing();
    }
    if (!constDirection.value()) {
        // All poles divide the sum, so a reference that doesn't resolve pulls towards the origin.
        zrk::aimFromCentroid(records, poles.values().size());
    }
    return zrk::evaluator(
        zrk::MultipoleCoordinates{std::make_shared<const std::vector<zrk::PoleRecord>>(std::move(records))});
}

void ZRKMultipoleUVW::onSerialize(ZRKSerialization& s) const
{
    constDirection.serialize(s);
    poles.serialize(s);
}

void ZRKMultipoleUVW::onDeserialize(const ZRKDeserialization& d)
{
    constDirection.deserialize(d);
    poles.deserialize(d);
}

void ZRKMultipoleUVW::register_pole(const Pole& pole)
{
    const auto geometry = pole.is_ref() ? pole.geometry() : nullptr;
    if (geometry && !refListeners.contains(pole.ref_uuid())) {
        refListeners[pole.ref_uuid()] =
            geometry->addListener([this, alive = std::weak_ptr(_alive)](const ZRKEvent&) {
                if (!alive.expired()) {
                    emitPropertyChange("poles");
                }
            });
    }
}

void ZRKMultipoleUVW::followReferences(const Pole* replaced)
{
    if (replaced) {
        unregister_pole(*replaced);
    } else {
        unregister_all_refs();
    }
    for (const Pole& pole : poles.values()) {
        register_pole(pole);
    }
}

} // namespace zrkmodel
