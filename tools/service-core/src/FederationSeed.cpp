#include "FederationSeed.h"

#include <algorithm>
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

[[noreturn]] void Fail(const std::string& where, const std::string& reason) {
    throw SeedError((where.empty() ? std::string() : where + ": ") + reason);
}

enum class Want { Text, Integer, Boolean, List, Texts, Any };

struct Field {
    const char* key;
    Want want;
    bool required = false;
};

// The nine text fields of a member, under the names that seeds and the member list share.
const std::pair<const char*, std::string Member::*> kMemberTexts[] = {
    {"autonomy_lid", &Member::autonomy_lid},
    {"autonomy_id", &Member::autonomy_id},
    {"autonomy_lname", &Member::autonomy_lname},
    {"address", &Member::address},
    {"username", &Member::username},
    {"password", &Member::password},
    {"server_mode", &Member::server_mode},
    {"mac", &Member::mac},
    {"add_time", &Member::add_time},
};

void ExpectObject(const Json::Value& value, const std::string& where) {
    if (!value.isObject()) {
        Fail(where, std::string("expected an object, found a ") + JsonKindName(value));
    }
}

// Checks a record of a seed: an object without keys outside `fields` (so that a misspelt key is
// not silently ignored), the required ones present and each value what it must be. A null value
// counts as absent. Afterwards the record's values can be read without further checks.
const Json::Value& Checked(const Json::Value& object, const std::string& where,
                           const std::vector<Field>& fields) {
    ExpectObject(object, where);
    for (const auto& key : object.getMemberNames()) {
        if (std::none_of(fields.begin(), fields.end(),
                         [&key](const Field& field) { return key == field.key; })) {
            Fail(where, "unknown key \"" + key + "\"");
        }
    }
    for (const Field& field : fields) {
        const std::string quoted = std::string("\"") + field.key + "\"";
        const Json::Value& value = object[field.key];
        if (field.required && !object.isMember(field.key)) {
            Fail(where, quoted + " is missing");
        }
        static const char* const kWanted[] = {"a string", "an integer", "true or false", "an array",
                                              "an array"};
        const bool fits[] = {value.isString(), value.isInt(),   value.isBool(),
                             value.isArray(),  value.isArray(), true};
        if (!value.isNull() && !fits[static_cast<int>(field.want)]) {
            Fail(where, quoted + " must be " + kWanted[static_cast<int>(field.want)] +
                            ", found a " + JsonKindName(value));
        }
        for (Json::ArrayIndex i = 0; field.want == Want::Texts && i < value.size(); ++i) {
            if (!value[i].isString()) {
                throw SeedError(Indexed((where.empty() ? "" : where + ".") + field.key, i) +
                                ": expected a string");
            }
        }
    }
    return object;
}

std::vector<std::string> Texts(const Json::Value& list) {
    std::vector<std::string> texts;
    for (const auto& text : list) {
        texts.push_back(text.asString());
    }
    return texts;
}

StoredChannel ReadChannel(const Json::Value& value, const std::string& where) {
    Checked(value, where, {{"guid", Want::Text, true}, {"name", Want::Text}, {"data", Want::Any}});
    StoredChannel channel{value["guid"].asString(), value["name"].asString(), {}};
    // "data" may be written as the channel object or, as the service stores it, as text; text
    // is kept byte for byte so that odd stored channels can be seeded too.
    const Json::Value& data = value["data"];
    if (data.isString()) {
        channel.data = data.asString();
    } else if (data.isObject()) {
        channel.data = CompactJson(data);
    } else if (!data.isNull()) {
        Fail(where, "\"data\" must be the channel object or its JSON text");
    }
    return channel;
}

Member ReadMember(const Json::Value& value, const std::string& where) {
    std::vector<Field> fields;
    for (const auto& [key, text] : kMemberTexts) {
        fields.push_back({key, Want::Text, text == &Member::autonomy_lid});
    }
    fields.push_back({"group_id", Want::Integer});
    fields.push_back({"channels", Want::List});
    Checked(value, where, fields);
    Member member;
    for (const auto& [key, text] : kMemberTexts) {
        member.*text = value[key].asString();
    }
    member.group_id = value["group_id"].isNull() ? 1 : value["group_id"].asInt();
    std::set<std::string> guids;
    for (Json::ArrayIndex i = 0; i < value["channels"].size(); ++i) {
        const std::string place = Indexed(where + ".channels", i);
        member.channels.push_back(ReadChannel(value["channels"][i], place));
        if (!guids.insert(member.channels.back().guid).second) {
            Fail(place, "channel guid \"" + member.channels.back().guid + "\" appears twice");
        }
    }
    return member;
}

