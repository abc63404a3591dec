// The older block writer, and what the reader makes of its output.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "SettingsTestSupport.h"
#include "core/config_outb.h"
#include "core/configb.h"
#include "identity/Cookie.h"
#include "support/TestEnv.h"

namespace {

using namespace settingstest;

// Restores the class-wide depth whatever the test does.
struct Depth
{
  explicit Depth(int depth) { config_outb::depth_ = depth; }
  ~Depth() { config_outb::depth_ = 0; }
};

std::string writeBlock(const std::string& path)
{
  std::ofstream out(path);
  {
    config_outb block(&out, "view");
    block.out("title", "two words");
    block.out("count", -3);
    block.out("size", 4000000000u);
    block.out("ratio", 0.125);
    block.out("on", true);
    bool off = false;
    block.out("off", off);
    block.out("clip", Cookie(CookieTypeV, 1, 5, 17));
  }
  out.close();
  return zrtest::readFile(path);
}

TEST(ConfigOutb, WritesNamedOpeningAndClosingLines)
{
  const std::string path = freshDir("outb") + "view.dat";
  const std::string expected = "{ view\n"
                               "  title two words\n"
                               "  count -3\n"
                               "  size 4000000000\n"
                               "  ratio 0.12500000\n"
                               "  on true\n"
                               "  off false\n"
                               "  clip " +
                               S(Cookie(CookieTypeV, 1, 5, 17).asString(false)) +
                               "\n"
                               "} view\n";
  EXPECT_EQ(writeBlock(path), expected);
}

TEST(ConfigOutb, ItsOutputReadsBackAsABlock)
{
  const std::string path = freshDir("outbread") + "view.dat";
  writeBlock(path);
  configb block(path.c_str());
  EXPECT_EQ(valueOf(block, "title"), "two words");
  EXPECT_EQ(valueOf(block, "ratio"), "0.12500000");
  EXPECT_EQ(valueOf(block, "off"), "false");
  EXPECT_EQ(block.entries().size(), 7u);
}

TEST(ConfigOutb, DepthIndentsEveryLine)
{
  Depth depth(2);
  EXPECT_STREQ(config_outb::get_prefix_string(), "    ");
  const std::string path = freshDir("outbdepth") + "nested.dat";
  {
    std::ofstream out(path);
    config_outb block(&out, "inner");
    block.out("k", 1);
  }
  EXPECT_EQ(zrtest::readFile(path), "    { inner\n      k 1\n    } inner\n");
  config_outb::depth_ = 15;
  EXPECT_EQ(std::string(config_outb::get_prefix_string()), std::string(30, ' '));
  // Out-of-range depths use the nearest prefix rather than reading past the table.
  config_outb::depth_ = 99;
  EXPECT_EQ(std::string(config_outb::get_prefix_string()), std::string(30, ' '));
  config_outb::depth_ = -1;
  EXPECT_STREQ(config_outb::get_prefix_string(), "");
}

} // namespace
