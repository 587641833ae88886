#include "FederationStore.h"

#include <algorithm>

namespace fdrsim {

bool IsChannelMode(const std::string& mode) {
    return mode == "add" || mode == "replace" || mode == "update" || mode == "remove";
}

FederationStore::FederationStore(FederationSeed seed) {
    Replace(std::move(seed));
}

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
    if (store == nullptr) {
        return std::nullopt;
    }
    return store->channels;
}

std::optional<std::string> FederationStore::Config(const std::string& section,
                                                   const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto s = seed_.config.find(section);
    if (s == seed_.config.end()) {
        return std::nullopt;
    }
    auto k = s->second.find(key);
    if (k == s->second.end()) {
        return std::nullopt;
    }
    return k->second;
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
        if (!IsChannelMode(change.mode)) {
            if (error != nullptr) {
                *error = "unknown mode \"" + change.mode + "\" for autonomy " + change.autonomy_lid;
            }
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
    MemberChannels* store = Find(lid);
    if (store == nullptr) {
        AddProblem(flags, "autonomy " + lid + " is not a member; its channels are kept apart");
        stores_.push_back({lid, {}});
        store = &stores_.back();
    }
    auto& stored = store->channels;
    auto find = [&stored](const std::string& guid) {
        return std::find_if(stored.begin(), stored.end(),
                            [&guid](const StoredChannel& c) { return c.guid == guid; });
    };
    int changed = 0;
    if (change.mode == "replace") {
        stored = change.channels;
        changed = static_cast<int>(stored.size());
    } else {
        for (const auto& channel : change.channels) {
            auto it = find(channel.guid);
            if (change.mode == "add") {
                if (it == stored.end()) {
                    stored.push_back(channel);
                } else {
                    *it = channel;
                    AddNote(flags, "add: channel " + channel.guid + " was stored, overwritten");
                }
                ++changed;
            } else if (it == stored.end()) {
                AddProblem(flags, change.mode + ": channel " + channel.guid +
                                      " is not stored for autonomy " + lid);
            } else {
                if (change.mode == "update") {
                    *it = channel;
                } else {
                    stored.erase(it);
                }
                ++changed;
            }
        }
    }
    AddNote(flags, "autonomy " + lid + ": " + change.mode + " " + std::to_string(changed) +
                       " channel(s), " + std::to_string(stored.size()) + " stored");
}

FederationStore::MemberChannels* FederationStore::Find(const std::string& lid) {
    for (auto& store : stores_) {
        if (store.lid == lid) {
            return &store;
        }
    }
    return nullptr;
}

const FederationStore::MemberChannels* FederationStore::Find(const std::string& lid) const {
    return const_cast<FederationStore*>(this)->Find(lid);
}

}  // namespace fdrsim
