// A minimal recording-server host: loads libfederateutil.so.1 with dlopen, as the server does,
// obtains the federation interface and calls a few operations, printing what each returned.
// Usage: host_example [path-to-libfederateutil.so.1]
#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <string>

#include "FederateUtil.h"

namespace {

void PrintResult(const char* operation, int result, const std::string& detail) {
    std::printf("%-32s %11d  %s\n", operation, result, detail.c_str());
}

std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj> SampleMember(const char* lid,
                                                                            const char* mac) {
    auto member = std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>();
    member->autonomy_lid = lid;
    member->autonomy_lname = std::string("Recorder ") + lid;
    member->firmware = "4.2.1";
    member->firmware_date = "2026-10-01";
    member->mac = mac;
    member->machine_model = "NVR-16";
    return member;
}

}  // namespace

int main(int argc, char** argv) {
    const char* library = argc > 1 ? argv[1] : "libfederateutil.so.1";
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", library, dlerror());
        return 2;
    }
    auto create = reinterpret_cast<void* (*)()>(dlsym(handle, "CreateFederateUtilInstance"));
    auto release = reinterpret_cast<void (*)(void**)>(dlsym(handle, "ReleaseFederateUtil"));
    if (create == nullptr || release == nullptr) {
        std::fprintf(stderr, "%s does not export the factory functions\n", library);
        return 2;
    }

    void* instance = create();
    auto* base = static_cast<IBaseInterface*>(instance);
    ICentralizedServer* federation = nullptr;
    if (base->QueryInterface(FederateBoxType::CentralizedServerID,
                             reinterpret_cast<void**>(&federation)) != 1 ||
        federation == nullptr) {
        std::fprintf(stderr, "the library does not offer the federation interface\n");
        return 2;
    }
    std::printf("loaded %s; object %p\n\n", library, instance);
    std::printf("%-32s %11s  %s\n", "operation", "result", "output");
    PrintResult("Init", base->Init(nullptr, 0, "", 0, "", false, "", ""), "");

    DravoAgentData::AutonomyList members;
    members.autonomy_list.push_back(SampleMember("lid-1", "00:11:22:33:44:01"));
    members.autonomy_list.push_back(SampleMember("lid-2", "00:11:22:33:44:02"));
    std::string failover;
    int result = federation->FormatFailOverBody(members, failover);
    PrintResult("FormatFailOverBody", result, failover);

    std::string guid;
    result = federation->LoadFdrFederateSetting(guid);
    PrintResult("LoadFdrFederateSetting", result, guid.empty() ? "(no GUID)" : guid);

    DravoAgentData::AutonomyList loaded;
    result = federation->LoadFdrAutonomyListSetting(loaded);
    PrintResult("LoadFdrAutonomyListSetting", result,
                std::to_string(loaded.autonomy_list.size()) + " member(s)");

    std::string timestamp;
    result = federation->GetFdrPrivilegeTime(timestamp);
    PrintResult("GetFdrPrivilegeTime", result, timestamp.empty() ? "(empty)" : timestamp);

    PrintResult("Uninit", base->Uninit(), "");
    release(&instance);
    std::printf("\nreleased; the host pointer is now %p (the object lives until exit)\n", instance);
    std::printf("a non-zero result from a request means no local service answered on 127.0.0.1\n");
    return 0;
}
