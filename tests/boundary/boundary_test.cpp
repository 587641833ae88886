// The built shared library as a recording server sees it: loaded with dlopen, reached through
// the two exported factory functions and the interfaces, exporting nothing else.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "FederateUtil.h"

namespace {

std::string RunCommand(const std::string& command) {
    std::string output;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) {
        return output;
    }
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe.get())) > 0) {
        output.append(buffer, n);
    }
    return output;
}

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

TEST(BuiltLibrary, ExportsOnlyThePublicInterface) {
    std::string symbols =
        RunCommand(std::string("nm -D --defined-only --demangle ") + FEDERATEUTIL_LIBRARY_FILE +
                   " | awk '{ $1=\"\"; $2=\"\"; sub(/^  /, \"\"); print }'");
    std::set<std::string> exported;
    size_t start = 0;
    while (start < symbols.size()) {
        size_t end = symbols.find('\n', start);
        std::string line = symbols.substr(start, end - start);
        line = line.substr(0, line.find("@@"));  // the symbol version
        if (!line.empty() && line != "FEDERATEUTIL_1") {
            exported.insert(line);
        }
        start = end == std::string::npos ? symbols.size() : end + 1;
    }
    ASSERT_FALSE(exported.empty()) << "nm printed nothing";
    for (const auto& name : exported) {
        bool allowed =
            name == "CreateFederateUtilInstance" || name == "ReleaseFederateUtil" ||
            name.rfind("b64_encode_v2(", 0) == 0 || name.rfind("b64_decode_v2(", 0) == 0 ||
            name.rfind("CGenericJsonFormatter::MakeBase64String(", 0) == 0 ||
            name.rfind("CGenericJsonParser::DecodeFromBase64String(", 0) == 0 ||
            name.rfind("CRestConnectInfo::", 0) == 0 || name.rfind("typeinfo for I", 0) == 0 ||
            name.rfind("typeinfo name for I", 0) == 0;
        EXPECT_TRUE(allowed) << "unexpected export: " << name;
    }
    for (const char* required :
         {"CreateFederateUtilInstance", "ReleaseFederateUtil", "CRestConnectInfo::m_CGICount"}) {
        EXPECT_EQ(exported.count(required), 1u) << "missing export: " << required;
    }
}

TEST(BuiltLibrary, CarriesItsSoname) {
    std::string dynamic = RunCommand(std::string("readelf -d ") + FEDERATEUTIL_LIBRARY_FILE);
    EXPECT_NE(dynamic.find("Library soname: [libfederateutil.so.1]"), std::string::npos) << dynamic;
    EXPECT_STREQ(FEDERATEUTIL_SONAME, "libfederateutil.so.1");
}

}  // namespace
