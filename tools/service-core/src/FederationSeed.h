// The content of a simulated federation: what the built-in sample or a seed file describes, and
// reading and writing it as a seed document (JSON).
#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

namespace fdrsim {

// One channel as the federation service stores it: "data" is the channel's JSON text.
struct StoredChannel {
    std::string guid;
    std::string name;
    std::string data;
};

// One member server (autonomy) with the fields that "/fdr/Autonomies" reports.
struct Member {
    std::string autonomy_lid;
    std::string autonomy_id;
    std::string autonomy_lname;
    std::string address;
    std::string username;
    std::string password;
    std::string server_mode;
    std::string mac;
    std::string add_time;
    int group_id = 1;
    std::vector<StoredChannel> channels;
};

// A client the token service knows.
struct TokenClient {
    std::string client_id;
    std::string client_secret;
};

// A user the privilege report knows.
struct FederationUser {
    std::string name;
    bool is_domain = false;
    std::vector<std::string> privileges;  // e.g. "live_view", "playback"
    std::vector<std::string> members;     // lids the user may reach; empty means every member
};

struct FederationSeed {
    std::string guid;
    std::vector<Member> members;
    std::vector<TokenClient> clients;
    std::vector<FederationUser> users;
    // section -> key -> text, as "/fdr/Config" answers them.
    std::map<std::string, std::map<std::string, std::string>> config;
};

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
