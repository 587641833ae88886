#include "SeedLoader.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "JsonText.h"

namespace fdrsim {

namespace {

// Thrown with the place and the reason; caught at the top of ParseSeed.
struct SeedError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class SeedReader {
  public:
    SeedReader(const Json::Value& object, std::string where) : object_(object), where_(where) {
        if (!object.isObject()) {
            Fail(std::string("expected an object, found a ") + JsonKindName(object));
        }
    }

    // Rejects keys outside `known`, so that a misspelt key is not silently ignored.
    void OnlyKeys(const std::set<std::string>& known) const {
        for (const auto& key : object_.getMemberNames()) {
            if (known.count(key) == 0) {
                Fail("unknown key \"" + key + "\"");
            }
        }
    }

    std::string Text(const char* key, bool required = false) const {
        const Json::Value& value = Get(key, required);
        if (value.isNull()) {
            return {};
        }
        Expect(value.isString(), key, "a string", value);
        return value.asString();
    }

    int Integer(const char* key, int fallback) const {
        const Json::Value& value = Get(key, false);
        if (value.isNull()) {
            return fallback;
        }
        Expect(value.isInt(), key, "an integer", value);
        return value.asInt();
    }

    bool Boolean(const char* key) const {
        const Json::Value& value = Get(key, false);
        if (value.isNull()) {
            return false;
        }
        Expect(value.isBool(), key, "true or false", value);
        return value.asBool();
    }

    std::vector<std::string> Texts(const char* key) const {
        std::vector<std::string> texts;
        const Json::Value& list = Array(key);
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            if (!list[i].isString()) {
                throw SeedError(Path(key) + "[" + std::to_string(i) + "]: expected a string");
            }
            texts.push_back(list[i].asString());
        }
        return texts;
    }

    const Json::Value& Array(const char* key) const {
        static const Json::Value empty(Json::arrayValue);
        const Json::Value& value = Get(key, false);
        if (value.isNull()) {
            return empty;
        }
        Expect(value.isArray(), key, "an array", value);
        return value;
    }

    const Json::Value& Get(const char* key, bool required) const {
        static const Json::Value absent;
        if (!object_.isMember(key)) {
            if (required) {
                Fail(std::string("\"") + key + "\" is missing");
            }
            return absent;
        }
        return object_[key];
    }

    std::string Path(const std::string& key) const {
        return where_.empty() ? key : where_ + "." + key;
    }

    [[noreturn]] void Fail(const std::string& reason) const {
        throw SeedError((where_.empty() ? std::string() : where_ + ": ") + reason);
    }

  private:
    void Expect(bool ok, const char* key, const char* wanted, const Json::Value& value) const {
        if (!ok) {
            Fail(std::string("\"") + key + "\" must be " + wanted + ", found a " +
                 JsonKindName(value));
        }
    }

    const Json::Value& object_;
    std::string where_;
};

StoredChannel ReadChannel(const Json::Value& value, const std::string& where) {
    SeedReader reader(value, where);
    reader.OnlyKeys({"guid", "name", "data"});
    StoredChannel channel;
    channel.guid = reader.Text("guid", true);
    channel.name = reader.Text("name");
    // "data" may be written as the channel object itself or, as the service stores it, as
    // text; text is kept byte for byte so that odd stored channels can be seeded too.
    const Json::Value& data = reader.Get("data", false);
    if (data.isString()) {
        channel.data = data.asString();
    } else if (data.isObject()) {
        channel.data = CompactJson(data);
    } else if (!data.isNull()) {
        reader.Fail("\"data\" must be the channel object or its JSON text");
    }
    return channel;
}

Member ReadMember(const Json::Value& value, const std::string& where) {
    SeedReader reader(value, where);
    reader.OnlyKeys({"autonomy_lid", "autonomy_id", "autonomy_lname", "address", "username",
                     "password", "server_mode", "mac", "add_time", "group_id", "channels"});
    Member member;
    member.autonomy_lid = reader.Text("autonomy_lid", true);
    member.autonomy_id = reader.Text("autonomy_id");
    member.autonomy_lname = reader.Text("autonomy_lname");
    member.address = reader.Text("address");
    member.username = reader.Text("username");
    member.password = reader.Text("password");
    member.server_mode = reader.Text("server_mode");
    member.mac = reader.Text("mac");
    member.add_time = reader.Text("add_time");
    member.group_id = reader.Integer("group_id", 1);
    const Json::Value& channels = reader.Array("channels");
    std::set<std::string> guids;
    for (Json::ArrayIndex i = 0; i < channels.size(); ++i) {
        const std::string place = reader.Path("channels") + "[" + std::to_string(i) + "]";
        member.channels.push_back(ReadChannel(channels[i], place));
        if (!guids.insert(member.channels.back().guid).second) {
            throw SeedError(place + ": channel guid \"" + member.channels.back().guid +
                            "\" appears twice");
        }
    }
    return member;
}

FederationSeed ReadSeed(const Json::Value& root) {
    SeedReader reader(root, "");
    reader.OnlyKeys({"description", "guid", "clients", "config", "members", "users"});
    FederationSeed seed;
    seed.guid = reader.Text("guid", true);

    const Json::Value& members = reader.Array("members");
    std::set<std::string> lids;
    for (Json::ArrayIndex i = 0; i < members.size(); ++i) {
        const std::string place = "members[" + std::to_string(i) + "]";
        seed.members.push_back(ReadMember(members[i], place));
        if (!lids.insert(seed.members.back().autonomy_lid).second) {
            throw SeedError(place + ": autonomy_lid \"" + seed.members.back().autonomy_lid +
                            "\" appears twice");
        }
    }

    const Json::Value& clients = reader.Array("clients");
    for (Json::ArrayIndex i = 0; i < clients.size(); ++i) {
        SeedReader client(clients[i], "clients[" + std::to_string(i) + "]");
        client.OnlyKeys({"client_id", "client_secret"});
        seed.clients.push_back({client.Text("client_id", true), client.Text("client_secret")});
    }
    if (!root.isMember("clients")) {
        seed.clients.push_back({"recorder", "s3cret"});
    }

    const Json::Value& users = reader.Array("users");
    for (Json::ArrayIndex i = 0; i < users.size(); ++i) {
        SeedReader user(users[i], "users[" + std::to_string(i) + "]");
        user.OnlyKeys({"name", "is_domain", "privileges", "members"});
        seed.users.push_back({user.Text("name", true), user.Boolean("is_domain"),
                              user.Texts("privileges"), user.Texts("members")});
    }

    const Json::Value& config = reader.Get("config", false);
    if (!config.isNull()) {
        SeedReader sections(config, "config");
        for (const auto& section : config.getMemberNames()) {
            SeedReader keys(config[section], "config." + section);
            for (const auto& key : config[section].getMemberNames()) {
                seed.config[section][key] = keys.Text(key.c_str());
            }
        }
    }
    return seed;
}

}  // namespace

