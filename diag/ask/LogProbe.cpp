#include "diag/ask/LogProbe.h"

#include "config/FileSystem.h"
#include "diag/ask/FileProbe.h"

#include <algorithm>

namespace Diag {

LogDirectory ProbeLogDirectory(const std::string& path) {
    LogDirectory directory;
    directory.path = path;
    const FileFacts folder = DescribeFile(path);
    directory.exists = folder.isFolder;
    directory.isHidden = folder.exists && folder.owner.empty();
    directory.readable = folder.readable;
    directory.writable = folder.isFollowed && WhyNotCreateIn(path) == 0;
    directory.files = ListFiles(path);
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
