// The federation service's state: the federation GUID, the members, each member's stored
// channels, the configuration values and the users.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Exchange.h"
#include "FederationSeed.h"

namespace fdrsim {

// One entry of a "/fdr/CmsChannel" write: a mode applied to one member's channels.
struct ChannelChange {
    std::string autonomy_lid;
    std::string mode;  // "add", "replace", "update" or "remove"
    std::vector<StoredChannel> channels;
};

class FederationStore {
  public:
    explicit FederationStore(FederationSeed seed) { Replace(std::move(seed)); }

    // Puts another federation in place of this one.
    void Replace(FederationSeed seed);
    // The federation as it stands, each member with the channels stored for it now.
    FederationSeed Snapshot() const;

    std::string Guid() const;
    // The members without their channels, in seed order.
    std::vector<Member> Members() const;
    // The channels stored for `lid`, or nothing when the federation has never heard of it.
    std::optional<std::vector<StoredChannel>> Channels(const std::string& lid) const;
    std::optional<std::string> Config(const std::string& section, const std::string& key) const;
    std::optional<FederationUser> User(const std::string& name) const;

    // Applies every change in order, keyed by channel guid:
    //   add     - new guids are appended, a guid already stored is overwritten in place;
    //   replace - the member's channels become exactly the given ones, in the given order;
    //   update  - stored guids are overwritten, unknown guids are ignored (a problem);
    //   remove  - stored guids are removed, unknown guids are ignored (a problem).
    // A change for a lid that is not a member is stored under that lid and flagged. An unknown
    // mode rejects the whole write before anything is applied: returns false and `error`.
    bool Apply(const std::vector<ChannelChange>& changes, Flags& flags, std::string* error);

  private:
    void ApplyOne(const ChannelChange& change, Flags& flags);

    mutable std::mutex mutex_;
    FederationSeed seed_;  // the members' channels live in channels_
    std::map<std::string, std::vector<StoredChannel>> channels_;  // per lid ever known
};

}  // namespace fdrsim
