// Reading a federation from a seed file (JSON), and the built-in sample federation.
#pragma once

#include <string>

#include "FederationSeed.h"

namespace fdrsim {

// Reads a seed document. On failure returns false and sets `error` to a message that names
// the offending place, e.g. "members[1].channels[0]: \"guid\" is missing".
bool ParseSeed(const std::string& text, FederationSeed& seed, std::string* error);
bool LoadSeedFile(const std::string& path, FederationSeed& seed, std::string* error);

// The built-in federation: the content of sample-seed.json, compiled in.
const std::string& SampleSeedText();
FederationSeed SampleFederation();

}  // namespace fdrsim