FederationSeed ReadSeed(const Json::Value& root) {
    Checked(root, "",
            {{"description", Want::Any},
             {"guid", Want::Text, true},
             {"members", Want::List},
             {"clients", Want::List},
             {"users", Want::List},
             {"config", Want::Any}});
    FederationSeed seed;
    seed.guid = root["guid"].asString();
    std::set<std::string> lids;
    for (Json::ArrayIndex i = 0; i < root["members"].size(); ++i) {
        const std::string place = Indexed("members", i);
        seed.members.push_back(ReadMember(root["members"][i], place));
        if (!lids.insert(seed.members.back().autonomy_lid).second) {
            Fail(place, "autonomy_lid \"" + seed.members.back().autonomy_lid + "\" appears twice");
        }
    }
    for (Json::ArrayIndex i = 0; i < root["clients"].size(); ++i) {
        const Json::Value& client =
            Checked(root["clients"][i], Indexed("clients", i),
                    {{"client_id", Want::Text, true}, {"client_secret", Want::Text}});
        seed.clients.push_back(
            {client["client_id"].asString(), client["client_secret"].asString()});
    }
    if (!root.isMember("clients")) {
        seed.clients.push_back({"recorder", "s3cret"});
    }
    for (Json::ArrayIndex i = 0; i < root["users"].size(); ++i) {
        const Json::Value& user = Checked(root["users"][i], Indexed("users", i),
                                          {{"name", Want::Text, true},
                                           {"is_domain", Want::Boolean},
                                           {"privileges", Want::Texts},
                                           {"members", Want::Texts}});
        seed.users.push_back({user["name"].asString(), user["is_domain"].asBool(),
                              Texts(user["privileges"]), Texts(user["members"])});
    }
    const Json::Value& config = root["config"];
    if (!config.isNull()) {
        ExpectObject(config, "config");
        for (const auto& section : config.getMemberNames()) {
            const std::string where = "config." + section;
            ExpectObject(config[section], where);
            for (const auto& key : config[section].getMemberNames()) {
                const Json::Value& text = config[section][key];
                if (!text.isString() && !text.isNull()) {
                    Fail(where, "\"" + key + "\" must be a string, found a " + JsonKindName(text));
                }
                seed.config[section][key] = text.asString();
            }
        }
    }
    return seed;
}

}  // namespace

bool ParseSeed(const std::string& text, FederationSeed& seed, std::string* error) {
    std::string reason;
    auto root = ParseJson(text, &reason);
    try {
        if (!root) {
            throw SeedError("not JSON: " + reason);
        }
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
    std::ostringstream text;
    std::string reason;
    if (!in) {
        reason = "cannot read the seed " + path + ": " + std::strerror(errno);
    } else if (text << in.rdbuf(); !ParseSeed(text.str(), seed, &reason)) {
        reason = "seed " + path + ": " + reason;
    }
    if (error != nullptr) {
        *error = reason;
    }
    return reason.empty();
}

Json::Value MemberTexts(const Member& member) {
    Json::Value texts(Json::objectValue);
    for (const auto& [key, text] : kMemberTexts) {
        texts[key] = member.*text;
    }
    return texts;
}

std::string SeedJson(const FederationSeed& seed) {
    const auto texts = [](const std::string& text) { return Json::Value(text); };
    Json::Value root =
        JsonObject({{"guid", seed.guid}, {"config", Json::Value(Json::objectValue)}});
    root["members"] = JsonArray(seed.members, [](const Member& member) {
        Json::Value entry = MemberTexts(member);
        entry["group_id"] = member.group_id;
        entry["channels"] = JsonArray(member.channels, [](const StoredChannel& channel) {
            return JsonObject(
                {{"guid", channel.guid}, {"name", channel.name}, {"data", channel.data}});
        });
        return entry;
    });
    root["clients"] = JsonArray(seed.clients, [](const TokenClient& client) {
        return JsonObject(
            {{"client_id", client.client_id}, {"client_secret", client.client_secret}});
    });
    root["users"] = JsonArray(seed.users, [&texts](const FederationUser& user) {
        return JsonObject({{"name", user.name},
                           {"is_domain", user.is_domain},
                           {"privileges", JsonArray(user.privileges, texts)},
                           {"members", JsonArray(user.members, texts)}});
    });
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
