#include "config/iConfigImpl.h"

#include "config/Config.h"

#include <gtest/gtest.h>

#include <iterator>
#include <type_traits>

using namespace Vantor;

namespace {

/// A backend that stores nothing and remembers what was asked of it.
class SilentBackend : public iConfigImpl {
public:
    using iConfigImpl::EnumSubDirs;

    bool SetInteger(sConfig*, long) override { return false; }
    bool SetString(sConfig*, const std::string&) override { return false; }
    bool SetBoolean(sConfig*, bool) override { return false; }
    bool SetBinary(sConfig*, std::vector<unsigned char>&) override { return false; }
    bool GetInteger(sConfig*, long&) override { return false; }
    bool GetString(sConfig*, std::string&) override { return false; }
    bool GetBoolean(sConfig*, bool&) override { return false; }
    bool GetBinary(sConfig*, std::vector<unsigned char>&) override { return false; }
    std::vector<std::string> EnumSubDirs(sConfig*, const std::string& prefix) override {
        askedPrefix = prefix;
        return {"child"};
    }
    bool RemoveKey(sConfig*) override { return false; }
    bool RemovePath(sConfig*) override { return false; }
    bool DoInit() override {
        nameAtInit = name;
        return result;
    }
    bool DoDestroy() override { return result; }

    bool result = true;
    std::string nameAtInit;
    std::string askedPrefix = "unset";
};

template <std::size_t Count>
std::string Join(const std::string (&parts)[Count]) {
    return iConfigImpl::BuildRegPath(parts, static_cast<int>(Count));
}

} // namespace

TEST(BackendInterface, IsAbstractWithAVirtualDestructor) {
    EXPECT_TRUE(std::is_abstract_v<iConfigImpl>);
    EXPECT_TRUE(std::has_virtual_destructor_v<iConfigImpl>);
}

TEST(BackendInterface, InitStoresTheNameBeforeTheBackendStarts) {
    SilentBackend backend;
    EXPECT_TRUE(backend.Init("some name"));
    EXPECT_EQ(backend.nameAtInit, "some name");
    backend.result = false;
    EXPECT_FALSE(backend.Init("other"));
}

TEST(BackendInterface, DestroyReturnsTheBackendsResult) {
    SilentBackend backend;
    EXPECT_TRUE(backend.Destroy());
    backend.result = false;
    EXPECT_FALSE(backend.Destroy());
}

TEST(BackendInterface, EnumSubDirsWithoutPrefixAsksForAll) {
    SilentBackend backend;
    EXPECT_EQ(backend.EnumSubDirs(nullptr), std::vector<std::string>{"child"});
    EXPECT_EQ(backend.askedPrefix, "");
}

TEST(BuildRegPath, JoinsPartsWithBackslashes) {
    EXPECT_EQ(Join({"config", "lumo Client\\Trace"}), "config\\lumo Client\\Trace\\");
}

TEST(BuildRegPath, OfNothingIsEmpty) {
    EXPECT_EQ(iConfigImpl::BuildRegPath(nullptr, 0), "");
    EXPECT_EQ(Join({"", ""}), "");
}

TEST(BuildRegPath, SkipsEmptyParts) {
    EXPECT_EQ(Join({"", "a", "", "b", ""}), "a\\b\\");
}

TEST(BuildRegPath, DropsOneLeadingBackslashOfAPart) {
    EXPECT_EQ(Join({"config", "\\a"}), "config\\a\\");
    EXPECT_EQ(Join({"config", "\\\\a"}), "config\\\\a\\");
    EXPECT_EQ(Join({"\\a", "b"}), "a\\b\\");
}

TEST(BuildRegPath, DoesNotDoubleATrailingBackslash) {
    EXPECT_EQ(Join({"a\\", "b\\"}), "a\\b\\");
}

TEST(BuildRegPath, APartOfOneBackslashAddsNothingAfterAnother) {
    EXPECT_EQ(Join({"a", "\\", "b"}), "a\\b\\");
    EXPECT_EQ(Join({"\\"}), "\\") << "a result always ends with a backslash";
}
