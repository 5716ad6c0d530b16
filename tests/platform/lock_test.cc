#include <future>
#include <numeric>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

// The result of a call made by another thread.
int InThread(int (*call)()) { return std::async(std::launch::async, call).get(); }

TEST(FileLock, ExcludesThreadsForAsLongAsAskedFor) {
  ASSERT_EQ(TAVLIBFileLock(0x105, 5), 0);
  EXPECT_EQ(TAVLIBFileLock(0x100, 0), -1);
  EXPECT_EQ(InThread([] { return TAVLIBFileUnlock(0x100); }), -1);
  EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x205, 0); }), 0);
  {
    const VirtualClock clock;
    EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x105, 5); }), -1);
    const std::vector<double> pauses = clock.pauses();
    EXPECT_NEAR(std::accumulate(pauses.begin(), pauses.end(), 0.0), 5.0, 0.1);
  }
  EXPECT_EQ(InThread([] { return TAVLIBErrGet(); }), 0);  // each thread has its own record
  EXPECT_EQ(TAVLIBFileUnlock(0x100), 0);
  EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x105, 0) + TAVLIBFileUnlock(0x100); }), 0);
  EXPECT_EQ(TAVLIBFileUnlock(0x100), -1);

  symlink("/var/lib/made", "/tmp/.tavlib.lock.300");
  EXPECT_EQ(TAVLIBFileLock(0x305, 0), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0900) << "a planted link was followed";
}

}  // namespace
