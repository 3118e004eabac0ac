// The configuration registry: settings are registered under small numbers and read and written by these.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Vantor {

class iConfigImpl;

/// Which tree a setting lives in.
enum ConfigType : int {
    CONFIG_USER = 0,     ///< the current user's
    CONFIG_ALLUSERS = 1, ///< the machine's, shared by all users
};

/// System variant of an entry. The XML backend makes no difference between the two.
enum SysType : int {
    SYSTYPE_FIRST = 0,
    SYSTYPE_SECOND = 1,
};

enum ConfigBackend : int {
    CONFIG_BACKEND_XML = 1, ///< XML files, see ConfigImpl_XML
};

/// One registered setting. It carries neither default nor value type: the accessor decides how the value is read.
struct sConfig {
    ConfigType type;
    std::string path; ///< below the configuration root, parts separated by backslashes
    std::string key;  ///< value name under the path; empty: the value of the path node itself, which is read-only
    SysType sysType;
};

/// True for the words that count as yes in a stored text, YES, JA, Y and TRUE, in any letter case of the global locale.
[[nodiscard]] bool IsYes(std::string text);

/// Where the configuration code reports errors.
class LibConfig {
public:
    /// The host's error sink; null drops all reports.
    static void (*pt2LogError)(const char*);

    static void SetErrorLoggingFunc(void (*func)(const char*));
    static void LogError(const char* message);
    /// Reports the message alone: hosts never show the code.
    static void LogError(const char* message, unsigned long code);
};

/// One registry. Lives in a process-wide table and is reached by its handle; to be used from one thread only.
/// No operation throws: what the backend, the host's error sink or a lack of memory throws counts as a failure. A read
/// that fails leaves the caller's variable as it was, so callers preset their defaults.
class Config {
    struct Passkey {};

public:
    using Entries = std::map<unsigned, std::unique_ptr<sConfig>>;

    /// Only GetHandle and Register create registries.
    Config(Passkey, unsigned newHandle);
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    virtual ~Config();

    /// The registry with this handle, created where its place in the table is empty. Valid are 0 and the handles that
    /// Register gave; null otherwise, and when memory lacks. The table owns the object.
    static Config* GetHandle(unsigned id);
    /// Creates another registry and returns its handle, 1 or more: 0 stays reserved for GetHandle(0). When memory lacks
    /// it returns a handle that no registry has.
    static unsigned Register();
    /// Deletes this object and empties its place in the table.
    void Destroy();

    /// Opens the storage of a configuration name. Once that has succeeded, further calls change nothing and return
    /// true. False for an unknown backend, or when the backend cannot start.
    bool Init(const std::string& newName, ConfigBackend backend);
    bool Init(const std::string& newName);
    /// Drops the backend; the entries stay.
    void FreeImpl();

    /// Registers a setting, replacing what the id named before. Note the order: key, then path.
    /// @return false before Init
    bool AddConfig(unsigned id, ConfigType type, const std::string& key, const std::string& path, SysType sys);
    /// Registers `count` settings under consecutive ids from firstId on.
    /// @return true if every one could be registered, and for a count below 1
    bool AddConfigs(unsigned firstId, const sConfig* table, int count);
    /// The entry of an id, owned by the registry; null, and a report to LibConfig, when there is none. Asking for an
    /// unknown id leaves an empty place under it among the entries.
    sConfig* GetConfigEntry(unsigned id);
    /// All entries by id; a value is null where an unknown id was asked for.
    const Entries& GetEntries() const { return entries; }
    void CleanConfigMap();

    // Each returns what the backend returns, and false when there is no backend or no such entry.
    // What was set is in the file when the call returns true.
    bool SetInteger(unsigned id, long value);
    bool SetString(unsigned id, const std::string& value);
    bool SetBoolean(unsigned id, bool value);
    bool SetBinary(unsigned id, std::vector<unsigned char>& value);
    bool GetInteger(unsigned id, long& value);
    bool GetString(unsigned id, std::string& value);
    bool GetBoolean(unsigned id, bool& value);
    bool GetBinary(unsigned id, std::vector<unsigned char>& value);
    /// Empties the value; its place stays and reads as the empty string.
    bool RemoveKey(unsigned id);
    /// Empties the node of the entry's path with all that is below it; the node itself stays.
    bool RemovePath(unsigned id);
    /// Stores the word "YES" or "NO".
    bool SetStringBoolean(unsigned id, bool value);
    /// Reads a word as `IsYes` does: every other text that could be read is false.
    bool GetStringBoolean(unsigned id, bool& value);
    /// Names of the nodes directly below the entry's path that begin with `prefix` (all if it is empty).
    std::vector<std::string> EnumSubDirs(unsigned id, const std::string& prefix);

private:
    template <typename Operation>
    bool WithEntry(unsigned id, Operation operation);

    std::string name;
    Entries entries;
    unsigned handle;
    std::unique_ptr<iConfigImpl> impl;
    bool initialized = false;
};

/// The table of all registries by handle. A place is null after its registry was destroyed; Register never reuses it.
class ConfigVector {
public:
    /// The one table of the process, made on first use and never freed, so that registries outlive static objects.
    static ConfigVector& GetInstance();

    std::vector<std::unique_ptr<Config>> configs;
};

} // namespace Vantor
