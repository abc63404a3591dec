// zrtool run as a separate process on temporary files: what it prints and
// the exit code it gives.
#include <gtest/gtest.h>

#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "support/TestEnv.h"

namespace {

using ToolResult = zrtest::ProgramResult;
using zrtest::contains;

ToolResult zrtool(const std::vector<std::string>& args)
{
  return zrtest::runProgram(ZRTOOL, args);
}

std::string tempFile(const std::string& name, const std::string& content)
{
  static int files = 0;
  const std::string path = zrtest::makeTempDir("file" + std::to_string(++files)) + name;
  zrtest::writeFile(path, content);
  return path;
}

std::string randomBytes(size_t n, unsigned seed)
{
  std::mt19937 gen(seed);
  std::string s(n, '\0');
  for (char& c : s) c = char(gen());
  return s;
}

TEST(ZrtoolHelp, ListsEveryCommandAndExplainsEach)
{
  const ToolResult help = zrtool({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* name : {"cookie", "stamp", "config", "compress", "uncompress", "dump"}) {
    EXPECT_TRUE(contains(help.out, name)) << name;
    const ToolResult one = zrtool({name, "--help"});
    EXPECT_EQ(one.exitCode, 0) << name;
    EXPECT_TRUE(contains(one.out, std::string("usage: zrtool ") + name)) << one.out;
  }
}

TEST(ZrtoolHelp, BadCommandLinesExitTwoWithAMessage)
{
  const std::string in = tempFile("in", "data");
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"frobnicate"},
      {"cookie"},
      {"stamp"},
      {"config"},
      {"config", in, in},
      {"compress", in},
      {"compress", in, in + ".z", "-level"},
      {"compress", in, in + ".z", "-level", "10"},
      {"compress", in, in + ".z", "-level", "3x"},
      {"uncompress", in},
      {"dump"},
      {"dump", in, in},
  };
  for (const auto& args : cases) {
    const ToolResult run = zrtool(args);
    EXPECT_EQ(run.exitCode, 2) << (args.empty() ? "(none)" : args[0]) << " " << args.size();
    EXPECT_FALSE(run.err.empty());
  }
  EXPECT_TRUE(contains(zrtool({"frobnicate"}).err, "unknown command 'frobnicate'"));
}

