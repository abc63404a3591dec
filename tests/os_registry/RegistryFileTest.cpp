// The registry file format, as pure functions over bytes.
#include "libOS/posix/RegistryFile.h"

#include <gtest/gtest.h>

namespace {

using posix::RegistryFile::Contents;

Contents parsed(const std::string& text, unsigned* bad = nullptr)
{
  Contents c;
  unsigned badLines = 0;
  posix::RegistryFile::parse(text.data(), text.size(), c, badLines);
  if (bad) *bad = badLines;
  return c;
}

std::string valueOf(const Contents& c, const std::string& section, const std::string& name)
{
  const std::string* v = c.find(section, name);
  return v ? *v : "(absent)";
}

const std::string kAwkward[] = {
    "",
    "plain",
    " leading space",
    "trailing space ",
    "  ",
    "a=b=c",
    "[bracketed]",
    "[",
    ";not a comment",
    "#not a comment",
    "100%",
    "%41 is not A",
    "line\nbreak",
    "carriage\rreturn",
    "\ttab\t",
    "back\\slash\\",
    "C:\\ZRPROJ\\",
    "h\xC3\xA9llo \xE2\x82\xAC \xF0\x9F\x8E\xAC", // héllo € and an emoji
    "\xFF\xFE invalid",
    "\xC3",         // a cut sequence
    "\xED\xA0\x80", // an encoded surrogate
    "\xC0\xAF",     // an overlong slash
    std::string("nul\0inside", 10),
    "\x7F",
};

TEST(RegistryFile, AnyNameValueAndSectionRoundTrips)
{
  Contents original;
  for (const std::string& section : kAwkward)
    for (const std::string& name : kAwkward) original.set(section, name, name + "|" + section);
  const std::string text = posix::RegistryFile::write(original);
  unsigned bad = 99;
  const Contents back = parsed(text, &bad);
  EXPECT_EQ(bad, 0u);
  EXPECT_TRUE(back == original) << text;
}

TEST(RegistryFile, OrdinarySettingsStayReadable)
{
  Contents c;
  c.set("", "machine.num", "42");
  c.set("Configuration\\MappingManager2", "ctrl+z", "undo = last");
  c.set("SOFTWARE\\Korvane\\Configuration", "sysdat_path", "C:\\ZRPROJ");
  c.set("", "caf\xC3\xA9", "cr\xC3\xA8me");
  const std::string text = posix::RegistryFile::write(c);
  EXPECT_EQ(text.substr(0, 1), ";");
  EXPECT_NE(text.find("\nmachine.num=42\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n[Configuration\\MappingManager2]\nctrl+z=undo = last\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nsysdat_path=C:\\ZRPROJ\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\ncaf\xC3\xA9=cr\xC3\xA8me\n"), std::string::npos) << text;
}

TEST(RegistryFile, HandEditsAreRead)
{
  unsigned bad = 99;
  const Contents c = parsed("\xEF\xBB\xBF; made by hand\r\n"
                            "# another comment\n"
                            "\n"
                            "  spaced name  =  spaced value  \r\n"
                            "[ Section\\Name ]\n"
                            "key=first\n"
                            "key=second\n"
                            "[]\n"
                            "back=at top\n"
                            "[Section\\Name]\n"
                            "more=values\n"
                            "last=no newline",
                            &bad);
  EXPECT_EQ(bad, 0u);
  EXPECT_EQ(valueOf(c, "", "spaced name"), "spaced value");
  EXPECT_EQ(valueOf(c, "Section\\Name", "key"), "second");
  EXPECT_EQ(valueOf(c, "", "back"), "at top");
  EXPECT_EQ(valueOf(c, "Section\\Name", "more"), "values");
  EXPECT_EQ(valueOf(c, "Section\\Name", "last"), "no newline");
  EXPECT_EQ(c.sections().size(), 2u);
  EXPECT_EQ(c.valueCount(), 5u);
}

TEST(RegistryFile, UnreadableLinesAreCountedAndSkipped)
{
  unsigned bad = 0;
  const Contents c = parsed("good=1\n"
                            "no equals sign\n"
                            "bad=%zz\n"
                            "cut=%4\n"
                            "junk=\x01\x02\x03\n"
                            "[unclosed\n"
                            "lost=under a broken header\n"
                            "[Fine]\n"
                            "kept=2\n"
                            "%=1\n"
                            "tail=%",
                            &bad);
  EXPECT_EQ(bad, 8u);
  EXPECT_EQ(valueOf(c, "", "good"), "1");
  EXPECT_EQ(valueOf(c, "Fine", "kept"), "2");
  EXPECT_EQ(c.valueCount(), 2u);
}

TEST(RegistryFile, BinaryJunkKeepsWhatCanBeRead)
{
  std::string junk = "ok=yes\n";
  for (int i = 0; i < 256; ++i) junk += char(i * 37);
  junk += "\nalso=fine\n";
  unsigned bad = 0;
  const Contents c = parsed(junk, &bad);
  EXPECT_GT(bad, 0u);
  EXPECT_EQ(valueOf(c, "", "ok"), "yes");
  EXPECT_EQ(valueOf(c, "", "also"), "fine");
}

TEST(RegistryFile, RemoveKeepsTheOthersFindableAndDropsAnEmptiedSection)
{
  Contents c;
  for (int i = 0; i < 10; ++i) c.set("S", "k" + std::to_string(i), std::to_string(i));
  c.set("T", "b", "2");
  EXPECT_TRUE(c.remove("S", "k3"));
  EXPECT_FALSE(c.remove("S", "k3"));
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(valueOf(c, "S", "k" + std::to_string(i)), i == 3 ? "(absent)" : std::to_string(i));
  EXPECT_TRUE(c.set("S", "k9", "nine"));
  EXPECT_EQ(c.section("S")->values.back().value, "nine");

  for (int i = 0; i < 10; ++i) c.remove("S", "k" + std::to_string(i));
  EXPECT_EQ(c.section("S"), nullptr);
  ASSERT_EQ(c.sections().size(), 2u); // the top level and T
  EXPECT_EQ(valueOf(c, "T", "b"), "2");
  c.set("S", "a", "again"); // comes back at the end
  EXPECT_EQ(c.sections().back().name, "S");
}

} // namespace
