#pragma once

#include "apps/workbench/canvas/graph_info.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace zrkworkbench {

/// Which types a search finds: those that a held wire fits, or all.
struct SearchFilter {
    zrkmodel::Tag tag;        ///< of the wire; None or Any where all pins fit
    bool isFromOutput = true; ///< the wire ends at an input of the new node

    /// Such as "takes a scalar".
    QString text() const;
};

/// The first pin of a type that a wire fits; none where it has no such pin.
std::optional<std::uint8_t> fittingPin(const zrkmodel::ZRKGraphObjectRegistration& type,
                                       const SearchFilter& filter);

/// A type that was found.
struct SearchHit {
    const zrkmodel::ZRKGraphObjectRegistration* type;
    int score;
    /// Where it matched, if its name doesn't: "class Invert", "page: inwards", "family Operators".
    QString why;
    int matchStart = -1; ///< @{ in the name
    int matchLength = 0; ///< @}
};

/// Types whose name, class, family, manual or former name has all words of the text, the best first. An empty
/// text finds all. Among equals those that were used last come first, then the order of registration.
/// @param recent  class names, the last used first.
std::vector<SearchHit> searchTypes(const QString& text, const std::optional<SearchFilter>& filter,
                                   const QStringList& recent);

} // namespace zrkworkbench