TEST(ZrtoolCookie, DecodesBothForms)
{
  const ToolResult run =
      zrtool({"cookie", "V00X0001", "S0510001", "E03-7D26D411-99DB-4938-A59E-8FEC159D9819"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // Machine code "0X" is 33, which names machine 16.
  EXPECT_TRUE(contains(run.out, "V00X0001\n  type:        V\n  version:     0 (short)\n  sub-type:    0\n"
                                "  serial:      1\n  machine:     16\n"))
      << run.out;
  // An S cookie keeps its sub-type in both text forms.
  EXPECT_TRUE(contains(run.out, "  sub-type:    5\n")) << run.out;
  EXPECT_TRUE(contains(run.out, "  text:        S0510001\n"));
  // The long form drops its sub-type unless asked for it.
  EXPECT_TRUE(contains(run.out, "  uuid:        7D26D411-99DB-4938-A59E-8FEC159D9819\n")) << run.out;
  EXPECT_TRUE(contains(run.out, "  text:        E00-7D26D411-99DB-4938-A59E-8FEC159D9819\n"));
  EXPECT_TRUE(contains(run.out, "  with sub:    E03-7D26D411-99DB-4938-A59E-8FEC159D9819\n"));
}

TEST(ZrtoolCookie, InvalidTextsSaySoAndExitOne)
{
  for (const char* text :
       {"V00X00012", "", "Q00X0001", "V?0X0001", "E03-7D26D411-99DB-4938-A59E-8FEC159D981Z"}) {
    const ToolResult run = zrtool({"cookie", "V00X0001", text});
    EXPECT_EQ(run.exitCode, 1) << text;
    EXPECT_TRUE(contains(run.out, "not a valid cookie")) << text << "\n" << run.out;
  }
}

TEST(ZrtoolCookie, TextsTheReaderAcceptsButTheCheckRejectsExitOne)
{
  // The reader takes any letter it knows and any sub-type character; the
  // text check takes only the name letters and alphanumeric digits.
  for (const char* text : {"B0010001", "V0?X0001"}) {
    const ToolResult run = zrtool({"cookie", text});
    EXPECT_EQ(run.exitCode, 1) << text;
    EXPECT_TRUE(contains(run.out, "  valid:       yes\n  well-formed: no")) << run.out;
  }
}

TEST(ZrtoolStamp, DecodesFieldsAndDate)
{
  // Time 0x34 is 52 seconds after the stamp epoch (803733504).
  const ToolResult run = zrtool({"stamp", "00000012000000345", "000000120000003404000007"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_TRUE(contains(run.out, "  machine:     18 (0x00000012)\n")) << run.out;
  EXPECT_TRUE(contains(run.out, "  time:        52 (0x00000034), 1995-06-21 11:19:16 UTC\n")) << run.out;
  EXPECT_TRUE(contains(run.out, "  ticks:       5 (0x5)\n"));
  EXPECT_TRUE(contains(run.out, "  text:        00000012000000345\n"));
  // Bits 26 and up of the tick word hold the magic type.
  EXPECT_TRUE(contains(run.out, "  magic type:  1 (any stamp)\n")) << run.out;
  // The tick word is written back in as many digits as it needs.
  EXPECT_TRUE(contains(run.out, "  text:        00000012000000344000007\n")) << run.out;
}

TEST(ZrtoolStamp, NullAndMalformedTextsExitOne)
{
  for (const char* text : {"", "0000001200000000", "zz", "0000001200000034x"}) {
    const ToolResult run = zrtool({"stamp", text});
    EXPECT_EQ(run.exitCode, 1) << text;
    EXPECT_TRUE(contains(run.out, "valid:       no") || contains(run.out, "well-formed: no")) << run.out;
  }
}

TEST(ZrtoolConfig, PrintsEntriesAsTheLibraryReadsThem)
{
  const std::string file = tempFile("config.dat", "{\n"
                                                  "  width:int   12  \n"
                                                  "# a comment\n"
                                                  "path C:\\tmp\\x\n"
                                                  "\n"
                                                  "flag\n"
                                                  "Width 99\n"
                                                  "}\n"
                                                  "after 1\n");
  const ToolResult run = zrtool({"config", file});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // Case-insensitive order; a later value of the same name replaces the first;
  // nothing after the end line is read.
  EXPECT_EQ(run.out, "flag =\npath = C:\\tmp\\x\nwidth:int = 99\n");
}

TEST(ZrtoolConfig, SaysWhenTheEndLineIsMissing)
{
  const ToolResult cut = zrtool({"config", tempFile("cut.dat", "{\na 1\nb:bool true\n")});
  EXPECT_EQ(cut.exitCode, 0);
  EXPECT_EQ(cut.out,
            "a = 1\nb:bool = true\n# no end line: the file ended first, or a line was too long to read\n");
  const ToolResult empty = zrtool({"config", tempFile("empty.dat", "")});
  EXPECT_EQ(empty.exitCode, 0);
  EXPECT_TRUE(contains(empty.out, "# no end line")) << empty.out;
  const ToolResult noise = zrtool({"config", tempFile("noise.dat", randomBytes(5000, 7))});
  EXPECT_EQ(noise.exitCode, 0) << noise.err;
}

TEST(ZrtoolFiles, UnreadableFilesExitOneNamingTheFile)
{
  const std::string missing = zrtest::makeTempDir("missing") + "nothing.dat";
  const std::string folder = zrtest::makeTempDir("folder");
  for (const std::string command : {"config", "compress", "uncompress", "dump"}) {
    for (const std::string& path : {missing, folder}) {
      std::vector<std::string> args{command, path};
      if (command == "compress" || command == "uncompress") args.push_back(path + ".out");
      const ToolResult run = zrtool(args);
      EXPECT_EQ(run.exitCode, 1) << command << " " << path;
      EXPECT_TRUE(contains(run.err, "zrtool: cannot read " + path + ": ")) << run.err;
    }
  }
}

TEST(ZrtoolCompress, RoundTripGivesTheInputBack)
{
  const std::vector<std::string> inputs = {"x", std::string(100000, 'a'), randomBytes(70000, 1),
                                           "{\nwidth:int 12\n}\n"};
  for (const char* level : {"-1", "0", "9"}) {
    for (const std::string& data : inputs) {
      const std::string in = tempFile("in", data);
      const ToolResult packed = zrtool({"compress", in, in + ".z", "-level", level});
      ASSERT_EQ(packed.exitCode, 0) << packed.err;
      const std::string block = zrtest::readFile(in + ".z");
      ASSERT_GE(block.size(), 5u);
      // The header is the input's length, big-endian.
      const auto b = [&](int i) { return size_t(static_cast<unsigned char>(block[i])); };
      EXPECT_EQ(b(0) << 24 | b(1) << 16 | b(2) << 8 | b(3), data.size());
      const ToolResult unpacked = zrtool({"uncompress", in + ".z", in + ".back"});
      ASSERT_EQ(unpacked.exitCode, 0) << unpacked.err;
      EXPECT_EQ(zrtest::readFile(in + ".back"), data) << "level " << level << ", " << data.size() << " bytes";
    }
  }
}

TEST(ZrtoolCompress, EmptyInputHasNoBlock)
{
  const std::string in = tempFile("empty", "");
  const ToolResult run = zrtool({"compress", in, in + ".z"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(contains(run.err, "is empty")) << run.err;
}

TEST(ZrtoolUncompress, BadBlocksExitOneWithAMessageAndNoOutput)
{
  const std::string good = tempFile("good", randomBytes(20000, 3));
  ASSERT_EQ(zrtool({"compress", good, good + ".z"}).exitCode, 0);
  const std::string block = zrtest::readFile(good + ".z");
  const std::string hugeHeader = std::string("\xFF\xFF\xFF\xFF", 4) + block.substr(4);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"empty", ""},
      {"four bytes", block.substr(0, 4)},
      {"random", randomBytes(3000, 5)},
      {"truncated", block.substr(0, block.size() / 2)},
      {"corrupt", block.substr(0, 40) + std::string(200, '\x55') + block.substr(240)},
      {"huge claimed length", hugeHeader},
  };
  for (const auto& [what, bytes] : cases) {
    const std::string in = tempFile("bad", bytes);
    const ToolResult run = zrtool({"uncompress", in, in + ".out"});
    EXPECT_EQ(run.exitCode, 1) << what;
    EXPECT_TRUE(contains(run.err, "is not a compressed block")) << what << ": " << run.err;
    EXPECT_FALSE(::access((in + ".out").c_str(), F_OK) == 0) << what;
  }
}

TEST(ZrtoolUncompress, AWrongHeaderIsReportedButTheDataKept)
{
  const std::string data(5000, 'q');
  const std::string in = tempFile("in", data);
  ASSERT_EQ(zrtool({"compress", in, in + ".z"}).exitCode, 0);
  std::string block = zrtest::readFile(in + ".z");
  block[2] = 0;
  block[3] = 10;
  const std::string lying = tempFile("lying.z", block);
  const ToolResult run = zrtool({"uncompress", lying, lying + ".out"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_TRUE(contains(run.out, "the header claims 10 bytes; the stream gave 5000")) << run.out;
  EXPECT_EQ(zrtest::readFile(lying + ".out"), data);
}

// A file of n streamed objects as a user makes one: by a run of zrhost.
std::string objectsByZrhost(int n)
{
  const std::string project = zrtest::makeTempDir("project" + std::to_string(n));
  const ToolResult run = zrtest::runProgram(
      ZRHOST, {"-project", project, "-quiet", "-seconds", "0", "-objects", std::to_string(n)});
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  return zrtest::readFile(project + "user/korvane/Projects/zrhost-objects.dat");
}

std::string withWord(std::string bytes, size_t at, unsigned int word)
{
  for (int i = 0; i < 4; ++i) bytes[at + i] = char(word >> (8 * i));
  return bytes;
}

TEST(ZrtoolDump, ListsEveryObjectWithItsLayersWithoutItsClasses)
{
  const std::string bytes = objectsByZrhost(6);
  ASSERT_FALSE(bytes.empty());
  const ToolResult run = zrtool({"dump", tempFile("objects.dat", bytes)});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // The three classes in turn; the middle one writes its layer as version 1.1.
  EXPECT_TRUE(contains(run.out, "offset 0: Cl, 55 bytes\n"
                                "  $        v2.0   layer 3        hierarchy 43\n"
                                "  Cl       v1.0   layer 27       hierarchy 27\n"
                                "offset 55: Cl.Vi, 87 bytes\n"
                                "  $        v2.0   layer 6        hierarchy 75\n"
                                "  Cl       v1.0   layer 27       hierarchy 56\n"
                                "  Vi       v1.1   layer 16       hierarchy 16\n"
                                "offset 142: Cl.Vi.Gr, 108 bytes\n"))
      << run.out;
  EXPECT_TRUE(contains(run.out, "\n6 objects in " + std::to_string(bytes.size()) + " bytes\n")) << run.out;
}

TEST(ZrtoolDump, DamagedFilesSayWhereAndWhyAndNeverCrash)
{
  const std::string good = objectsByZrhost(6);
  ASSERT_GT(good.size(), 250u);
  const std::string end = std::to_string(good.size());
  struct Case
  {
    const char* what;
    std::string bytes;
    int exitCode;
    std::vector<std::string> said;
  };
  const std::vector<Case> cases = {
      {"zero-length", "", 0, {"0 bytes, no objects"}},
      {"cut short",
       good.substr(0, 200),
       1,
       {"2 objects in 200 bytes",
        "stopped at offset 142: the object claims 108 bytes, but the file ends 58 bytes on"}},
      {"cut inside a header",
       good.substr(0, 60),
       1,
       {"1 object in 60 bytes", "stopped at offset 55: ", "end-of-file"}},
      {"random bytes", randomBytes(3000, 11), 1, {"0 objects in 3000 bytes", "stopped at offset 0: "}},
      {"a name that never ends", std::string(5000, 'A'), 1, {"0 objects", "stopped at offset 0: "}},
      {"a chunk size past the end",
       withWord(good, 8, 0x7FFFFFF0),
       1,
       {"0 objects", "stopped at offset 0: the object claims 2147483644 bytes, but the file ends " + end}},
      {"own size above the hierarchy's",
       withWord(good, 4, 1000),
       1,
       {"stopped at offset 0: the base layer's own size 1000 is larger than its hierarchy size 43"}},
      {"garbage after the objects", good + "junk", 1, {"6 objects", "stopped at offset " + end + ": "}},
      // The object's own bounds still hold: it is stepped over, the rest listed.
      {"a layer past its object",
       withWord(good, 24, 1000),
       1,
       {"  offset 15: layer \"Cl\" claims 1000 bytes, past the end of the layer around it at offset 55; "
        "stepped over",
        "offset 55: Cl.Vi", "6 objects in " + end + " bytes, 1 of them damaged"}},
      {"layers that are not the named hierarchy",
       good.substr(0, 12) + "Xy" + good.substr(14),
       1,
       {"offset 0: Xy, 55 bytes", "its layers are \"Cl\", not the hierarchy its base layer names",
        "6 objects in " + end + " bytes, 1 of them damaged"}},
  };
  for (const Case& c : cases) {
    const std::string file = tempFile("damaged.dat", c.bytes);
    const ToolResult run = zrtool({"dump", file});
    EXPECT_EQ(run.exitCode, c.exitCode) << c.what << "\n" << run.out << run.err;
    for (const std::string& part : c.said)
      EXPECT_TRUE(contains(run.out, part)) << c.what << ": " << part << "\n" << run.out;
    if (c.exitCode == 1) {
      const bool stopped = contains(run.out, "stopped at offset ");
      EXPECT_TRUE(
          contains(run.err, "zrtool: " + file +
                                (stopped ? " stops making sense at offset " : " has 1 damaged object")))
          << c.what << ": " << run.err;
    }
  }
}

} // namespace
