#include "config/iConfigImpl.h"

namespace Vantor {

namespace {

constexpr char Separator = '\\';

void AppendPart(std::string& path, const std::string& part) {
    if (part.empty()) {
        return;
    }
    path.append(part, part.front() == Separator ? 1 : 0, std::string::npos);
    if (path.empty() || path.back() != Separator) {
        path += Separator;
    }
}

} // namespace

bool iConfigImpl::Init(const std::string& newName) {
    name = newName;
    return DoInit();
}

bool iConfigImpl::Destroy() {
    return DoDestroy();
}

std::string iConfigImpl::BuildRegPath(const std::string* parts, int count) {
    std::string path;
    for (int i = 0; i < count; ++i) {
        AppendPart(path, parts[i]);
    }
    return path;
}

std::vector<std::string> iConfigImpl::EnumSubDirs(sConfig* entry) {
    return EnumSubDirs(entry, std::string());
}

} // namespace Vantor
