#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/geometry.h"
#include "model/property.h"
#include "model/value_list.h"

#include <cstddef>
#include <memory>
#include <unordered_map>

namespace zrkmodel {

/// Expresses a position in coordinates spanned by weighted poles. A pole is a point with a signed strength;
/// between poles of opposite sign the coordinates flow from one to the other, as in the potential of a
/// multipole.
///
/// | property        | kind | unit | default | range | meaning                                              |
/// |-----------------|------|------|---------|-------|------------------------------------------------------|
/// | const direction | bool |      | false   |       | true: every pole measures its angles in the world's  |
/// |                 |      |      |         |       | frame                                                |
///
/// | stored key | kind | unit | default | range | meaning                                                  |
/// |------------|------|------|---------|-------|----------------------------------------------------------|
/// | poles      | list |      | []      |       | the poles; without a usable one the output isn't written |
///
/// | poles[]      | kind     | unit | default   | range   | meaning                                         |
/// |--------------|----------|------|-----------|---------|-------------------------------------------------|
/// | strength     | double   |      | 1.0       | -1 to 1 | factor of what the pole adds                    |
/// | is_ref       | bool     |      | false     |         | true: the pole follows a point of the document  |
/// | point        | vector3  | mu   | [0, 0, 0] |         | where it is; of a pole that follows a point,    |
/// |              |          |      |           |         | its last known place                            |
/// | point_handle | geometry |      | ""        |         | the point that it follows; read and written     |
/// |              |          |      |           |         | only where is_ref is true                       |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                |
/// |--------|------|----------------------------------------|
/// | coords |      | (U, V, W), with the weight of `coords` |
///
/// Formula: With d = p - pole, r = |d| and (a, b, c) the pole's frame, the coordinates are sums over all
/// poles. They aren't divided by the strengths:
///
///     U = sum of strength * atan2(d . b, d . a)    azimuth, radians
///     V = sum of strength * log(r)                 natural logarithm of the distance in model units
///     W = sum of strength * asin((d . c) / r)      elevation, radians
///
/// A pole adds nothing at its own position. Unless "const direction" is set, the frames of two or more poles
/// are turned so that c points away from their centroid (zrk::aimFromCentroid); a skipped pole pulls the
/// centroid towards the origin.
///
/// Notes: A pole whose reference doesn't resolve is skipped. A reference to something that isn't a point
/// counts as the origin.
///
/// Example: Two poles of opposite sign, and a gyroid that follows them.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "Multipole UVW", "values": {"poles": [
///                    {"strength": 1, "point": [-0.5, 0, 0]}, {"strength": -1, "point": [0.5, 0, 0]}]}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
///
/// Threads: Edits and listeners belong to the interface thread.
class ZRK_API ZRKMultipoleUVW final : public ZRKComponent<ZRKMultipoleUVW> {
public:
    /// A fixed position or a reference to a geometry, with a signed strength.
    class Pole {
    public:
        double strength = 1.0;
        ZRKResourceHandleOf<ZRKGeometry> handle;
        zrk::Tensor<3, double> point{}; ///< of a fixed pole; of a reference, where it was when it was stored

        Pole() = default; ///< fixed, at the origin
        Pole(const zrk::Tensor<3, double>& point, double strength) : strength(strength), point(point) {}
        Pole(const std::shared_ptr<ZRKGeometry>& geometry, double strength)
            : strength(strength), handle(geometry), _is_ref(true)
        {}

        /// Sets coordinate i of a fixed pole, 0 to 2. Returns false and changes nothing for a reference and
        /// for any other i.
        bool set(int i, double value);
        /// Makes the pole a reference to the geometry.
        void set_ref(const std::shared_ptr<ZRKGeometry>& geometry);

        bool is_ref() const { return _is_ref; }
        /// Returns false for a reference that doesn't resolve now, and true otherwise.
        bool is_valid() const { return !_is_ref || handle.ready(); }
        const ZRKuuid& ref_uuid() const { return handle.uuid(); }
        /// Returns the geometry that the pole refers to, or null if there is none.
        std::shared_ptr<ZRKGeometry> geometry() const { return handle.object(); }
        /// Returns where the pole is now. A reference to something that isn't a point, or isn't there, is at
        /// the origin.
        zrk::Tensor<3, double> get_point() const;

    private:
        friend struct ZRKValueSerializer<Pole>;
        bool _is_ref = false;
    };

    ZRKProperty<bool> constDirection{"const direction", false, this};
    /// A change of the list is announced as "poles", and so is a change of a geometry that a pole refers to.
    ZRKValueList<Pole> poles{"poles", this, [this](const Pole* replaced) { followReferences(replaced); }};

    ZRKMultipoleUVW() = default;
    /// A copy, and so a clone, starts without poles.
    ZRKMultipoleUVW(const ZRKMultipoleUVW& other) : ZRKComponent(other) {}
    /// Assigns values and poles, telling no one, and follows the poles' geometries itself.
    ZRKMultipoleUVW& operator=(const ZRKMultipoleUVW& other)
    {
        other._copyTo(this);
        poles = other.poles;
        return *this;
    }
    ~ZRKMultipoleUVW() override { unregister_all_refs(); }

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;

protected:
    /// Starts to listen to the geometry of a reference that resolves, unless it is listened to already.
    void register_pole(const Pole& pole);
    /// Stops listening to the geometry of a reference, also if other poles refer to it.
    void unregister_pole(const Pole& pole) { refListeners.erase(pole.ref_uuid()); }
    void unregister_all_refs() { refListeners.clear(); }

private:
    std::unordered_map<ZRKuuid, nod::scoped_connection> refListeners; // by the geometry's uuid
    struct Alive {};
    /// What listens holds it weakly: a change that is under way may do away with the component.
    std::shared_ptr<const Alive> _alive = std::make_shared<const Alive>();

    void followReferences(const Pole* replaced);
};

/// A pole is stored as an object with the members "strength", "is_ref", "point" and, if it is a reference,
/// "point_handle". "point" is where the pole is now. For a reference that doesn't resolve it is the point
/// that was read, so that the last known point goes from one document to the next.
template <>
struct ZRK_API ZRKValueSerializer<ZRKMultipoleUVW::Pole> {
    using Pole = ZRKMultipoleUVW::Pole;
    static void write(ZRKSerialization& s, const Pole& pole, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, Pole& pole, const ZRKSerializationPos& pos);
};

} // namespace zrkmodel
