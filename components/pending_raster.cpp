#include "components/pending_raster.h"

#include "components/channel_conversion.h"

namespace zrkmodel {

namespace {

/// @param convert  one of the functions of channel_conversion.h.
template <int N, int D, class Image>
PendingRaster<N, D> pendingOf(const std::shared_ptr<const Image>& image,
                              SharedRaster<N, D> (*convert)(const std::shared_ptr<const Image>&))
{
    if (!image || image->channelCount() == 0) {
        return nullptr;
    }
    return std::make_shared<const Pending<SharedRaster<N, D>>>(
        [image, convert](zrk::ProgressMonitor*) { return convert(image); });
}

} // namespace

PendingRaster<1, 2> pendingFirstChannel(const std::shared_ptr<const ZRKImage2d>& image)
{
    return pendingOf<1, 2, ZRKImage2d>(image, firstChannel);
}

PendingRaster<1, 3> pendingFirstChannel(const std::shared_ptr<const ZRKImage3d>& image)
{
    return pendingOf<1, 3, ZRKImage3d>(image, firstChannel);
}

template <int N>
PendingRaster<N, 2> pendingChannels(const std::shared_ptr<const ZRKImage2d>& image)
{
    return pendingOf<N, 2, ZRKImage2d>(image, interleavedChannels<N>);
}

template PendingRaster<1, 2> pendingChannels<1>(const std::shared_ptr<const ZRKImage2d>&);
template PendingRaster<3, 2> pendingChannels<3>(const std::shared_ptr<const ZRKImage2d>&);
template PendingRaster<4, 2> pendingChannels<4>(const std::shared_ptr<const ZRKImage2d>&);

} // namespace zrkmodel
