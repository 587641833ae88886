// The fisheye and projection support files follow the files' key orders (empty catalogues are
// the slot-table test's, running out of memory the allocation-failure suite's).
#include <gtest/gtest.h>

#include "FederateUtil/CFederateUtil.h"
#include "support/TestData.h"

namespace {

using Info = DravoAgentData::DravoServerInfo;
using fdrtest::ReadTestData;

Info Catalogues() {
    Info info;
    auto acme = std::make_shared<Info::FisheyeBrandObj>();
    acme->brand_id = "b1";
    acme->brand_name = "Acme";
    Info::FisheyeModelObj fe360{"m1", "FE-360", {}};
    fe360.size_list.push_back({1080, 1920, 0, 45.5, 0.75, 960.5, 540.25});
    fe360.size_list.push_back({2048, 2048, 1, 30, 0.5, 1024, 1024});
    acme->model_list = {fe360, {"m2", "FE-180", {}}};
    auto bolt = std::make_shared<Info::FisheyeBrandObj>();
    bolt->brand_id = "b2";
    bolt->brand_name = "Bolt";
    info.fisheye_brand_list = {acme, nullptr, bolt};

    auto duo = std::make_shared<Info::ProjectionBrandObj>();
    duo->brand_id = "b1";
    duo->brand_name = "Duo";
    Info::ProjectionModelObj dl2{"equirect", "p1", "DL-2", {}};
    dl2.size_list.push_back(
        {1920, 3840, 190.5, 960.25, 960.5, 90, 940, 941.5, 2880.25, 960.75, -90, 939.5, 942});
    duo->model_list = {dl2};
    info.projection_brand_list = {duo};
    return info;
}

TEST(SupportFile, KeysFollowTheFileOrderNotTheMemberOrder) {
    CFederateUtil util;
    Info info = Catalogues();
    EXPECT_EQ(util.FormatFisyeyeSupportFile(info), ReadTestData("channels/fisheye_support.json"));
    EXPECT_EQ(util.FormatProjectionSupportFile(info),
              ReadTestData("channels/projection_support.json"));
}

}  // namespace
