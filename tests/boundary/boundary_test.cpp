// The built shared library as a recording server sees it: loaded with dlopen, reached through
// the two exported factory functions and the interfaces. What it exports: abi_test.cpp.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "FederateUtil.h"

namespace {

// No dlclose, as in a recording server: the library keeps process-wide state (the object, the
// token service's address) for the life of the process.
TEST(LoadedLibrary, OneObjectAnswersThroughItsVirtualTables) {
    void* handle = dlopen(FEDERATEUTIL_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    const auto create = reinterpret_cast<void* (*)()>(dlsym(handle, "CreateFederateUtilInstance"));
    const auto release = reinterpret_cast<void (*)(void**)>(dlsym(handle, "ReleaseFederateUtil"));
    ASSERT_TRUE(create != nullptr && release != nullptr);

    // One object; a release only clears the caller's pointer.
    void* first = create();
    void* second = create();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    release(&second);
    void* none = nullptr;
    release(&none);
    release(nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(create(), first);

    auto* base = static_cast<IBaseInterface*>(first);
    EXPECT_EQ(base->Init(nullptr, 0, nullptr, 0, nullptr, false, nullptr, nullptr), 0);
    EXPECT_EQ(base->Init(nullptr, 7, "a", 9, "b", true, "c", "d"), 0);
    EXPECT_EQ(base->Uninit(), 1);
    EXPECT_EQ(base->Uninit(), 1);

    // The server view is the second base, after the first; the authentication view is none; an
    // unknown id leaves the pointer as it was.
    void* server = nullptr;
    EXPECT_EQ(base->QueryInterface(FederateBoxType::CentralizedServerID, &server), 1);
    EXPECT_EQ(static_cast<char*>(server) - static_cast<char*>(first), sizeof(void*));
    for (const int id : {int{FederateBoxType::AuthenticationControlID}, 2, -1}) {
        void* out = &server;
        EXPECT_EQ(base->QueryInterface(static_cast<FederateBoxType::InterfaceClassID>(id), &out),
                  id == FederateBoxType::AuthenticationControlID);
        EXPECT_EQ(out, id == FederateBoxType::AuthenticationControlID ? nullptr : &server) << id;
    }

    // A pure formatting slot works without any service running.
    DravoAgentData::AutonomyList empty;
    std::string body = "old";
    EXPECT_EQ(static_cast<ICentralizedServer*>(server)->FormatFailOverBody(empty, body), 0);
}

}  // namespace
