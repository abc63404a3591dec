// The commands that the library registers while it loads, and co_print in
// the form of a command.
#include <gtest/gtest.h>

#include "KeysTestSupport.h"
#include "keys/CommandMap.h"
#include "threads/Coprocess.h"

namespace {

using keystest::stdoutOf;

TEST(LoadTimeCommandsTest, DebuggingCommandsAreRegisteredInternalAndUnbound)
{
  for (const char* name : {"_DumpCurrentMemoryAllocs", "_Crash"}) {
    const unsigned int index = CommandMap::instance()->findCommand(name);
    ASSERT_NE(index, CommandMap::kNoCommand) << name;
    const CommandMapRec* record = CommandMap::instance()->getCommand(index);
    ASSERT_NE(record, nullptr) << name;
    EXPECT_TRUE(record->valid()) << name;
    EXPECT_EQ(record->attribs(), 0u) << name;
    EXPECT_TRUE(record->displayName().empty()) << name;
    EXPECT_TRUE(record->displayDescription().empty()) << name;
    EXPECT_TRUE(record->defaultMapItem() == MapItem()) << name;
  }
}

TEST(LoadTimeCommandsTest, DumpCommandLogsItsTwoLines)
{
  const std::string out =
      stdoutOf([] { CommandMap::instance()->callCommand("_DumpCurrentMemoryAllocs", Cmd::Context()); });
  const size_t begin = out.find("Dumping current memory allocs to debugger. This will take a while...\n");
  const size_t done = out.find("(done)\n");
  ASSERT_NE(begin, std::string::npos) << out;
  ASSERT_NE(done, std::string::npos) << out;
  EXPECT_LT(begin, done);
}

TEST(LoadTimeCommandsDeathTest, CrashCommandEndsTheProcess)
{
  EXPECT_DEATH(CommandMap::instance()->callCommand("_Crash", Cmd::Context()), "");
}

TEST(LoadTimeCommandsTest, CoPrintRunsAsACommand)
{
  co_init();
  CommandMap map;
  const unsigned int index =
      map.registerCommand("co_print", &co_print, nullptr, 0, UIString(), UIString(), MapItem());
  const std::string out = stdoutOf([&] { map.callCommand(index, Cmd::Context()); });
  EXPECT_NE(out.find("proc(id) : priority state tid(dec/hex) name\n"), std::string::npos) << out;
  EXPECT_NE(out.find("-------------------------------------------\n"), std::string::npos) << out;
  // The main thread's row.
  EXPECT_NE(out.find("proc(00) : "), std::string::npos) << out;
  EXPECT_NE(out.find(" R "), std::string::npos) << out;
  EXPECT_NE(out.find("$ root\n"), std::string::npos) << out;
}

} // namespace
