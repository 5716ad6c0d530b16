#include <dlfcn.h>
#include <tavohacore/dl.h>

#include <climits>
#include <cstdlib>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kPath[] = "/lib/libtavoha.so";

class Bridge : public Test {
 protected:
  Bridge() {
    std::filesystem::copy_file(FULL_LIBRARY, kPath);
    SetRunning(true);
  }

  static void ExpectCount(int count) {
    EXPECT_EQ(gHADLHandleRef, count);
    EXPECT_EQ(gHADLHandle != nullptr, count > 0);
    void* const loaded = dlopen(kPath, RTLD_LAZY | RTLD_NOLOAD);
    EXPECT_EQ(loaded != nullptr, count > 0) << "in the process";
    if (loaded != nullptr) dlclose(loaded);
  }

  static std::string Unresolved(const std::string& symbol) {
    return "ERROR ha_dl_get_fp: Failed to TAVOHADlGetFP: " + symbol + ".\n";
  }

  LogCapture log_;
};

TEST_F(Bridge, CountsReferencesAndUnloadsWithTheLast) {
  setenv("PATH", "/bin", 1);
  EXPECT_EQ(TAVOHADlKeepHandle(), 0);
  SetRunning(false);
  EXPECT_EQ(TAVOHADlKeepHandle(), 0) << "once loaded, it stays usable";
  char bytes[10];
  EXPECT_EQ(TAVOHAIsHybridDL(bytes + 7, bytes), 7);
  int status = 0;
  TAVOHAGetOverviewStatusDL(&status, 100);
  EXPECT_EQ(status, 100);
  EXPECT_EQ(TAVOHAUpgradeHandleDL(INT_MIN), INT_MIN);
  EXPECT_EQ(TAVOHAUpgradeHandleDL(0), -1) << "it threw";
  void* function = nullptr;
  EXPECT_EQ(TAVOHADlGetFP("TAVOHAUpgradeHandle", &function), 0);
  EXPECT_EQ(reinterpret_cast<int (*)(int)>(function)(5), 5);
  ExpectCount(3);
  TAVOHADlClose();
  TAVOHADlKeepHandleRelease();
  ExpectCount(1);
  TAVOHADlClose();
  ExpectCount(0);
  TAVOHADlClose();
  ExpectCount(0);
  EXPECT_STREQ(getenv("PATH"),
               "/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin:/bin:/usr/local/bin");
  EXPECT_STREQ(getenv("OCF_ROOT"), "/usr/tavo/tavoha/lib/ocf/");
  EXPECT_EQ(log_.Take(), "");
}

TEST_F(Bridge, SaysWhyItCannotReachTheLibrary) {
  void* function = &log_;
  EXPECT_EQ(TAVOHADlGetFP("TAVOHAIsHybrid", nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  EXPECT_STREQ(TAVLIBErrorGetFile(), "ha_dl_get_fp");
  EXPECT_EQ(TAVOHADlGetFP(nullptr, &function), -1);
  EXPECT_EQ(log_.Take(), Unresolved("TAVOHAIsHybrid") + "; " + Unresolved("(null)"));
  ExpectCount(0);

  std::filesystem::remove(kPath);
  std::filesystem::copy_file(OLD_FULL_LIBRARY, kPath);
  EXPECT_EQ(TAVOHADlKeepHandle(), 0);
  EXPECT_EQ(TAVOHAUpgradeHandleDL(5), -1);
  EXPECT_EQ(log_.Take(), Unresolved("TAVOHAUpgradeHandle"));
  ExpectCount(1);
  TAVOHADlClose();

  const std::string failed = "ERROR ha_dl_init: Failed to dlopen.\n; ";
  for (const std::string content : {"no library", ""}) {
    unlink(kPath);
    if (!content.empty()) WriteFile(kPath, content);
    EXPECT_EQ(TAVOHADlInit(), -1);
    EXPECT_EQ(TAVOHAIsHybridDL(nullptr, nullptr), -1);
    EXPECT_EQ(log_.Take(), failed + failed + Unresolved("TAVOHAIsHybrid"));
    ExpectCount(0);
  }

  SetRunning(false);
  function = &log_;
  EXPECT_EQ(TAVOHADlInit(), -2);
  EXPECT_EQ(TAVOHADlGetFP("TAVOHAIsHybrid", &function), -2);
  EXPECT_EQ(function, &log_);
  EXPECT_EQ(TAVOHAIsHybridDL(nullptr, nullptr), -1);
  ExpectCount(0);
  EXPECT_EQ(log_.Take(), "");
}

TEST_F(Bridge, RepairsACountThatDoesNotFitTheHandle) {
  const struct {
    int count;
    std::string logged;
  } cases[] = {{-7, "ERROR ha_dl_close: gHADLHandleRef < 0."},
               {0, "ERROR ha_dl_close: gHADLHandleRef == 0 but gHADLHandle exists."}};
  for (const auto& [count, logged] : cases) {
    EXPECT_EQ(TAVOHADlInit(), 0);
    gHADLHandleRef = count;
    TAVOHADlClose();
    ExpectCount(0);
    EXPECT_EQ(log_.Take(), logged);
  }
  gHADLHandleRef = -1;
  EXPECT_EQ(TAVOHADlInit(), 0);
  ExpectCount(1);
  EXPECT_EQ(log_.Take(), "ERROR ha_dl_init: gHADLHandleRef < 0.");
  TAVOHADlClose();
}

}  // namespace
