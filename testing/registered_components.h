#pragma once

#include "components/registration.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <vector>

namespace zrkmodel::testing {

/// Every registered component, as the parameter of a test that holds for all of them.
inline std::vector<const ZRKGraphObjectRegistration*> registeredComponents()
{
    ZRKGraphComponentsInit::initializeModule();
    std::vector<const ZRKGraphObjectRegistration*> all;
    for (const ZRKGraphObjectRegistration& registration : ZRKGraphObject::registry().entries()) {
        all.push_back(&registration);
    }
    return all;
}

} // namespace zrkmodel::testing
