// zrtool run as a separate process on temporary files: what it prints and
// the exit code it gives.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "support/TestEnv.h"

namespace {

struct ToolResult
{
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs zrtool with args; stdout and stderr go through files so that neither
// pipe can fill and stall the child.
ToolResult zrtool(const std::vector<std::string>& args)
{
  static int runs = 0;
  const std::string dir = zrtest::makeTempDir("run" + std::to_string(++runs));
  const std::string outPath = dir + "out", errPath = dir + "err";
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(out, 1);
    ::dup2(err, 2);
    std::vector<char*> argv{const_cast<char*>(ZRTOOL)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    ::execv(ZRTOOL, argv.data());
    ::_exit(127);
  }
  ToolResult run;
  int status = 0;
  if (pid > 0 && ::waitpid(pid, &status, 0) == pid)
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.out = zrtest::readFile(outPath);
  run.err = zrtest::readFile(errPath);
  return run;
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

bool contains(const std::string& text, const std::string& part)
{
  return text.find(part) != std::string::npos;
}

TEST(ZrtoolHelp, ListsEveryCommandAndExplainsEach)
{
  const ToolResult help = zrtool({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* name : {"cookie", "stamp", "config", "compress", "uncompress"}) {
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
  for (const std::string command : {"config", "compress", "uncompress"}) {
    for (const std::string& path : {missing, folder}) {
      std::vector<std::string> args{command, path};
      if (command != "config") args.push_back(path + ".out");
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

} // namespace
