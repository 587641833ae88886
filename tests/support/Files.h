// A file read whole, as the tests and runners compare files.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace fdrtest {

// The bytes of `path`; empty when it cannot be read.
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace fdrtest
