#include "ChannelChangeBody.h"

#include "JsonText.h"
#include "ShapeChecks.h"

namespace fdrsim {

namespace {

// Checks one channel's "data" text against what a stored channel must be for a later read.
void CheckChannelData(const std::string& guid, const std::string& data, Flags& flags,
                      bool& bare_values_noted) {
    const std::string channel = "channel " + guid;
    if (data.empty()) {
        AddProblem(flags, channel + ": blank data");
        return;
    }
    std::string reason;
    auto document = ParseJson(data, &reason);
    if (!document) {
        AddProblem(flags, channel + ": data is not JSON: " + reason);
        return;
    }
    if (!document->isObject()) {
        AddProblem(flags, channel + ": data is a JSON " + JsonKindName(*document) +
                              ", expected an object");
        return;
    }
    const Json::Value& channel_document = *document;
    const Json::Value& named = channel_document["channel_guid"];
    if (named.isString() && named.asString() != guid) {
        AddProblem(flags, channel + ": data names channel_guid " + named.asString());
    }
    // The library writes each virtual camera as six bare values followed by {}.
    const Json::Value& virtual_cameras = channel_document["virtual_camera_list"];
    if (!bare_values_noted && virtual_cameras.isArray()) {
        for (const auto& element : virtual_cameras) {
            if (!element.isObject()) {
                AddNote(flags, "virtual_camera_list holds bare values (expected)");
                bare_values_noted = true;
                break;
            }
        }
    }
}

// Turns the first shape problem into the error that rejects the write.
bool Reject(Flags& shape, std::string* error) {
    if (error != nullptr) {
        *error = shape.empty() ? "malformed body" : shape.front().text;
    }
    return false;
}

}  // namespace

bool ReadChannelChanges(const std::string& body, std::vector<ChannelChange>& changes, Flags& flags,
                        std::string* error) {
    Flags shape;
    auto root = ExpectJsonObject(body, shape);
    if (!root) {
        return Reject(shape, error);
    }
    const Json::Value* list = ExpectMember(*root, "autonomy_list", JsonKind::Array, "", shape);
    if (list == nullptr) {
        return Reject(shape, error);
    }
    bool bare_values_noted = false;
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        const Json::Value& entry = (*list)[i];
        if (!ExpectKind(entry, JsonKind::Object, where, shape)) {
            return Reject(shape, error);
        }
        const Json::Value* lid =
            ExpectMember(entry, "autonomy_lid", JsonKind::String, where, shape);
        const Json::Value* mode = ExpectMember(entry, "mode", JsonKind::String, where, shape);
        const Json::Value* channels =
            ExpectMember(entry, "channel_list", JsonKind::Array, where, shape);
        if (lid == nullptr || mode == nullptr || channels == nullptr) {
            return Reject(shape, error);
        }
        ChannelChange change{lid->asString(), mode->asString(), {}};
        for (Json::ArrayIndex j = 0; j < channels->size(); ++j) {
            const std::string at = Indexed(where + ".channel_list", j);
            const Json::Value& item = (*channels)[j];
            const Json::Value* guid =
                item.isObject() ? ExpectMember(item, "guid", JsonKind::String, at, shape) : nullptr;
            if (guid == nullptr) {
                ExpectKind(item, JsonKind::Object, at, shape);
                return Reject(shape, error);
            }
            StoredChannel channel{guid->asString(), {}, {}};
            if (const auto* name = ExpectMember(item, "name", JsonKind::String, at, flags)) {
                channel.name = name->asString();
            }
            if (const auto* data = ExpectMember(item, "data", JsonKind::String, at, flags)) {
                channel.data = data->asString();
                // A removal carries "data":"" by design; nothing is stored from it.
                if (change.mode != "remove") {
                    CheckChannelData(channel.guid, channel.data, flags, bare_values_noted);
                }
            }
            change.channels.push_back(std::move(channel));
        }
        changes.push_back(std::move(change));
    }
    return true;
}

}  // namespace fdrsim
