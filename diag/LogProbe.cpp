#include "diag/LogProbe.h"

#include "config/FileSystem.h"
#include "diag/FileProbe.h"
#include "util/FileAndDirectory.h"

#include <algorithm>

namespace Diag {

LogDirectory ProbeLogDirectory(const std::string& path) {
    LogDirectory directory;
    directory.path = path;
    const FileFacts folder = DescribeFile(path);
    directory.exists = folder.isFolder;
    directory.isHidden = folder.exists && folder.owner.empty();
    directory.readable = folder.readable;
    std::string ignored;
    directory.writable = CanCreateIn(path, ignored);
    std::vector<std::string> names;
    Vantor::ListAllFilesInDirectory(path, names);
    for (const std::string& name : names) {
        const FileFacts file = DescribeFile(Vantor::CombinePaths(path, name));
        directory.files.push_back({name, file.size, file.modified});
    }
    std::sort(directory.files.begin(), directory.files.end(), [](const LogFileFacts& a, const LogFileFacts& b) {
        return a.modified != b.modified ? a.modified > b.modified : a.name < b.name;
    });
    return directory;
}

LogState ProbeLogs() {
    GenerateFileSystem();
    Vantor::FileSystem* const paths = Vantor::FileSystem::GetHandle();
    return {ProbeLogDirectory(paths->GetPath(PathId::ClientTrace, false)),
            ProbeLogDirectory(paths->GetPath(PathId::MiniDriverLog, false))};
}

} // namespace Diag
