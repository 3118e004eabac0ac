// The path registry: directories and files by small numbers, relative to a few base directories.
#pragma once

#include <map>
#include <memory>
#include <string>

namespace Vantor {

/// Where a registered path starts. Any other value counts as BASE_TEMP.
enum BasePath : int {
    BASE_USER = 0,     ///< ".vantor" in the home directory
    BASE_ALLUSERS = 1, ///< /etc/vantor
    BASE_PROGRAM = 2,  ///< the directory of the running program
    BASE_TEMP = 3,     ///< the directory for temporary files
};

/// One registered path.
struct _PathConfig { // NOLINT(bugprone-reserved-identifier): others use it by this name
    BasePath base;
    std::string directory; ///< below the base, may be empty
    std::string file;      ///< in the directory, may be empty
};

/// Process-wide; to be used from one thread only.
class FileSystem {
public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// The one registry, made on first use with all bases empty.
    static FileSystem* GetHandle();
    /// Deletes the registry; GetHandle makes a new one.
    static void Destroy();

    /// Finds the base directories. To be called before paths are built, or these come out relative.
    /// @param newSubPath  put between each base and each registered directory; may be empty
    void Initialize(std::string newSubPath);
    void InitIntern();

    /// Without "/" at the end; empty when the system does not tell.
    std::string GetProgramDirectory() const { return programDirectory; }
    std::string GetUserDirectory() const { return userDirectory; }
    std::string GetAllUserDirectory() const { return allUsersDirectory; }
    std::string GetTempDirectory() const { return tempDirectory; }

    /// Registers a path, replacing what the id named before. The directory may be written with backslashes.
    bool AddConfig(unsigned id, BasePath base, std::string directory, std::string file);
    /// Registers `count` paths under consecutive ids from firstId on; true for a count below 1.
    bool AddConfigs(unsigned firstId, const _PathConfig* table, int count);
    /// The entry of an id, owned by the registry; null when there is none.
    _PathConfig* GetConfigEntry(unsigned id);

    /// The directory of an id, "" when unknown.
    /// @param create  also make the directory with its parents; a failure is not reported
    std::string GetPath(unsigned id, bool create);
    /// Directory and file of an id, "" when unknown.
    /// @param create  hand out a fresh file: make directory and file, and empty a file that exists
    std::string GetFile(unsigned id, bool create);
    std::string BuildPath(_PathConfig* entry, bool create);

    /// Backslashes become "/".
    static std::string toNativeFS(const std::string& path);

private:
    const std::string& BaseDirectory(BasePath base) const;

    static std::unique_ptr<FileSystem> m_Handle;

    std::string programDirectory;
    std::string userDirectory;
    std::string allUsersDirectory;
    std::string tempDirectory;
    std::string subPath;
    std::map<unsigned, std::unique_ptr<_PathConfig>> entries;
};

} // namespace Vantor

/// Registers the directories of the client and of its sister programs. GenerateConfig comes before.
void GenerateFileSystem();

/// Ids of the registered paths that this program uses.
namespace PathId {

constexpr unsigned ClientTrace = 0;
constexpr unsigned MiniDriverLog = 1;

} // namespace PathId
