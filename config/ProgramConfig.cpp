#include "config/ProgramConfig.h"

using namespace Vantor;

const std::string ClientRegKeyName = "lumo Client";

namespace {

constexpr const char* Client = "lumo Client";
constexpr const char* Trace = "lumo Client\\Trace";
constexpr const char* Services = "Kundendienste Online";
constexpr const char* MiniDriver = "LumoMiniDriver";

enum Variants : int { One = 1, Both = 2 };

struct Key {
    unsigned id; ///< of the first system variant; the second one's follows
    Variants variants;
    const char* key;
    const char* path;
};

// Other programs of the client count on these ids, so gaps, doubles and spelling stay: Language stands out of order,
// LogLevel before LogMode, the PIN cache keys twice under the same ids, two keys under two pairs of ids each, and
// "Secury" is what the minidriver reads.
constexpr Key Keys[] = {
    {0, Both, "", Client},
    {2, Both, "CheckForUpdates", Client},
    {4, Both, "Orrin", Client},
    {6, Both, "InstallDir", Client},
    {8, Both, "Updateable", Client},
    {ConfigId::Version, Both, "Version", Client},
    {ConfigId::Language, Both, "Language", Client},
    {ConfigId::LogLevel, Both, "LogLevel", Trace},
    {ConfigId::LogMode, Both, "LogMode", Trace},
    {ConfigId::Filename, Both, "Filename", Trace},
    {18, Both, "DeleteLogfilesAfterXDays", Client},
    {20, Both, "FixIt", Client},
    {ConfigId::CleanCertsOnRefresh, Both, "CleanCertsOnRefresh", Client},
    {ConfigId::MakeDialogsStayOnTop, Both, "MakeDialogsStayOnTop", Client},
    {26, One, "InstallDir", Services},
    {29, Both, "EnableVantorPinDialog", MiniDriver},
    {31, Both, "EnableExternalPin", MiniDriver},
    {ConfigId::EnableLogging, Both, "EnableLogging", MiniDriver},
    {35, Both, "EnableCardAuthenticateEx", MiniDriver},
    {37, Both, "PinCachePolicyType", MiniDriver},
    {39, Both, "PinCachePolicyInfo", MiniDriver},
    {41, Both, "EnableOutputDebugString", MiniDriver},
    {43, Both, "EnableVantorPinDialog", MiniDriver},
    {45, Both, "PinEntryRequireSecuryMode", MiniDriver},
    {37, Both, "PinCachePolicyType", MiniDriver},
    {39, Both, "PinCachePolicyInfo", MiniDriver},
    {47, Both, "EnableExternalPin", MiniDriver},
    {49, Both, "IgnoreAcosSubVersion", MiniDriver},
    {51, Both, "CheckReaderCapabilities", MiniDriver},
    {53, Both, "EnableDiagnostics", MiniDriver},
    {55, Both, "DoExclusiveReconnect", MiniDriver},
    {57, Both, "MiniDriverVersion", MiniDriver},
    {59, Both, "MiniDriverMinVersion", MiniDriver},
};

} // namespace

void GenerateConfig() {
    Config* const config = Config::GetHandle(0);
    config->Init("lumoclient");
    for (const Key& row : Keys) {
        for (int variant = 0; variant < row.variants; ++variant) {
            config->AddConfig(row.id + static_cast<unsigned>(variant), CONFIG_ALLUSERS, row.key, row.path,
                              static_cast<SysType>(variant));
        }
    }
}

std::vector<sConfig> RegisteredSettings() {
    std::vector<sConfig> settings;
    for (const Key& row : Keys) {
        settings.push_back({CONFIG_ALLUSERS, row.path, row.key, SYSTYPE_FIRST});
    }
    return settings;
}
