# Writes the file IN as a C array named ConfigurationSchema into OUT.
file(READ "${IN}" bytes HEX)
string(LENGTH "${bytes}" digits)
math(EXPR size "${digits} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
file(WRITE "${OUT}" "// Made from docs/configuration.rng.
#pragma once

#include <cstddef>

namespace Diag {

constexpr std::size_t ConfigurationSchemaSize = ${size};
constexpr char ConfigurationSchema[] = {${bytes} '\\0'};

} // namespace Diag
")
