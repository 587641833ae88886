#include "json/SupportFileJsonFormatter.h"

#include <cjson/cJSON.h>

#include <memory>
#include <stdexcept>

#include "json/JsonNumber.h"
#include "json/JsonTree.h"

namespace {

using Info = DravoAgentData::DravoServerInfo;

using fdr::jsontree::AddArray;
using fdr::jsontree::AddDouble;
using fdr::jsontree::AddInt32;
using fdr::jsontree::AddText;
using fdr::jsontree::AppendObject;
using fdr::jsontree::Tree;

// Hosts expect this error (a text built from a null print) when the root or the printed text
// cannot be made.
[[noreturn]] void ThrowNullText() {
    throw std::logic_error("basic_string: construction from null is not valid");
}

Tree NewRoot() {
    Tree root(cJSON_CreateObject());
    if (!root) {
        ThrowNullText();
    }
    return root;
}

std::string Print(const Tree& root) {
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_PrintUnformatted(root.get()),
                                                      cJSON_free);
    if (!text) {
        ThrowNullText();
    }
    return std::string(text.get());
}

void WriteSize(cJSON* size, const Info::FisheyeSizeObj& s) {
    AddInt32(size, "w", s.w);
    AddInt32(size, "h", s.h);
    AddInt32(size, "v", s.v);
    AddDouble(size, "x", s.x);
    AddDouble(size, "y", s.y);
    AddDouble(size, "latitude", s.latitude);
    AddDouble(size, "ratio", s.ratio);
}

void WriteSize(cJSON* size, const Info::ProjectionSizeObj& s) {
    AddInt32(size, "w", s.w);
    AddInt32(size, "h", s.h);
    AddDouble(size, "fov", s.fov);
    AddDouble(size, "left_center_x", s.left_center_x);
    AddDouble(size, "left_center_y", s.left_center_y);
    AddDouble(size, "left_orientation", s.left_orientation);
    AddDouble(size, "left_radius_x", s.left_radius_x);
    AddDouble(size, "left_radius_y", s.left_radius_y);
    AddDouble(size, "right_center_x", s.right_center_x);
    AddDouble(size, "right_center_y", s.right_center_y);
    AddDouble(size, "right_orientation", s.right_orientation);
    AddDouble(size, "right_radius_x", s.right_radius_x);
    AddDouble(size, "right_radius_y", s.right_radius_y);
}

// A projection model also names its projection, after its identity.
void WriteModelExtras(cJSON*, const Info::FisheyeModelObj&) {}
void WriteModelExtras(cJSON* model_item, const Info::ProjectionModelObj& model) {
    AddText(model_item, "projection", model.projection);
}

// Both catalogues: brands, their models, each model's sizes, under `table_key`.
template <typename BrandList>
std::string FormatCatalogue(const char* table_key, const BrandList& brand_list) {
    const Tree root = NewRoot();
    cJSON* brands = AddArray(root.get(), table_key);
    for (const auto& brand : brand_list) {
        if (!brand) {
            continue;
        }
        cJSON* brand_item = AppendObject(brands);
        AddText(brand_item, "brand_name", brand->brand_name);
        AddText(brand_item, "brand_id", brand->brand_id);
        cJSON* models = AddArray(brand_item, "model_list");
        for (const auto& model : brand->model_list) {
            cJSON* model_item = AppendObject(models);
            AddText(model_item, "model_name", model.model_name);
            AddText(model_item, "model_id", model.model_id);
            WriteModelExtras(model_item, model);
            cJSON* sizes = AddArray(model_item, "size_list");
            for (const auto& size : model.size_list) {
                WriteSize(AppendObject(sizes), size);
            }
        }
    }
    return Print(root);
}

}  // namespace

namespace fdr {

std::string FormatFisheyeSupportFile(const DravoAgentData::DravoServerInfo& info) {
    return FormatCatalogue("FishEyeParameterTable", info.fisheye_brand_list);
}

std::string FormatProjectionSupportFile(const DravoAgentData::DravoServerInfo& info) {
    return FormatCatalogue("ProjectionTable", info.projection_brand_list);
}

}  // namespace fdr
