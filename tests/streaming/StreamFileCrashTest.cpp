// A save through StreamFile happens whole or not at all: a process killed at
// any moment of a save leaves the file holding one whole version.
#include "StreamTestSupport.h"
#include "support/SaveTrials.h"

namespace {

using namespace streamtest;

TEST(StreamFileCrash, KilledAtAnyMomentLeavesOneWholeVersion)
{
  const std::string path = zrtest::makeTempDir("sfcrash") + "project.ed5";
  const zrtest::SaveTrialResult result = zrtest::killWhileSaving(path, zrtest::pattern(48 << 10, 1),
                                                                 zrtest::pattern(160 << 10, 2), saveThroughStreamFile,
                                                                 300, 4242);
  EXPECT_EQ(result.failure, "");
  // Kills landed while each version was the current one, so both were checked.
  EXPECT_GT(result.small, 0);
  EXPECT_GT(result.large, 0);
}

} // namespace
