// The built shared library as a recording server sees it: loaded with dlopen, reached through
// the two exported factory functions and the interfaces. What it exports: abi_test.cpp.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "FederateUtil.h"

namespace {

class LoadedLibrary : public testing::Test {
  protected:
    void SetUp() override {
        handle_ = dlopen(FEDERATEUTIL_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
        create_ = reinterpret_cast<void* (*)()>(dlsym(handle_, "CreateFederateUtilInstance"));
        release_ = reinterpret_cast<void (*)(void**)>(dlsym(handle_, "ReleaseFederateUtil"));
        ASSERT_NE(create_, nullptr);
        ASSERT_NE(release_, nullptr);
    }
    // No dlclose, as in a recording server: the library keeps process-wide state (the object,
    // the token service's address) for the life of the process.
    void* handle_ = nullptr;
    void* (*create_)() = nullptr;
    void (*release_)(void**) = nullptr;
};

TEST_F(LoadedLibrary, FactoryHandsOutOneObjectAndReleaseOnlyClearsThePointer) {
    void* first = create_();
    void* second = create_();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    release_(&second);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(create_(), first);
    void* none = nullptr;
    release_(&none);
    EXPECT_EQ(none, nullptr);
}

TEST_F(LoadedLibrary, InterfacesAnswerThroughTheirVirtualTables) {
    auto* base = static_cast<IBaseInterface*>(create_());
    EXPECT_EQ(base->Init(nullptr, 0, nullptr, 0, nullptr, false, nullptr, nullptr), 0);
    EXPECT_EQ(base->Uninit(), 1);

    void* server = nullptr;
    EXPECT_EQ(base->QueryInterface(FederateBoxType::CentralizedServerID, &server), 1);
    ASSERT_NE(server, nullptr);
    EXPECT_NE(server, static_cast<void*>(base)) << "the second base lives after the first";

    void* auth = &server;
    EXPECT_EQ(base->QueryInterface(FederateBoxType::AuthenticationControlID, &auth), 1);
    EXPECT_EQ(auth, nullptr);

    void* untouched = &server;
    EXPECT_EQ(base->QueryInterface(static_cast<FederateBoxType::InterfaceClassID>(2), &untouched),
              0);
    EXPECT_EQ(untouched, &server);

    // A pure formatting slot works without any service running.
    auto* fed = static_cast<ICentralizedServer*>(server);
    DravoAgentData::AutonomyList empty;
    std::string body = "old";
    EXPECT_EQ(fed->FormatFailOverBody(empty, body), 0);
}

}  // namespace
