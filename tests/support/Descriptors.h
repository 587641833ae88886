// How many descriptors this process has open: what a leak of sockets or files shows in.
#pragma once

#include <dirent.h>

#include <cstddef>

namespace fdrtest {

inline size_t OpenDescriptors() {
    size_t count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (readdir(dir) != nullptr) {
        ++count;
    }
    closedir(dir);
    return count;
}

}  // namespace fdrtest
