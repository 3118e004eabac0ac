// The settings of the lumo Client by their ids.
#pragma once

#include "config/Config.h"

#include <string>
#include <vector>

/// Path of the client's own settings, the parent of the reader sub-trees.
extern const std::string ClientRegKeyName;

/// Opens the client's configuration as handle 0 and registers all its settings. Failures leave reads and writes
/// failing; nothing is reported.
void GenerateConfig();

/// All settings as `GenerateConfig` registers them, in its order, each with its first system variant.
[[nodiscard]] std::vector<Vantor::sConfig> RegisteredSettings();

/// Ids on handle 0, for the settings that this program uses. Each names the first system variant.
namespace ConfigId {

constexpr unsigned Root = 0; ///< the client's path node itself: readable, never writable
constexpr unsigned Version = 10;
constexpr unsigned LogMode = 12;
constexpr unsigned LogLevel = 14;
constexpr unsigned Filename = 16;
constexpr unsigned CleanCertsOnRefresh = 22;
constexpr unsigned MakeDialogsStayOnTop = 24;
constexpr unsigned Language = 27;
constexpr unsigned EnableLogging = 33;

// Registered anew for each setting of a reader sub-tree that is touched.
constexpr unsigned ReaderRemoval = 500;
constexpr unsigned ReaderWriting = 501;
constexpr unsigned ReaderReading = 5002;

} // namespace ConfigId
