#include "tests/gui/Seams.h"

#include "config/Config.h"
#include "readers/EnumReaders.h"

namespace Seams {

std::vector<Terminal> terminals;
std::function<void(const std::string&)> onCall;

namespace {

void Note(const std::string& call) {
    if (onCall)
        onCall(call);
}

} // namespace

} // namespace Seams

using Vantor::Config;
using Vantor::CTAPIReaderConfig;

// Named by the linker's --wrap, which wants the names of functions as the compiler writes them.
extern "C" {

void __real__ZN6Vantor6Config7DestroyEv(Config* self);
void __wrap__ZN6Vantor6Config7DestroyEv(Config* self);
void __real__ZN6Vantor10FileSystem7DestroyEv();
void __wrap__ZN6Vantor10FileSystem7DestroyEv();
void __real__ZN6Vantor4I18N7DestroyEv();
void __wrap__ZN6Vantor4I18N7DestroyEv();
bool __real__ZN6Vantor6Config10GetIntegerEjRl(Config* self, unsigned id, long* value);
bool __wrap__ZN6Vantor6Config10GetIntegerEjRl(Config* self, unsigned id, long* value);
bool __real__ZN6Vantor6Config10SetIntegerEjl(Config* self, unsigned id, long value);
bool __wrap__ZN6Vantor6Config10SetIntegerEjl(Config* self, unsigned id, long value);
bool __real__ZN6Vantor16ListCTAPIReadersERSt6vectorINS_17CTAPIReaderConfigESaIS1_EE(std::vector<CTAPIReaderConfig>*);
bool __wrap__ZN6Vantor16ListCTAPIReadersERSt6vectorINS_17CTAPIReaderConfigESaIS1_EE(std::vector<CTAPIReaderConfig>*);

void __wrap__ZN6Vantor6Config7DestroyEv(Config* self) {
    Seams::Note(self == Config::GetHandle(0) ? "Config::Destroy(0)" : "Config::Destroy");
    __real__ZN6Vantor6Config7DestroyEv(self);
}

void __wrap__ZN6Vantor10FileSystem7DestroyEv() {
    Seams::Note("FileSystem::Destroy");
    __real__ZN6Vantor10FileSystem7DestroyEv();
}

void __wrap__ZN6Vantor4I18N7DestroyEv() {
    Seams::Note("I18N::Destroy");
    __real__ZN6Vantor4I18N7DestroyEv();
}

bool __wrap__ZN6Vantor6Config10GetIntegerEjRl(Config* self, unsigned id, long* value) {
    Seams::Note("GetInteger(" + std::to_string(id) + ")");
    return __real__ZN6Vantor6Config10GetIntegerEjRl(self, id, value);
}

bool __wrap__ZN6Vantor6Config10SetIntegerEjl(Config* self, unsigned id, long value) {
    Seams::Note("SetInteger(" + std::to_string(id) + ")");
    return __real__ZN6Vantor6Config10SetIntegerEjl(self, id, value);
}

bool __wrap__ZN6Vantor16ListCTAPIReadersERSt6vectorINS_17CTAPIReaderConfigESaIS1_EE(
    std::vector<CTAPIReaderConfig>* readers) {
    Seams::Note("ListCTAPIReaders");
    const bool result = __real__ZN6Vantor16ListCTAPIReadersERSt6vectorINS_17CTAPIReaderConfigESaIS1_EE(readers);
    for (auto terminal : Seams::terminals)
        Vantor::SetReaderEntry(terminal.library.c_str(), terminal.port,
                               reinterpret_cast<unsigned char*>(terminal.identification.data()), *readers);
    return result;
}
}
