#pragma once

#include "core/values/export.h"
#include "model/graph.h"

#include <string>

namespace zrkmodel {

/// @{ Append a pin to a node and answer a reference to it. The reference is invalid for a
/// view without a record, and for a pin beyond the 256th of its direction.
ZRK_API Pin_ref<1> addInputPin(const ZRKNodeBase<0, ZRKGraphObject>& node, Tag tag, const std::string& name);
/// Passes the domain position through while it is unconnected.
ZRK_API Pin_ref<1> addCoordinatesPin(const ZRKNodeBase<0, ZRKGraphObject>& node, Tag tag,
                                     const std::string& name);
/// Reads `value` while it is unconnected.
ZRK_API Pin_ref<1> addDefaultedInputPin(const ZRKNodeBase<0, ZRKGraphObject>& node, Tag tag,
                                        const std::string& name, double value);
ZRK_API Pin_ref<1> addOutputPin(const ZRKNodeBase<0, ZRKGraphObject>& node, Tag tag, const std::string& name);
/// @}

/// @{ The node's k-th pin; invalid when k is out of range or the view isn't alive.
ZRK_API Pin_ref<1> inputPin(const ZRKNodeBase<1, ZRKGraphObject>& node, int k);
ZRK_API Pin_ref<1> outputPin(const ZRKNodeBase<1, ZRKGraphObject>& node, int k);
/// @}

/// The pin linked to an input; invalid when the input is unconnected, for an output, and for a
/// reference that is invalid itself. It may be an input in its turn, that of an enclosing graph's node.
ZRK_API Pin_ref<1> upstreamPin(const Pin_ref<1>& input);
/// Whether a pin is linked to the input.
ZRK_API bool isConnected(const Pin_ref<1>& input);

/// The tag a pin carries now. A declared tag is the answer; for a wildcard, an output asks
/// its object and an input asks the object it is linked to. None when nothing answers.
///
/// Objects answer by asking for the tags of their own inputs. Each output upstream is asked
/// once and those further up first, so that shared inputs cost nothing and long chains
/// need no deep stack. Linear in the size of the graph upstream.
ZRK_API Tag effectiveTag(const Pin_ref<1>& pin);

/// While one lives, the effective tags found on this thread are remembered, which makes
/// asking for those of a whole graph linear. Links and properties that a tag depends on
/// must not change meanwhile. May be nested.
class ZRK_API EffectiveTagScope {
public:
    EffectiveTagScope();
    ~EffectiveTagScope();
    EffectiveTagScope(const EffectiveTagScope&) = delete;
    EffectiveTagScope& operator=(const EffectiveTagScope&) = delete;
};

} // namespace zrkmodel
