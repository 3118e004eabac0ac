// Message catalogues as GNU gettext compiles them (files named .mo), checked before anything trusts the numbers in
// them: what loads them elsewhere follows these blindly.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace Vantor {

/// The largest catalogue that is read, in bytes; real ones have some hundred thousand.
constexpr std::size_t MaxCatalogSize = std::size_t{16} << 20;

/// Whether all that the file names lies inside it: both tables, and each text with the NUL behind it; the texts do not
/// take more room than there is. The first is the catalogue's head, whose formula for plurals is no longer than one
/// that people write. Either byte order will do.
[[nodiscard]] bool IsSoundCatalog(std::string_view bytes);

/// A whole catalogue, links followed. Empty where there is none, or none that is sound; never waits for what is no
/// file.
[[nodiscard]] std::string ReadCatalog(const std::string& path);

/// The translations of a sound catalogue by their message ids; of plurals the first form. None of an empty one, nor
/// where they are not in UTF-8.
[[nodiscard]] std::map<std::string, std::string> CatalogTexts(std::string_view bytes);

} // namespace Vantor
