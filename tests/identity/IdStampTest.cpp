#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

#include "core/Config.h"
#include "core/config_outb.h"
#include "core/configb.h"
#include "identity/IdStamp.h"
#include "libzr/Strings.h"
#include "logging/DebugConsole.h"
#include "settings/RegistryConfig.h"
#include "streaming/PStream.h"
#include "support/TestEnv.h"

namespace {

std::string text(const IdStamp& stamp)
{
  return stamp.asString().c_str();
}

std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// Two stamps made back to back within one second; retried across a second's
// boundary.
std::pair<IdStamp, IdStamp> twoInOneSecond()
{
  for (;;) {
    IdStamp a, b;
    if (a.timeBits() == b.timeBits()) return {a, b};
  }
}

TEST(IdStampMaking, StampsOfOneSecondCountUpByOne)
{
  const auto [a, b] = twoInOneSecond();
  EXPECT_TRUE(a.valid());
  EXPECT_EQ(b.tickWord(), a.tickWord() + 1);
  EXPECT_EQ(a.machineNum(), b.machineNum());
  EXPECT_NEAR(double(a.timeBits()), double(IdStamp::now()), 2.0);
  EXPECT_NE(a.machineNum(), 0u) << "the test machine has a number";
}

TEST(IdStampMaking, AFullCounterStartsAgainAtZero)
{
  for (;;) {
    const std::uint32_t now = IdStamp::now();
    IdStamp::setCounterState(now, 0x3FFFFFFF);
    IdStamp next;
    if (next.timeBits() != now) continue; // a second passed in between
    EXPECT_EQ(next.tickWord(), 0u);
    IdStamp::setCounterState(now, 0xC0000005);
    IdStamp kept;
    if (kept.timeBits() != now) continue;
    EXPECT_EQ(kept.tickWord(), 0xC0000006u) << "the top bits stay over the count";
    IdStamp::setCounterState(now, 0x03FFFFFF);
    IdStamp carried;
    if (carried.timeBits() != now) continue;
    EXPECT_EQ(carried.tickWord(), 0x04000000u) << "a count may carry into bit 26";
    return;
  }
}

TEST(IdStampMaking, ANewSecondStartsAtZero)
{
  IdStamp::setCounterState(IdStamp::now() - 5, 77);
  IdStamp stamp;
  EXPECT_EQ(stamp.tickWord(), 0u);
}

TEST(IdStampText, FixedWidthMachineAndTimeThenTheTickWord)
{
  EXPECT_EQ(text(IdStamp(0x12, 0x34, 5)), "00000012000000345");
  EXPECT_EQ(text(IdStamp(0xFFFFFFFF, 0xABCDEF01, 0xFFFFFFFF)), "FFFFFFFFABCDEF01FFFFFFFF");
  EXPECT_EQ(text(IdStamp(7, 0, 9)), "") << "time 0 is the null stamp";

  const IdStamp empty("");
  EXPECT_FALSE(empty.valid());
  EXPECT_EQ(text(empty), "");
  EXPECT_EQ(IdStamp(static_cast<const char*>(nullptr)), IdStamp(0, 0, 0));
}

TEST(IdStampText, RoundTripsOfAnyValidStamp)
{
  for (const IdStamp& stamp : {IdStamp(0x12, 0x34, 5), IdStamp(0xFFFFFFFF, 1, 0),
                               IdStamp(0, 0xFFFFFFFF, 0x7FFFFFFF), IdStamp(1, 2, 0xFC000000), IdStamp()}) {
    const IdStamp back(stamp.asString().c_str());
    EXPECT_EQ(back, stamp) << text(stamp);
    EXPECT_EQ(back.tickWord(), stamp.tickWord());
  }
}

TEST(IdStampText, GarbageReadsAsStrtolDoes)
{
  // Each field stops at its first non-digit.
  EXPECT_EQ(IdStamp("0000001Zxyz"), IdStamp(1, 0, 0));
  EXPECT_EQ(IdStamp("12"), IdStamp(0x12, 0, 0));
  EXPECT_EQ(IdStamp("zzzzzzzz00000010"), IdStamp(0, 0x10, 0));
  // Blanks, signs and "0x" are strtol's own.
  EXPECT_EQ(IdStamp("  -1    0x00001F"), IdStamp(0xFFFFFFFF, 0x1F, 0));
  EXPECT_EQ(IdStamp("0000000100000002 -2"), IdStamp(1, 2, 0xFFFFFFFE));
  // A tick field of more digits than fit saturates as strtol does, then
  // keeps its low 32 bits.
  EXPECT_EQ(IdStamp("0000000100000002123456789ABCDEF0123").tickWord(), 0xFFFFFFFFu);
  EXPECT_EQ(IdStamp("00000001000000020000000000000003").tickWord(), 3u);
}

TEST(IdStampCompare, MachineThenTimeThenTickWord)
{
  EXPECT_EQ(IdStamp(1, 2, 3).compare(IdStamp(1, 2, 3)), 0);
  EXPECT_GT(IdStamp(2, 0, 0).compare(IdStamp(1, 9, 9)), 0);
  EXPECT_LT(IdStamp(1, 1, 9).compare(IdStamp(1, 2, 0)), 0);
  EXPECT_EQ(IdStamp(1, 2, 3).compare(IdStamp(1, 2, 10)), -7);
  EXPECT_NE(IdStamp(1, 2, 3 | (1u << 26)), IdStamp(1, 2, 3)) << "the whole tick word counts";
  EXPECT_TRUE(IdStamp(0, 0, 0xFFFFFFFF) < IdStamp(1, 0, 0)) << "the order does not wrap";

  IdStamp stamp(1, 2, 3);
  stamp.invalidate();
  EXPECT_EQ(stamp, IdStamp(0, 0, 0));
}

TEST(IdStampMagicType, TypeSharesBits26To29WithTheCount)
{
  IdStamp stamp(1, 2, 0);
  stamp.setMagicType(IdStampMagic::eAnyStamp);
  EXPECT_EQ(stamp.tickWord(), 0x4000000u);
  EXPECT_TRUE(stamp.isMagic());
  EXPECT_EQ(stamp.tickCount(), 0x4000000u);
  EXPECT_EQ(stamp.getMagicType(), IdStampMagic::eAnyStamp);

  IdStamp counted(1, 2, 0x3FFFFFF);
  EXPECT_FALSE(counted.isMagic());
  counted.setMagicType(IdStampMagic::eNoStamp);
  EXPECT_EQ(counted.tickWord(), 0xBFFFFFFu) << "the type ORs over what bits 26 to 29 held";
  EXPECT_EQ(counted.getMagicType(), IdStampMagic::MagicType(2));

  IdStamp high(1, 2, 0xC0000001);
  high.setMagicType(IdStampMagic::eNotMagic);
  EXPECT_EQ(high.tickWord(), 1u) << "bits 30 and 31 go";
  EXPECT_FALSE(high.isMagic());
}

// Stamp streams over a temporary file.
struct StampFile
{
  StampFile() : path(zrtest::makeTempDir("stampstream") + "s.bin") {}
  LightweightString<wchar_t> name() const { return fromUTF8(path.c_str(), unsigned(path.size())); }
  std::string path;
};

TEST(IdStampStream, PackWritesTheTextAndAZero)
{
  StampFile f;
  StreamFile out;
  ASSERT_TRUE(out.create(f.name(), iFile::eCreateAlways));
  PStream s(&out);
  IdStamp(0x12, 0x34, 5).pack(s);
  IdStamp(0, 0, 0).pack(s);
  ASSERT_TRUE(out.flush());
  EXPECT_EQ(zrtest::readFile(f.path), std::string("00000012000000345\0\0", 19));

  StreamFile in;
  ASSERT_TRUE(in.create(f.name(), iFile::eOpenExisting));
  PStream r(&in);
  IdStamp a(9, 9, 9), b(9, 9, 9);
  a.unpack(r, 2);
  b.unpack(r, 2);
  EXPECT_FALSE(r.hasError());
  EXPECT_EQ(a, IdStamp(0x12, 0x34, 5));
  EXPECT_EQ(b, IdStamp(0, 0, 0));
}

TEST(IdStampStream, VersionSSkipsTheOldHeader)
{
  StampFile f;
  zrtest::writeFile(f.path, std::string(38, 'h') + std::string("0000000A0000000B7\0", 18));
  StreamFile in;
  ASSERT_TRUE(in.create(f.name(), iFile::eOpenExisting));
  PStream r(&in);
  IdStamp stamp;
  stamp.unpack(r, 'S');
  EXPECT_FALSE(r.hasError()) << r.errorText();
  EXPECT_EQ(stamp, IdStamp(0xA, 0xB, 7));
  EXPECT_TRUE(r.eof());
}

TEST(IdStampStream, TruncatedStreamGivesTheNullStampAndTheError)
{
  StampFile f;
  zrtest::writeFile(f.path, std::string(20, 'h'));
  StreamFile in;
  ASSERT_TRUE(in.create(f.name(), iFile::eOpenExisting));
  PStream r(&in);
  IdStamp stamp(1, 2, 3);
  stamp.unpack(r, 'S');
  EXPECT_TRUE(r.hasError());
  EXPECT_FALSE(stamp.valid());
}

TEST(IdStampStream, Rev1StampWithABigTickWordIsReportedAndKept)
{
  herc_init();
  showDebugWindow(true);
  StampFile f;
  zrtest::writeFile(f.path,
                    std::string("000000010000000204000000") + '\0' + "00000001000000023FFFFFF" + '\0');
  StreamFile in;
  ASSERT_TRUE(in.create(f.name(), iFile::eOpenExisting));
  PStream r(&in);
  IdStamp big, edge;
  const std::string out = captureStdout([&] {
    big.unpack(r, 1);
    edge.unpack(r, 1);
  });
  EXPECT_EQ(out, "WARNING: Encountered Rev.1 IdStamp with out-of-range tickBits value.\n");
  EXPECT_EQ(big.tickWord(), 0x4000000u);
  EXPECT_EQ(edge.tickWord(), 0x3FFFFFFu);
  Zr::Ptr<iStatusWindow> window = herc_window();
  ASSERT_TRUE(window);
  const LightweightString<wchar_t> line = window->getLine(window->height() - 3);
  std::string row;
  for (unsigned i = 0; i < line.size(); ++i) row.push_back(char(line.c_str()[i]));
  EXPECT_EQ(row.substr(0, row.find_last_not_of(' ') + 1),
            "WARNING: Encountered Rev.1 IdStamp with out-of-range tickBits value.");
  herc_shutdown();

  // Version 2 stamps may use the whole word.
  StreamFile again;
  ASSERT_TRUE(again.create(f.name(), iFile::eOpenExisting));
  PStream r2(&again);
  EXPECT_EQ(captureStdout([&] { big.unpack(r2, 2); }), "");
}

// The settings forms.

TEST(IdStampSettings, ConfigbStoresTheTextWithItsType)
{
  configb block;
  block.set("stamp", IdStamp(0x12, 0x34, 5));
  ConfigEntryT entry;
  ASSERT_EQ(block.in("stamp", entry), 0);
  EXPECT_EQ(entry.type_, "IdStamp");
  EXPECT_EQ(entry.value_, "00000012000000345");
  IdStamp read;
  ASSERT_EQ(block.in("STAMP", read), 0);
  EXPECT_EQ(read, IdStamp(0x12, 0x34, 5));

  IdStamp untouched(1, 2, 3);
  EXPECT_EQ(block.in("absent", untouched), -1);
  EXPECT_EQ(untouched, IdStamp(1, 2, 3));
  EXPECT_EQ(block.in(nullptr, untouched), -1);
  block.set("bad", "nonsense");
  ASSERT_EQ(block.in("bad", untouched), 0);
  EXPECT_FALSE(untouched.valid()) << "bad text gives what the text reader makes of it";
}

TEST(IdStampSettings, ConfigOutbWritesTheTextLine)
{
  const std::string path = zrtest::makeTempDir("stampout") + "out.txt";
  {
    std::ofstream file(path);
    config_outb block(&file, "blk");
    block.out("id", IdStamp(0xA, 0xB, 0xC));
  }
  EXPECT_EQ(zrtest::readFile(path), "{ blk\n  id 0000000A0000000BC\n} blk\n");
}

TEST(IdStampSettings, RegistryAndConfigReadsTakeTheTextForm)
{
  RegistryConfig& config = GlobalConfig();
  const IdStamp stored(0x55, 0x66, 0x77);
  ASSERT_TRUE(config.setValue(LightweightString<char>("stampTest"), stored, LightweightString<char>("Sect")));
  EXPECT_EQ(config.getValue(LightweightString<char>("stampTest"), IdStamp(), LightweightString<char>("Sect")),
            stored);
  const IdStamp dflt(1, 2, 3);
  EXPECT_EQ(config.getValue(LightweightString<char>("noStamp"), dflt, LightweightString<char>("Sect")), dflt);

  EXPECT_EQ(config_IdStamp("topStamp", dflt), dflt);
  ASSERT_TRUE(config.setValue(LightweightString<char>("topStamp"), stored, LightweightString<char>()));
  EXPECT_EQ(config_IdStamp("topStamp", dflt), stored);
}

} // namespace
