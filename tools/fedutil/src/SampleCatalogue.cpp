#include "SampleCatalogue.h"

#include "JsonInput.h"
#include "RecordFiles.h"

namespace fedutil {

namespace {

// In the lens catalogue file format (docs/fedutil.md), so that it also shows that format.
constexpr char kSampleCatalogue[] = R"json({
  "FishEyeParameterTable": [
    {"brand_name": "Acuvia", "brand_id": "ACUV", "model_list": [
      {"model_name": "FE-1200", "model_id": "FE12", "size_list": [
        {"w": 2992, "h": 2992, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.93},
        {"w": 1920, "h": 1920, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.92}]},
      {"model_name": "FE-800", "model_id": "FE08", "size_list": [
        {"w": 2048, "h": 2048, "v": 1, "x": 0.501, "y": 0.498, "latitude": 12.5, "ratio": 0.9}]}]},
    {"brand_name": "Lumeris", "brand_id": "LUMR", "model_list": [
      {"model_name": "LF-360", "model_id": "LF36", "size_list": [
        {"w": 2560, "h": 2560, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.95}]}]}
  ],
  "ProjectionTable": [
    {"brand_name": "Acuvia", "brand_id": "ACUV", "model_list": [
      {"model_name": "DL-180", "model_id": "DL18", "projection": "dual_fisheye", "size_list": [
        {"w": 3840, "h": 1920, "fov": 190.0,
         "left_center_x": 960.0, "left_center_y": 960.0, "left_orientation": 0.0,
         "left_radius_x": 940.5, "left_radius_y": 940.5,
         "right_center_x": 2880.0, "right_center_y": 960.0, "right_orientation": 180.0,
         "right_radius_x": 940.5, "right_radius_y": 940.5}]}]}
  ]
})json";

}  // namespace

DravoAgentData::DravoServerInfo SampleLensCatalogue() {
    return ReadLensCatalogue(ParseJsonInput(kSampleCatalogue, "the sample lens catalogue"),
                             "the sample lens catalogue");
}

}  // namespace fedutil