bool ParseSeed(const std::string& text, FederationSeed& seed, std::string* error) {
    std::string reason;
    auto root = ParseJson(text, &reason);
    if (!root) {
        if (error != nullptr) {
            *error = "not JSON: " + reason;
        }
        return false;
    }
    try {
        seed = ReadSeed(*root);
    } catch (const SeedError& e) {
        if (error != nullptr) {
            *error = e.what();
        }
        return false;
    }
    return true;
}

bool LoadSeedFile(const std::string& path, FederationSeed& seed, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error != nullptr) {
            *error = "cannot read the seed " + path + ": " + std::strerror(errno);
        }
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    std::string reason;
    if (!ParseSeed(text.str(), seed, &reason)) {
        if (error != nullptr) {
            *error = "seed " + path + ": " + reason;
        }
        return false;
    }
    return true;
}

Json::Value MemberTexts(const Member& member) {
    Json::Value texts(Json::objectValue);
    texts["autonomy_lid"] = member.autonomy_lid;
    texts["autonomy_id"] = member.autonomy_id;
    texts["autonomy_lname"] = member.autonomy_lname;
    texts["address"] = member.address;
    texts["username"] = member.username;
    texts["password"] = member.password;
    texts["server_mode"] = member.server_mode;
    texts["mac"] = member.mac;
    texts["add_time"] = member.add_time;
    return texts;
}

namespace {

Json::Value TextArray(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const auto& text : texts) {
        array.append(text);
    }
    return array;
}

}  // namespace

std::string SeedJson(const FederationSeed& seed) {
    Json::Value root(Json::objectValue);
    root["guid"] = seed.guid;
    root["members"] = Json::Value(Json::arrayValue);
    for (const auto& member : seed.members) {
        Json::Value entry = MemberTexts(member);
        entry["group_id"] = member.group_id;
        entry["channels"] = Json::Value(Json::arrayValue);
        for (const auto& channel : member.channels) {
            Json::Value c(Json::objectValue);
            c["guid"] = channel.guid;
            c["name"] = channel.name;
            c["data"] = channel.data;
            entry["channels"].append(c);
        }
        root["members"].append(entry);
    }
    root["clients"] = Json::Value(Json::arrayValue);
    for (const auto& client : seed.clients) {
        Json::Value c(Json::objectValue);
        c["client_id"] = client.client_id;
        c["client_secret"] = client.client_secret;
        root["clients"].append(c);
    }
    root["users"] = Json::Value(Json::arrayValue);
    for (const auto& user : seed.users) {
        Json::Value u(Json::objectValue);
        u["name"] = user.name;
        u["is_domain"] = user.is_domain;
        u["privileges"] = TextArray(user.privileges);
        u["members"] = TextArray(user.members);
        root["users"].append(u);
    }
    root["config"] = Json::Value(Json::objectValue);
    for (const auto& [section, keys] : seed.config) {
        for (const auto& [key, text] : keys) {
            root["config"][section][key] = text;
        }
    }
    return CompactJson(root);
}

FederationSeed SampleFederation() {
    FederationSeed seed;
    std::string error;
    if (!ParseSeed(SampleSeedText(), seed, &error)) {
        // A test loads the sample, so this only guards against a broken build.
        throw std::logic_error("the built-in sample federation is invalid: " + error);
    }
    return seed;
}

}  // namespace fdrsim
