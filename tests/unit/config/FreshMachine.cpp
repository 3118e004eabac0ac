// Every test of the program finds a machine without configuration and without registries, also when one process runs
// them all.

#include "config/FileSystem.h"
#include "tests/unit/config/ConfigFiles.h"

#include <memory>

namespace {

class FreshMachine : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        Vantor::ConfigVector::GetInstance().configs.clear();
        Vantor::FileSystem::Destroy();
        Vantor::LibConfig::SetErrorLoggingFunc(nullptr);
        if (getenv("LUMOADMIN_SANDBOX") != nullptr) {
            setenv("HOME", home.c_str(), 1);
            unsetenv("TMPDIR");
            std::filesystem::remove_all("/etc/vantor");
            std::filesystem::remove_all(home + "/.vantor");
        }
    }

    const std::string home = getenv("HOME");
};

[[maybe_unused]] const bool installed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<FreshMachine>().release());
    return true;
}();

} // namespace
