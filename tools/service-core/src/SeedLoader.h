// Reading and writing a federation as a seed document (JSON), and the built-in sample federation.
#pragma once

#include <json/json.h>

#include <string>

#include "FederationSeed.h"

namespace fdrsim {

// Reads a seed document. On failure returns false and sets `error` to a message that names
// the offending place, e.g. "members[1].channels[0]: \"guid\" is missing".
bool ParseSeed(const std::string& text, FederationSeed& seed, std::string* error);
bool LoadSeedFile(const std::string& path, FederationSeed& seed, std::string* error);
// The seed document of `seed`, which ParseSeed reads back as it is. Channel data is written as
// text, byte for byte.
std::string SeedJson(const FederationSeed& seed);
// The nine text fields of a member, under the names that seeds and the member list share.
Json::Value MemberTexts(const Member& member);

// The built-in federation: the content of sample-seed.json, compiled in.
const std::string& SampleSeedText();
FederationSeed SampleFederation();

}  // namespace fdrsim
