// The fisheye and projection support files: key orders, empty catalogues, and the error a host
// gets when cJSON cannot allocate the root or the printed text.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <climits>
#include <cstdlib>
#include <functional>
#include <stdexcept>

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

    Info empty;
    EXPECT_EQ(util.FormatFisyeyeSupportFile(empty), "{\"FishEyeParameterTable\":[]}");
    EXPECT_EQ(util.FormatProjectionSupportFile(empty), "{\"ProjectionTable\":[]}");
}

// cJSON allocations fail from the given index (0-based) on while installed.
struct FailFrom {
    static inline long from = 0;
    static inline long count = 0;
    static void* Allocate(size_t size) { return count++ >= from ? nullptr : std::malloc(size); }
    static void Release(void* p) { std::free(p); }
};

class SupportFileOutOfMemory : public testing::Test {
  protected:
    // The number of cJSON allocations `run` makes when none fails.
    static long Count(const std::function<void()>& run) {
        Install(LONG_MAX);
        run();
        cJSON_InitHooks(nullptr);
        return FailFrom::count;
    }
    static void Install(long from) {
        FailFrom::from = from;
        FailFrom::count = 0;
        cJSON_Hooks hooks{&FailFrom::Allocate, &FailFrom::Release};
        cJSON_InitHooks(&hooks);
    }
    void TearDown() override { cJSON_InitHooks(nullptr); }
};

TEST_F(SupportFileOutOfMemory, NoRootOrNoPrintedTextThrowsTheNullTextError) {
    CFederateUtil util;
    Info info = Catalogues();
    const std::function<std::string()> files[] = {
        [&] { return util.FormatFisyeyeSupportFile(info); },
        [&] { return util.FormatProjectionSupportFile(info); },
    };
    for (const auto& file : files) {
        const long total = Count([&] { file(); });
        // The root is the first allocation and the printed text the last one.
        for (const long from : {0L, total - 1}) {
            SCOPED_TRACE(from);
            Install(from);
            try {
                file();
                ADD_FAILURE() << "no error";
            } catch (const std::logic_error& e) {
                EXPECT_STREQ(e.what(), "basic_string: construction from null is not valid");
            }
            cJSON_InitHooks(nullptr);
        }
    }
}

}  // namespace
