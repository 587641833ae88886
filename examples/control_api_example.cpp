// A host test driving fdr-sim through its control API: clear the journal, make the federation
// service answer 500, call the library, wait for the exchange and read what was answered, then
// switch the fault off and call again. Plain HTTP with libcurl; the library loaded with dlopen,
// as a recording server loads it.
// Usage: control_api_example [path-to-libfederateutil.so.1] [control API, default
//        http://127.0.0.1:10299]   (fdr-sim must be running)
#include <curl/curl.h>
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "FederateUtil.h"

namespace {

struct Reply {
    long status = 0;  // 0: no answer
    std::string body;
};

size_t Append(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

// One call of the control API.
Reply Call(const std::string& api, const char* method, const std::string& target,
           const std::string& body = "") {
    Reply reply;
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        return reply;
    }
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    curl_easy_setopt(curl, CURLOPT_URL, (api + target).c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    if (!body.empty()) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    if (curl_easy_perform(curl) == CURLE_OK) {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return reply;
}

bool Check(bool ok, const char* what, const std::string& detail) {
    std::printf("%-44s %s  %s\n", what, ok ? "ok    " : "FAILED", detail.c_str());
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    const char* library = argc > 1 ? argv[1] : "libfederateutil.so.1";
    const std::string api = argc > 2 ? argv[2] : "http://127.0.0.1:10299";
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    auto create = handle != nullptr
                      ? reinterpret_cast<void* (*)()>(dlsym(handle, "CreateFederateUtilInstance"))
                      : nullptr;
    ICentralizedServer* federation = nullptr;
    if (create == nullptr ||
        static_cast<IBaseInterface*>(create())->QueryInterface(
            FederateBoxType::CentralizedServerID, reinterpret_cast<void**>(&federation)) != 1) {
        std::fprintf(stderr, "cannot use %s: %s\n", library, handle ? "no interface" : dlerror());
        return 2;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    bool ok =
        Check(Call(api, "GET", "/api/health").status == 200, "fdr-sim's control API answers", api);

    // A clean journal, and a federation service that answers 500 from now on.
    ok &= Check(Call(api, "DELETE", "/api/exchanges").status == 200, "journal cleared", "");
    const Reply fault = Call(api, "PUT", "/api/faults/federation", R"({"mode":"500"})");
    ok &= Check(fault.status == 200, "federation service set to answer 500", fault.body);

    std::string guid;
    const int failed = federation->LoadFdrFederateSetting(guid);
    ok &= Check(failed == 4, "LoadFdrFederateSetting fails", "result " + std::to_string(failed));

    // The exchange is in the journal already, or arrives within the time-out.
    const Reply exchange = Call(
        api, "GET", "/api/exchanges/wait?service=federation&path=/fdr/Service&timeout_ms=5000");
    ok &=
        Check(exchange.status == 200 && exchange.body.find(R"("status":500)") != std::string::npos,
              "the journal shows the request and its 500", exchange.body.substr(0, 60) + "...");
    ok &= Check(exchange.body.find("internal error (simulated)") != std::string::npos,
                "the answer body is the canned error", "");

    ok &= Check(Call(api, "DELETE", "/api/faults/federation").status == 200, "fault cleared", "");
    const int loaded = federation->LoadFdrFederateSetting(guid);
    ok &= Check(loaded == 0 && !guid.empty(), "LoadFdrFederateSetting succeeds", "GUID " + guid);
    curl_global_cleanup();
    return ok ? 0 : 1;
}
