#include "app/ReaderSubTree.h"

#include "config/ClientSettings.h"
#include "config/ProgramConfig.h"
#include "util/FileAndDirectory.h"

#include <algorithm>

using Vantor::Config;
using Vantor::CONFIG_ALLUSERS;

namespace {

bool IsEmptySubTree(const std::string& name) {
    auto& config = *Config::GetHandle(0);
    return ClientSettings::IsBlank(SubTreeReader(name).Text("")) &&
           config.EnumSubDirs(ConfigId::ReaderReading, "").empty();
}

} // namespace

std::string SubTreePath(const std::string& name) {
    return Vantor::CombinePaths(ClientRegKeyName, name);
}

std::vector<std::string> ReaderSubTreeNames() {
    auto names = Config::GetHandle(0)->EnumSubDirs(ConfigId::Root, ClientSettings::ReaderPrefix);
    const auto others =
        std::remove_if(names.begin(), names.end(), [](const auto& name) { return !ClientSettings::IsReader(name); });
    names.erase(others, names.end());
    return names;
}

std::vector<std::string> PresentReaderSubTreeNames() {
    auto names = ReaderSubTreeNames();
    names.erase(std::remove_if(names.begin(), names.end(), IsEmptySubTree), names.end());
    return names;
}

void RemoveSubTree(const std::string& name) {
    auto& config = *Config::GetHandle(0);
    config.AddConfig(ConfigId::ReaderRemoval, CONFIG_ALLUSERS, "", SubTreePath(name), Vantor::SYSTYPE_FIRST);
    config.RemovePath(ConfigId::ReaderRemoval);
}

SubTreeReader::SubTreeReader(const std::string& name) : path(SubTreePath(name)) {}

void SubTreeReader::Select(const char* key) const {
    Config::GetHandle(0)->AddConfig(ConfigId::ReaderReading, CONFIG_ALLUSERS, key, path, Vantor::SYSTYPE_FIRST);
}

std::string SubTreeReader::Text(const char* key) const {
    std::string value;
    Select(key);
    Config::GetHandle(0)->GetString(ConfigId::ReaderReading, value);
    return value;
}

bool SubTreeReader::Flag(const char* key) const {
    bool value = false;
    Select(key);
    Config::GetHandle(0)->GetStringBoolean(ConfigId::ReaderReading, value);
    return value;
}

bool SubTreeReader::Has(const char* key) const {
    return !Text(key).empty();
}

SubTreeWriter::SubTreeWriter(const std::string& name, Vantor::SysType systemVariant)
    : path(SubTreePath(name)), sysType(systemVariant) {}

void SubTreeWriter::Select(const char* key) const {
    Config::GetHandle(0)->AddConfig(ConfigId::ReaderWriting, CONFIG_ALLUSERS, key, path, sysType);
}

void SubTreeWriter::Text(const char* key, const std::string& value) const {
    Select(key);
    Config::GetHandle(0)->SetString(ConfigId::ReaderWriting, value);
}

void SubTreeWriter::Number(const char* key, long value) const {
    Select(key);
    Config::GetHandle(0)->SetInteger(ConfigId::ReaderWriting, value);
}

void SubTreeWriter::Flag(const char* key, bool value) const {
    Text(key, value ? "Yes" : "No");
}
