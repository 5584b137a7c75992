#pragma once

#include "host/editing/edit_session.h"
#include "host/field_grid.h"
#include "model/graph_object.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel::testing {

/// What an edited document is made of: odd members at every level, links through several nodes, a raster, a
/// list, an import and pictures.
inline const char* const kParts = R"({"author": "A", "zrkGraph": 1,
  "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]], "epoch": 3},
  "resources": [
    {"uuid": "gear", "kind": "image2d", "path": "gear.png", "note": 1},
    {"uuid": "here", "kind": "geometry", "shape": "point", "position": [0.5, 0, 0]},
    {"uuid": "ball", "kind": "geometry", "shape": "sphere", "center": [0, 0, 0], "radius": 1},
    {"uuid": "both", "kind": "geometry", "shape": "group", "members": ["here", "ball"]}],
  "nodes": [
    {"id": 1, "type": "SphereSDF", "values": {"radius": 0.75, "radios": 2}, "position": [0, 0]},
    {"note": true, "id": 2, "type": "TwistTransform", "values": {"angle": 90.0}, "position": [0, 100]},
    {"id": 3, "type": "Gyroid", "position": [100, 100]},
    {"id": 4, "type": "BinaryOperator", "values": {"op_name": "min"}, "position": [200, 50]},
    {"id": 5, "type": "RasterFX", "values": {"auto-update": true, "resolution": 6}},
    {"id": 6, "type": "Multipole UVW", "values": {"poles": [
       {"strength": 1, "point": [-0.5, 0, 0]},
       {"strength": -1, "is_ref": true, "point_handle": "here", "point": [0, 0, 0]}]}},
    {"id": 7, "type": "MeshSDF", "import": "part.obj", "position": [300, 0]},
    {"id": 8, "type": "ScalarImageSampler", "values": {"image": "gear"}}],
  "links": [
    {"color": "red", "to": [3, 0], "from": [2, 0]}, {"from": [1, 0], "to": [4, 0]},
    {"from": [3, 0], "to": [4, 1]}, {"from": [4, 0], "to": [5, 0]}],
  "output": [5, 0], "zoom": 1.5})";

class Editing : public zrktest::TemporaryFolder {
protected:
    void SetUp() override
    {
        TemporaryFolder::SetUp();
        for (const char* picture : {"gear.png", "ring.png", "letter.png"}) {
            std::filesystem::copy(zrktest::sourceFolder() / "examples/pictures" / picture, folder / picture);
        }
        put("part.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n");
        put("other.obj", "v 0 0 0\nv 2 0 0\nv 0 1 0\nv 0 0 3\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n");
    }

    EditSettings settings()
    {
        EditSettings made;
        made.clock = [this] { return time; };
        return made;
    }
    std::unique_ptr<EditSession> sessionOf(const std::string& text)
    {
        DocumentWarnings warnings;
        return std::make_unique<EditSession>(
            zrk::valueOrThrow(GraphDocument::parse(text, path("test.zrk.json"), warnings)), settings());
    }
    /// Of a file that has been saved by the program.
    std::unique_ptr<EditSession> openParts()
    {
        put("test.zrk.json", sessionOf(kParts)->document().toText());
        return open();
    }
    std::unique_ptr<EditSession> open()
    {
        DocumentWarnings warnings;
        return zrk::valueOrThrow(EditSession::open(path("test.zrk.json"), warnings, settings()));
    }

    double time = 100; ///< of the session's clock
};

/// The bits of all outputs that carry values, at a few positions.
inline std::vector<std::uint64_t> samplesOf(const GraphDocument& document)
{
    std::vector<std::uint64_t> bits;
    const zrk::Region<3, 3, double, 1> region({-0.9, -0.8, -0.7}, {0.9, 0.7, 0.8}, 3, 2, 2);
    for (const OutputPin& pin : document.outputPins()) {
        bits.push_back(pin.address.node * 256u + pin.address.output);
        if (const auto output = document.outputField(pin.address)) {
            const auto values = zrk::valueOrThrow(sampleField(output->field, region, nullptr, 1));
            for (const double value : std::span<const double>(values)) {
                bits.push_back(std::bit_cast<std::uint64_t>(value));
            }
        }
    }
    return bits;
}

/// What the document gives that one gets by saving this one and loading it.
inline std::vector<std::uint64_t> samplesAfterReload(const GraphDocument& document)
{
    DocumentWarnings warnings;
    return samplesOf(zrk::valueOrThrow(GraphDocument::parse(document.toText(), document.name(), warnings)));
}

inline std::shared_ptr<ZRKGraphObject> objectOf(const EditSession& session, std::uint16_t node)
{
    return session.document().graph()->getNodePtr(node)->object;
}

/// What a component has as the value under a key.
inline ZRKJson valueOf(const EditSession& session, std::uint16_t node, const std::string& key)
{
    return valuesOf(*objectOf(session, node))[key];
}

inline ZRKHeldData heldOf(const EditSession& session, std::uint16_t node)
{
    return dynamic_cast<const ZRKDataHolder&>(*objectOf(session, node)).held();
}

inline std::string messageOf(const zrk::Result<void>& result)
{
    return result ? "" : zrk::messageOf(result.error());
}

} // namespace zrkmodel::testing
