#pragma once

#include <cstdlib>

namespace zrktest {

/// A number that a variable of the environment gives, such as the seed or the length of a random test.
inline unsigned fromEnvironment(const char* name, unsigned otherwise)
{
    const char* text = std::getenv(name);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

} // namespace zrktest
