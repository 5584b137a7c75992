// The OBJ reader on any bytes: it gives what streams give, and the place of what is wrong.

#include "formats/obj.h"
#include "testing/bytes_as_file.h"
#include "testing/literal_obj_reader.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const BytesAsFile file(data, size);
    zrk::WavefrontObj obj = zrk::parseWavefrontObj(file.path());
    const zrk::WavefrontObj literal = zrktest::literalWavefrontObj(file.path());
    const bool isSame = obj.indices == literal.indices && obj.vertices.size() == literal.vertices.size() &&
                        (obj.vertices.empty() || std::memcmp(obj.vertices.data(), literal.vertices.data(),
                                                             obj.vertices.size() * sizeof(double)) == 0) &&
                        obj.offendingLine == literal.offendingLine &&
                        obj.vertexCount == literal.vertexCount && obj.triangleCount == literal.triangleCount;
    if (!isSame || obj.offendingLine.has_value() != obj.fault.has_value()) {
        __builtin_trap();
    }
    zrk::fitVerticesToBox(obj.vertexCount, obj.vertices, zrk::BBox<double>({0, 0, 0}, {5, 5, 5}));
    return 0;
}
