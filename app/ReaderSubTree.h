// The configuration of one reader: a sub-tree below the client's path, reached through the registry.
#pragma once

#include "config/Config.h"

#include <string>
#include <vector>

/// Path of a sub-tree of the client's settings.
[[nodiscard]] std::string SubTreePath(const std::string& name);

/// Names of the sub-trees of the client's settings that are readers or were, in the order of the file.
[[nodiscard]] std::vector<std::string> ReaderSubTreeNames();

/// As `ReaderSubTreeNames`, without the empty elements that removed readers leave behind.
[[nodiscard]] std::vector<std::string> PresentReaderSubTreeNames();

/// Removes a sub-tree of the client's settings; an empty element may remain.
void RemoveSubTree(const std::string& name);

/// Reads settings of one sub-tree. A setting that is missing or unreadable is empty or false.
class SubTreeReader {
public:
    explicit SubTreeReader(const std::string& name);

    [[nodiscard]] std::string Text(const char* key) const;
    [[nodiscard]] bool Flag(const char* key) const;
    /// True when the setting is there and not empty: removal leaves empty elements behind.
    [[nodiscard]] bool Has(const char* key) const;

private:
    void Select(const char* key) const;

    std::string path;
};

/// Writes settings of one sub-tree. A write that fails is silent; the next ones are attempted all the same.
class SubTreeWriter {
public:
    SubTreeWriter(const std::string& name, Vantor::SysType systemVariant);

    void Text(const char* key, const std::string& value) const;
    void Number(const char* key, long value) const;
    /// Writes "Yes" or "No".
    void Flag(const char* key, bool value) const;

private:
    void Select(const char* key) const;

    std::string path;
    Vantor::SysType sysType;
};
