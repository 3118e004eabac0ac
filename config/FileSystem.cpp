#include "config/FileSystem.h"

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "util/FileAndDirectory.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <utility>

namespace Vantor {

namespace {

/// The directory of the running executable. A file in the root directory has the empty one.
std::string FindProgramDirectory() {
    std::array<char, 4096> target = {};
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    const std::string program(target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return program.substr(0, program.rfind('/'));
}

/// Makes a file, or empties it.
void MakeFresh(const std::string& file) {
    const std::ofstream created(file, std::ios::binary | std::ios::trunc);
}

} // namespace

std::unique_ptr<FileSystem> FileSystem::m_Handle;

FileSystem* FileSystem::GetHandle() {
    if (!m_Handle) {
        m_Handle = std::make_unique<FileSystem>();
    }
    return m_Handle.get();
}

void FileSystem::Destroy() {
    m_Handle.reset();
}

void FileSystem::Initialize(std::string newSubPath) {
    subPath = std::move(newSubPath);
    InitIntern();
}

void FileSystem::InitIntern() {
    allUsersDirectory = CombinePaths(GetAllUsersDir(), "vantor");
    tempDirectory = GetTempDir();
    userDirectory = CombinePaths(GetUserDir(), ".vantor");
    programDirectory = FindProgramDirectory();
}

bool FileSystem::AddConfig(unsigned id, BasePath base, std::string directory, std::string file) {
    entries[id] = std::make_unique<_PathConfig>(_PathConfig{base, toNativeFS(directory), std::move(file)});
    return true;
}

bool FileSystem::AddConfigs(unsigned firstId, const _PathConfig* table, int count) {
    bool all = true;
    for (int i = 0; i < count; ++i) {
        const _PathConfig& row = table[i];
        all = AddConfig(firstId + static_cast<unsigned>(i), row.base, row.directory, row.file) && all;
    }
    return all;
}

_PathConfig* FileSystem::GetConfigEntry(unsigned id) {
    const auto found = entries.find(id);
    return found == entries.end() ? nullptr : found->second.get();
}

std::string FileSystem::GetPath(unsigned id, bool create) {
    _PathConfig* const entry = GetConfigEntry(id);
    return entry == nullptr ? std::string() : BuildPath(entry, create);
}

std::string FileSystem::GetFile(unsigned id, bool create) {
    _PathConfig* const entry = GetConfigEntry(id);
    if (entry == nullptr) {
        return std::string();
    }
    std::string file = BuildPath(entry, create);
    if (!entry->file.empty()) {
        file = CombinePaths(file, entry->file);
    }
    if (create) {
        MakeFresh(file);
    }
    return file;
}

std::string FileSystem::BuildPath(_PathConfig* entry, bool create) {
    std::string path = BaseDirectory(entry->base);
    if (!subPath.empty()) {
        path = CombinePaths(path, subPath);
    }
    if (!entry->directory.empty()) {
        path = CombinePaths(path, entry->directory);
    }
    if (create) {
        // The last directory is only made when a "/" ends it.
        CreateDirectories(CombinePaths(path, ""));
    }
    return path;
}

std::string FileSystem::toNativeFS(const std::string& path) {
    std::string native = path;
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

const std::string& FileSystem::BaseDirectory(BasePath base) const {
    switch (base) {
    case BASE_USER:
        return userDirectory;
    case BASE_ALLUSERS:
        return allUsersDirectory;
    case BASE_PROGRAM:
        return programDirectory;
    default:
        return tempDirectory;
    }
}

} // namespace Vantor

void GenerateFileSystem() {
    using namespace Vantor;
    FileSystem* const paths = FileSystem::GetHandle();
    std::string filename;
    Config::GetHandle(0)->GetString(ConfigId::Filename, filename);
    paths->Initialize("");
    // The configured name never takes effect, the next line replaces it; but the order of the registrations is shared
    // with the client's other programs.
    paths->AddConfig(PathId::ClientTrace, BASE_USER, filename, "");
    paths->AddConfig(PathId::ClientTrace, BASE_USER, "lumo Client\\Trace\\", "");
    const _PathConfig logs[] = {
        {BASE_ALLUSERS, "LumoMiniDriver\\Log\\", ""},
        {BASE_USER, "Tessel\\logs\\", ""},
        {BASE_ALLUSERS, "lumoPaper\\Logs\\", ""},
        {BASE_ALLUSERS, "lumo Batch\\Logs\\", ""},
        {BASE_ALLUSERS, "lumoPaperverify\\Logs\\", ""},
        {BASE_ALLUSERS, "Orrin\\trace\\", ""},
        {BASE_ALLUSERS, "LumoPlus\\", ""},
    };
    paths->AddConfigs(PathId::MiniDriverLog, logs, static_cast<int>(std::size(logs)));
}
