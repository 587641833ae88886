#include "FederationStore.h"

#include <algorithm>

namespace fdrsim {

void FederationStore::Replace(FederationSeed seed) {
    std::lock_guard<std::mutex> lock(mutex_);
    seed_ = std::move(seed);
    stores_.clear();
    for (auto& member : seed_.members) {
        stores_.push_back({member.autonomy_lid, std::move(member.channels)});
        member.channels.clear();
    }
}

FederationSeed FederationStore::Snapshot() const {
    std::lock_guard<std::mutex> lock(mutex_);
    FederationSeed seed = seed_;
    for (auto& member : seed.members) {
        member.channels = Find(member.autonomy_lid)->channels;
    }
    return seed;
}

std::string FederationStore::Guid() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seed_.guid;
}

std::vector<Member> FederationStore::Members() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seed_.members;
}

std::optional<std::vector<StoredChannel>> FederationStore::Channels(const std::string& lid) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const MemberChannels* store = Find(lid);
    return store ? std::optional(store->channels) : std::nullopt;
}

std::optional<std::string> FederationStore::Config(const std::string& section,
                                                   const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto keys = seed_.config.find(section);
    if (keys == seed_.config.end() || keys->second.count(key) == 0) {
        return std::nullopt;
    }
    return keys->second.at(key);
}

std::optional<FederationUser> FederationStore::User(const std::string& name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& user : seed_.users) {
        if (user.name == name) {
            return user;
        }
    }
    return std::nullopt;
}

bool FederationStore::Apply(const std::vector<ChannelChange>& changes, Flags& flags,
                            std::string* error) {
    for (const auto& change : changes) {
        const std::string& mode = change.mode;
        if (mode != "add" && mode != "replace" && mode != "update" && mode != "remove") {
            *error = "unknown mode \"" + mode + "\" for autonomy " + change.autonomy_lid;
            return false;
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& change : changes) {
        ApplyOne(change, flags);
    }
    return true;
}

void FederationStore::ApplyOne(const ChannelChange& change, Flags& flags) {
    const std::string& lid = change.autonomy_lid;
    if (Find(lid) == nullptr) {
        AddProblem(flags, "autonomy " + lid + " is not a member; its channels are kept apart");
        stores_.push_back({lid, {}});
    }
    auto& stored = const_cast<MemberChannels*>(Find(lid))->channels;
    int changed = 0;
    if (change.mode == "replace") {
        stored = change.channels;
        changed = static_cast<int>(stored.size());
    }
    for (size_t i = 0; change.mode != "replace" && i < change.channels.size(); ++i) {
        const StoredChannel& channel = change.channels[i];
        auto it = std::find_if(stored.begin(), stored.end(),
                               [&](const StoredChannel& c) { return c.guid == channel.guid; });
        if (change.mode == "add" && it == stored.end()) {
            stored.push_back(channel);
        } else if (it == stored.end()) {
            AddProblem(flags, change.mode + ": channel " + channel.guid +
                                  " is not stored for autonomy " + lid);
            continue;
        } else if (change.mode == "remove") {
            stored.erase(it);
        } else {
            *it = channel;
            if (change.mode == "add") {
                AddNote(flags, "add: channel " + channel.guid + " was stored, overwritten");
            }
        }
        ++changed;
    }
    AddNote(flags, "autonomy " + lid + ": " + change.mode + " " + std::to_string(changed) +
                       " channel(s), " + std::to_string(stored.size()) + " stored");
}

const FederationStore::MemberChannels* FederationStore::Find(const std::string& lid) const {
    for (const auto& store : stores_) {
        if (store.lid == lid) {
            return &store;
        }
    }
    return nullptr;
}

}  // namespace fdrsim
