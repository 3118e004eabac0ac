#include "config/Config.h"

#include "config/ConfigImpl_XML.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <locale>
#include <utility>

namespace Vantor {

namespace {

/// The words for "yes" that the client's other programs write.
constexpr const char* TrueWords[] = {"YES", "JA", "Y", "TRUE"};

/// The one place where exceptions end: backends, sinks and containers may throw.
template <typename Result, typename Operation>
Result OrOnFailure(Result failure, Operation operation) {
    try {
        return operation();
    } catch (...) {
        return failure;
    }
}

} // namespace

bool IsYes(std::string text) {
    const std::locale locale;
    for (char& c : text) {
        c = std::toupper(c, locale);
    }
    return std::find(std::begin(TrueWords), std::end(TrueWords), text) != std::end(TrueWords);
}

void (*LibConfig::pt2LogError)(const char*) = nullptr;

void LibConfig::SetErrorLoggingFunc(void (*func)(const char*)) {
    pt2LogError = func;
}

void LibConfig::LogError(const char* message) {
    if (pt2LogError != nullptr) {
        pt2LogError(message);
    }
}

void LibConfig::LogError(const char* message, unsigned long /*code*/) {
    LogError(message);
}

ConfigVector& ConfigVector::GetInstance() {
    static ConfigVector* const instance = std::make_unique<ConfigVector>().release();
    return *instance;
}

Config::Config(Passkey, unsigned newHandle) : handle(newHandle) {}

Config::~Config() = default;

Config* Config::GetHandle(unsigned id) {
    return OrOnFailure<Config*>(nullptr, [&]() -> Config* {
        auto& configs = ConfigVector::GetInstance().configs;
        if (configs.empty() && id == 0) {
            configs.emplace_back();
        }
        if (id >= configs.size()) {
            return nullptr;
        }
        if (!configs[id]) {
            configs[id] = std::make_unique<Config>(Passkey(), id);
        }
        return configs[id].get();
    });
}

unsigned Config::Register() {
    return OrOnFailure(UINT_MAX, [] {
        auto& configs = ConfigVector::GetInstance().configs;
        if (configs.empty()) {
            configs.emplace_back();
        }
        const auto newHandle = static_cast<unsigned>(configs.size());
        configs.push_back(std::make_unique<Config>(Passkey(), newHandle));
        return newHandle;
    });
}

void Config::Destroy() {
    auto& configs = ConfigVector::GetInstance().configs;
    if (handle < configs.size()) {
        configs[handle].reset();
    }
}

bool Config::Init(const std::string& newName, ConfigBackend backend) {
    if (initialized) {
        return true;
    }
    FreeImpl();
    return OrOnFailure(false, [&] {
        name = newName;
        if (backend != CONFIG_BACKEND_XML) {
            return false;
        }
        impl = std::make_unique<ConfigImpl_XML>();
        initialized = impl->Init(name);
        return initialized;
    });
}

bool Config::Init(const std::string& newName) {
    return Init(newName, CONFIG_BACKEND_XML);
}

void Config::FreeImpl() {
    impl.reset();
    initialized = false;
}

bool Config::AddConfig(unsigned id, ConfigType type, const std::string& key, const std::string& path, SysType sys) {
    if (!initialized) {
        return false;
    }
    return OrOnFailure(false, [&] {
        entries[id] = std::make_unique<sConfig>(sConfig{type, path, key, sys});
        return true;
    });
}

bool Config::AddConfigs(unsigned firstId, const sConfig* table, int count) {
    if (!initialized) {
        return false;
    }
    bool all = true;
    for (int i = 0; i < count; ++i) {
        const sConfig& row = table[i];
        all = AddConfig(firstId + static_cast<unsigned>(i), row.type, row.key, row.path, row.sysType) && all;
    }
    return all;
}

sConfig* Config::GetConfigEntry(unsigned id) {
    return OrOnFailure<sConfig*>(nullptr, [&] {
        sConfig* const entry = entries[id].get();
        if (entry == nullptr) {
            LibConfig::LogError("config entry is NULL");
        }
        return entry;
    });
}

void Config::CleanConfigMap() {
    entries.clear();
}

/// Runs a backend operation on the entry of an id.
template <typename Operation>
bool Config::WithEntry(unsigned id, Operation operation) {
    if (!impl) {
        return false;
    }
    sConfig* const entry = GetConfigEntry(id);
    return entry != nullptr && OrOnFailure(false, [&] { return operation(entry); });
}

bool Config::SetInteger(unsigned id, long value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->SetInteger(entry, value); });
}

bool Config::SetString(unsigned id, const std::string& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->SetString(entry, value); });
}

bool Config::SetBoolean(unsigned id, bool value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->SetBoolean(entry, value); });
}

bool Config::SetBinary(unsigned id, std::vector<unsigned char>& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->SetBinary(entry, value); });
}

bool Config::GetInteger(unsigned id, long& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->GetInteger(entry, value); });
}

bool Config::GetString(unsigned id, std::string& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->GetString(entry, value); });
}

bool Config::GetBoolean(unsigned id, bool& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->GetBoolean(entry, value); });
}

bool Config::GetBinary(unsigned id, std::vector<unsigned char>& value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->GetBinary(entry, value); });
}

bool Config::RemoveKey(unsigned id) {
    return WithEntry(id, [&](sConfig* entry) { return impl->RemoveKey(entry); });
}

bool Config::RemovePath(unsigned id) {
    return WithEntry(id, [&](sConfig* entry) { return impl->RemovePath(entry); });
}

bool Config::SetStringBoolean(unsigned id, bool value) {
    return WithEntry(id, [&](sConfig* entry) { return impl->SetString(entry, value ? "YES" : "NO"); });
}

bool Config::GetStringBoolean(unsigned id, bool& value) {
    return WithEntry(id, [&](sConfig* entry) {
        std::string text;
        if (!impl->GetString(entry, text)) {
            return false;
        }
        value = IsYes(std::move(text));
        return true;
    });
}

std::vector<std::string> Config::EnumSubDirs(unsigned id, const std::string& prefix) {
    std::vector<std::string> names;
    WithEntry(id, [&](sConfig* entry) {
        names = impl->EnumSubDirs(entry, prefix);
        return true;
    });
    return names;
}

} // namespace Vantor
