#pragma once

#include "core/values/bbox.h"
#include "host/graph_document.h"

#include <QString>

#include <string>

namespace zrkworkbench {

/// What the views show: an output of a document as it is now.
struct ViewSource {
    zrkmodel::OutputField output;
    zrk::BBox<double> bounds; ///< the document's, where it is sampled
    QString name;             ///< of the output, for its reader: "Part · a<>b"
    std::string unit{};       ///< what a length of 1 stands for, such as "mm"; empty where that isn't known
    std::string document{};   ///< its name; another one has the views begin anew
    zrkmodel::DocumentView view{}; ///< how the document asks to be seen
};

/// The field of an output with what a document says about it.
inline zrk::Result<ViewSource> viewSourceOf(const zrkmodel::GraphDocument& document,
                                            zrkmodel::PinAddress address, const QString& name)
{
    return document.outputField(address).map([&](zrkmodel::OutputField output) {
        return ViewSource{std::move(output), document.samplingBounds(), name,
                          document.unit(),   document.name(),           document.view()};
    });
}

} // namespace zrkworkbench
