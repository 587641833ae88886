#include "FederationStore.h"

#include <algorithm>

namespace fdrsim {

void FederationStore::Replace(FederationSeed seed) {
    std::lock_guard<std::mutex> lock(mutex_);
    seed_ = std::move(seed);
    channels_.clear();
    for (auto& member : seed_.members) {
        channels_[member.autonomy_lid] = std::move(member.channels);
        member.channels.clear();
    }
}

FederationSeed FederationStore::Snapshot() const {
    std::lock_guard<std::mutex> lock(mutex_);
    FederationSeed seed = seed_;
    for (auto& member : seed.members) {
        member.channels = channels_.at(member.autonomy_lid);
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
    const auto it = channels_.find(lid);
    return it == channels_.end() ? std::nullopt : std::optional(it->second);
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
    if (channels_.count(lid) == 0) {
        AddProblem(flags, "autonomy " + lid + " is not a member; its channels are kept apart");
    }
    auto& stored = channels_[lid];
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

}  // namespace fdrsim
