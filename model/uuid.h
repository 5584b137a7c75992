#pragma once

#include "core/values/export.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace zrkmodel {

/// Identity of a type, an object or a resource: a text, compared without regard to case.
///
/// The text is kept as it was given and isn't checked: saved documents carry identities
/// of irregular length. Nil is the empty text or a uuid of zeros only.
class ZRK_API ZRKuuid {
public:
    ZRKuuid() = default;
    explicit ZRKuuid(std::string_view text) : _text(text) {}

    bool isNil() const;
    const std::string& text() const { return _text; }

    /// All nil values are equal.
    friend bool operator==(const ZRKuuid& a, const ZRKuuid& b);

private:
    friend struct std::hash<ZRKuuid>;
    std::string _text;
};

/// Equality of two texts without regard to the case of ASCII letters.
ZRK_API bool equalIgnoringCase(std::string_view a, std::string_view b);

} // namespace zrkmodel

template <>
struct std::hash<zrkmodel::ZRKuuid> {
    std::size_t operator()(const zrkmodel::ZRKuuid& uuid) const noexcept;
};
