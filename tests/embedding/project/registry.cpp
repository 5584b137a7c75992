// Calls nothing of the components, and has them all: what links them keeps their registration.
#include <zrk/model/graph_object.h>
#include <zrk/model/registry.h>

#include <cstdio>

int main() { std::printf("%zu\n", zrkmodel::ZRKGraphObject::registry().entries().size()); }
