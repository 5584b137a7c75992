#include "model/icons.h"

#include "model/graph_object.h"
#include "model/registry.h"

namespace zrkmodel {

const unsigned int* IconResources::find(std::string_view name)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        if (entry.iconResource.pixels && entry.iconResource.name == name) {
            return entry.iconResource.pixels;
        }
    }
    return nullptr;
}

ZRKIcon::Image ZRKIcon::create(const unsigned int* pixels)
{
    Image image(pixels[0], pixels[1]);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<unsigned char>(pixels[2 + i / 4] >> (24 - 8 * (i % 4)));
    }
    return image;
}

} // namespace zrkmodel
