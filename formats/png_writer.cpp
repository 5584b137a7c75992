#include "formats/png_writer.h"

#include "formats/atomic_file.h"
#include "formats/error.h"

#include <fmt/format.h>
#include <spng.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zrk {
namespace {

template <int C>
void write(const std::string& path, const zrk::Raster<C, 2, unsigned char>& picture)
{
    const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> context(spng_ctx_new(SPNG_CTX_ENCODER),
                                                                 spng_ctx_free);
    const auto check = [&](int error) {
        if (error != 0) {
            throw hostError(HostError::kFailedWork, path,
                            fmt::format("found \"{}\" on encoding {} x {} pixels, expected a PNG file",
                                        spng_strerror(error), picture.dims[0], picture.dims[1]),
                            "ask for another size");
        }
    };
    check(context ? 0 : SPNG_EMEM);
    spng_ihdr header = {};
    header.width = static_cast<std::uint32_t>(picture.dims[0]);
    header.height = static_cast<std::uint32_t>(picture.dims[1]);
    header.bit_depth = 8;
    header.color_type = C == 3 ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    check(spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1));
    check(spng_set_ihdr(context.get(), &header));
    check(spng_set_srgb(context.get(), 0));
    check(spng_encode_image(context.get(), picture.data.data(), picture.data.size(), SPNG_FMT_PNG,
                            SPNG_ENCODE_FINALIZE));
    std::size_t size = 0;
    int error = 0;
    const std::unique_ptr<void, void (*)(void*)> bytes(spng_get_png_buffer(context.get(), &size, &error),
                                                       std::free);
    check(error);
    AtomicFile file(path);
    file.write(bytes.get(), size);
    file.commit();
}

} // namespace

void writePng(const std::string& path, const Picture& picture) { write(path, picture); }
void writePng(const std::string& path, const TransparentPicture& picture) { write(path, picture); }

} // namespace zrk
