// libfederateutil.so.1 loaded as a recording server loads it: dlopen, the factory, and
// QueryInterface for the federation interface.
#pragma once

#include <string>
#include <utility>

#include "federateutil/Interfaces.h"

namespace fedutil {

class FederationLibrary {
  public:
    // Loads `path`, or when it is empty "<exe dir>/<build tree>/libfederateutil.so.1",
    // "<exe dir>/<installed lib dir>/...", then the plain soname. Throws UnavailableError saying
    // what was tried and why it failed. The library is never unloaded, as a recording server
    // never unloads it.
    static FederationLibrary Load(const std::string& path);

    ICentralizedServer& Federation() const { return *federation_; }
    // The file that was loaded, as the dynamic loader resolved it.
    const std::string& Path() const { return path_; }

  private:
    FederationLibrary(std::string path, ICentralizedServer* federation)
        : path_(std::move(path)), federation_(federation) {}

    std::string path_;
    ICentralizedServer* federation_;
};

// The folder of the running executable (from /proc/self/exe); "" when unknown.
std::string ExecutableDirectory();

}  // namespace fedutil
