// What a storage backend offers to the configuration registry.
#pragma once

#include <string>
#include <vector>

namespace Vantor {

struct sConfig;

/// Storage of one configuration name. Every operation takes a non-null entry that the caller keeps, reports failure by
/// false (or an empty list), throws nothing, and leaves the caller's variable alone when a read fails.
class iConfigImpl {
public:
    iConfigImpl() = default;
    iConfigImpl(const iConfigImpl&) = delete;
    iConfigImpl& operator=(const iConfigImpl&) = delete;
    virtual ~iConfigImpl() = default;

    virtual bool SetInteger(sConfig* entry, long value) = 0;
    virtual bool SetString(sConfig* entry, const std::string& value) = 0;
    virtual bool SetBoolean(sConfig* entry, bool value) = 0;
    virtual bool SetBinary(sConfig* entry, std::vector<unsigned char>& value) = 0;
    virtual bool GetInteger(sConfig* entry, long& value) = 0;
    virtual bool GetString(sConfig* entry, std::string& value) = 0;
    virtual bool GetBoolean(sConfig* entry, bool& value) = 0;
    virtual bool GetBinary(sConfig* entry, std::vector<unsigned char>& value) = 0;
    /// Names of the nodes directly below the entry's path, in storage order; with a prefix, only names that begin
    /// with exactly these bytes.
    virtual std::vector<std::string> EnumSubDirs(sConfig* entry, const std::string& prefix) = 0;
    /// Empties the entry's value; reading it as a string afterwards gives "".
    virtual bool RemoveKey(sConfig* entry) = 0;
    /// Empties the node of the entry's path: its own value and everything below it.
    virtual bool RemovePath(sConfig* entry) = 0;
    virtual bool DoInit() = 0;
    virtual bool DoDestroy() = 0;

    /// Stores the configuration name, from which the backend derives where it keeps its data, and opens the storage.
    bool Init(const std::string& newName);
    /// Writes out what the backend holds.
    bool Destroy();
    /// Joins path parts with backslashes. Empty parts are skipped, one leading backslash of a part is dropped; a
    /// result that is not empty ends with a backslash.
    static std::string BuildRegPath(const std::string* parts, int count);
    std::vector<std::string> EnumSubDirs(sConfig* entry);

protected:
    std::string name;
};

} // namespace Vantor
