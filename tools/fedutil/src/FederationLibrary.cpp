#include "FederationLibrary.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include "Failures.h"

namespace fedutil {

namespace {

constexpr char kSoname[] = "libfederateutil.so.1";

std::string LoadedFileOf(void* handle, const std::string& fallback) {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr && map->l_name != nullptr &&
        *map->l_name != '\0') {
        // Lexically only: the soname link is the name a host knows, not the file behind it.
        return std::filesystem::path(map->l_name).lexically_normal().string();
    }
    return fallback;
}

// One attempt; on failure returns null and appends the reason to `tried`.
ICentralizedServer* TryLoad(const std::string& path, std::string& loaded, std::string& tried) {
    // A bare name is left to the dynamic loader's search.
    if (path.find('/') != std::string::npos && access(path.c_str(), F_OK) != 0) {
        tried += "\n  " + path + ": not found";
        return nullptr;
    }
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        tried += "\n  " + path + ": " + (reason != nullptr ? reason : "cannot be loaded");
        return nullptr;
    }
    auto create = reinterpret_cast<void* (*)()>(dlsym(handle, "CreateFederateUtilInstance"));
    if (create == nullptr || dlsym(handle, "ReleaseFederateUtil") == nullptr) {
        tried += "\n  " + path + ": does not export CreateFederateUtilInstance/ReleaseFederateUtil";
        dlclose(handle);
        return nullptr;
    }
    auto* base = static_cast<IBaseInterface*>(create());
    ICentralizedServer* federation = nullptr;
    if (base == nullptr ||
        base->QueryInterface(FederateBoxType::CentralizedServerID,
                             reinterpret_cast<void**>(&federation)) != 1 ||
        federation == nullptr) {
        tried += "\n  " + path + ": the object does not offer the federation interface";
        return nullptr;
    }
    loaded = LoadedFileOf(handle, path);
    return federation;
}

}  // namespace

std::string ExecutableDirectory() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0) {
        return "";
    }
    const std::string executable(path, static_cast<size_t>(length));
    return executable.substr(0, executable.rfind('/'));
}

FederationLibrary FederationLibrary::Load(const std::string& path) {
    // By default the build tree's, then the installed tree's, then the dynamic loader's search.
    std::vector<std::string> candidates{path.empty() ? kSoname : path};
    if (const std::string folder = ExecutableDirectory(); path.empty() && !folder.empty()) {
        candidates.insert(candidates.begin(),
                          {folder + "/" FEDUTIL_BUILD_LIBRARY_DIR "/" + kSoname,
                           folder + "/" FEDUTIL_INSTALLED_LIBRARY_DIR "/" + kSoname});
    }
    std::string tried;
    for (const auto& candidate : candidates) {
        std::string loaded;
        if (ICentralizedServer* federation = TryLoad(candidate, loaded, tried)) {
            return FederationLibrary(loaded, federation);
        }
    }
    throw UnavailableError(std::string("cannot load ") + (path.empty() ? kSoname : path.c_str()) +
                           ":" + tried +
                           (path.empty() ? "\nUse --library PATH to name the file." : ""));
}

}  // namespace fedutil
