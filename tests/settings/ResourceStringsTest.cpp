#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "files/Paths.h"
#include "libzr/Strings.h"
#include "settings/ResourceStrings.h"
#include "support/TestEnv.h"

namespace {

std::string narrow(const LightweightString<wchar_t>& s)
{
  return toUTF8(s).c_str();
}

std::string stringsPath()
{
  return narrow(getLanguageFileDir()) + "strings.txt";
}
std::string rewordingPath(iSettings::eType type)
{
  return narrow(Zr::Language::getRewordingFilename(type));
}

template <class Fn> std::string stdoutOf(Fn fn)
{
  testing::internal::CaptureStdout();
  fn();
  return testing::internal::GetCapturedStdout();
}

// Each test starts from a table of its own and no rewordings.
class ResourceStringsTest : public testing::Test
{
protected:
  void SetUp() override
  {
    std::remove(rewordingPath(iSettings::eUser).c_str());
    std::remove(rewordingPath(iSettings::eShared).c_str());
    load("next IDS_A 100\nIDS_A=x\nIDS_B=y\nnext IDS_PRODUCT 13572\nIDS_PRODUCT=Korvane\n");
  }

  // Writes strings.txt and reloads; gives what the load printed.
  static std::string load(const std::string& content)
  {
    zrtest::writeFile(stringsPath(), content);
    return stdoutOf([] { Zr::Language::reloadStringTable(); });
  }
};

TEST_F(ResourceStringsTest, NextLinesNumberTheStringsBehindThem)
{
  const std::string out = load("; a comment\n"
                               "next IDS_A 100\n"
                               "IDS_A=x\n"
                               "IDS_B = y \n"
                               "Comment=1\n"
                               "IDS=not a string\n"
                               "next x\n"
                               "   \t\n"
                               "Err_C=z\n"
                               "OsErr_D=w\n"
                               "next IDS_E 200\n"
                               "IDS_E=e\n"
                               "next IDS_AGAIN 101\n"
                               "IDS_AGAIN=again\n");
  EXPECT_EQ(out, "assertion failed false at misc/resutil line 98\n");
  const Zr::Language::StringTable& table = Zr::Language::getStringTable();
  EXPECT_EQ(table.size(), 5u);
  EXPECT_EQ(resourceStrW(100), L"x");
  EXPECT_EQ(table.at(100).name_, "IDS_A");
  EXPECT_EQ(resourceStrW(101), L"again");
  EXPECT_EQ(table.at(101).name_, "IDS_AGAIN");
  EXPECT_EQ(resourceStrW(102), L"z");
  EXPECT_EQ(resourceStrW(103), L"w");
  EXPECT_EQ(resourceStrW(200), L"e");
}

TEST_F(ResourceStringsTest, FormatDirectivesAreReportedAndTheTextKept)
{
  struct Case
  {
    const char* line;
    const char* assertion;
  };
  const Case cases[] = {
      {"IDS_S=a %s here",
       "assertion failed item.value_.find( L\"%s\" ) == WString::npos at misc/resutil line 110\n"},
      {"IDS_C=a %c here",
       "assertion failed item.value_.find( L\"%c\" ) == WString::npos at misc/resutil line 111\n"},
      {"IDS_D=a %d here",
       "assertion failed item.value_.find( L\"%d\" ) == WString::npos at misc/resutil line 112\n"},
      {"IDS_OK=100% sure", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(load(std::string("next IDS_X 7\n") + c.line + "\n"), c.assertion) << c.line;
    EXPECT_EQ(std::string(resourceStr(7).c_str()),
              std::string(c.line).substr(std::string(c.line).find('=') + 1))
        << c.line;
  }
}

TEST_F(ResourceStringsTest, RewordingsReplaceKnownNamesAndTheSharedFileWins)
{
  zrtest::writeFile(rewordingPath(iSettings::eUser), "IDS_A=user\nIDS_B=caf\xC3\xA9\nIDS_NEW=z\nxIDS_A=no\n");
  zrtest::writeFile(rewordingPath(iSettings::eShared), "IDS_A=shared\n");
  load("next IDS_A 100\nIDS_A=x\nIDS_B=y\n");
  EXPECT_EQ(resourceStrW(100), L"shared");
  EXPECT_EQ(resourceStrW(101), L"café");
  EXPECT_EQ(Zr::Language::getStringTable().size(), 2u);

  const std::string extra = zrtest::makeTempDir("reword") + "extra.txt";
  zrtest::writeFile(extra, "IDS_B=later\nIDS_A\n");
  Zr::Language::addRewordings(fromUTF8(LightweightString<char>(extra.c_str())));
  EXPECT_EQ(resourceStrW(101), L"later");
  EXPECT_EQ(resourceStrW(100), L"shared");
  Zr::Language::addRewordings(L"/no/such/Rewording.txt");
  EXPECT_EQ(resourceStrW(101), L"later");
}

TEST_F(ResourceStringsTest, UnknownNumbersShowNotFound)
{
  EXPECT_EQ(resourceStrW(12345), L"NOT FOUND!");
  EXPECT_EQ(resourceStr(-1), "NOT FOUND!");
  EXPECT_EQ(resourceStr(ZrResult(12345), eResStrLower), "not found!");
  EXPECT_EQ(resourceStrW(ZrResult(100)), L"x");
  EXPECT_EQ(resourceStrW(kNoResource), L"");
}

TEST(ResourceStringsNoTableTest, NoResourceNeedsNoTable)
{
  // In a fresh process with no strings.txt, a look-up that loaded the table
  // would end the process.
  const auto check = [] {
    std::remove(stringsPath().c_str());
    const bool empty = resourceStr(kNoResource, 0).empty() && resourceStrW(kNoResource).empty() &&
                       paddedResourceStrW(kNoResource, L"[", L"]").size() == 2;
    std::exit(empty ? 0 : 1);
  };
  EXPECT_EXIT(check(), testing::ExitedWithCode(0), "");
}

TEST(ResourceStringsDeathTest, MissingStringsFileIsFatal)
{
  const auto reload = [] {
    std::remove(stringsPath().c_str());
    Zr::Language::reloadStringTable();
  };
  EXPECT_DEATH(reload(), "\\[Korvane\\] Unable to find 'strings.txt'");
}

TEST(FormatStringTest, FormsOfText)
{
  struct Case
  {
    int format;
    const char* narrow;
    const wchar_t* wide;
  };
  const Case cases[] = {
      {0, "hello wORLD", L"héllo wÖRLD"},  {1, "hello world", L"héllo wörld"},
      {2, "HELLO WORLD", L"HÉLLO WÖRLD"},  {3, "Hello world", L"Héllo wörld"},
      {4, "Hello wORLD", L"Héllo wÖRLD"},  {5, "Hello World", L"Héllo Wörld"},
      {6, "Hello WORLD", L"Héllo WÖRLD"},  {7, "hello wORLD", L"héllo wÖRLD"},
      {-1, "hello wORLD", L"héllo wÖRLD"},
  };
  // Wide case changes follow the process's locale, as towlower does; the
  // host of an editor in French sets one that knows "É".
  const std::string previous = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  for (const Case& c : cases) {
    EXPECT_EQ(formatString(LightweightString<char>("hello wORLD"), c.format), c.narrow) << c.format;
    EXPECT_EQ(formatString(LightweightString<wchar_t>(L"héllo wÖRLD"), c.format), c.wide) << c.format;
    EXPECT_TRUE(formatString(LightweightString<char>(), c.format).empty()) << c.format;
  }
  // Bytes of a multi-byte character pass unchanged.
  EXPECT_EQ(formatString(LightweightString<char>("\xC3\xA9t\xC3\xA9"), 2), "\xC3\xA9T\xC3\xA9");
  EXPECT_EQ(formatString(LightweightString<wchar_t>(L"élan  vital"), 5), L"Élan  Vital");
  EXPECT_EQ(formatString(LightweightString<wchar_t>(L" x"), 6), L" X");
  std::setlocale(LC_CTYPE, "C");
  EXPECT_EQ(formatString(LightweightString<wchar_t>(L"élan"), 2), L"éLAN");
  std::setlocale(LC_CTYPE, previous.c_str());
}

TEST_F(ResourceStringsTest, PaddedAndEllipsisForms)
{
  EXPECT_EQ(paddedResourceStrW(100, nullptr, L":", 0), L"x:");
  EXPECT_EQ(paddedResourceStrW(100, L"[", L"]", eResStrUpper), L"[X]");
  EXPECT_EQ(paddedResourceStrW(100, L"", nullptr, 0), L"x");
  EXPECT_EQ(paddedResourceStr(100, "<", ">"), "<x>");
  EXPECT_EQ(ellipsisResourceStrW(100, eResStrUpper), L"X..");
  EXPECT_EQ(ellipsisResourceStrW(kNoResource), L"..");
}

TEST_F(ResourceStringsTest, FileBytesAreWidenedOneByOne)
{
  load("next IDS_L 5\nIDS_L=caf\xE9\n");
  EXPECT_EQ(resourceStrW(5), L"café");
  EXPECT_EQ(resourceStr(5), "caf\xC3\xA9");
}

TEST_F(ResourceStringsTest, ProductNameReplacesEveryToken)
{
  const struct
  {
    const wchar_t* text;
    const wchar_t* made;
  } cases[] = {
      {L"$PRODUCTNAME$ and $PRODUCTNAME$!", L"Korvane and Korvane!"},
      {L"$PRODUCTNAME$$PRODUCTNAME$", L"KorvaneKorvane"},
      {L"$PRODUCTNAME", L"$PRODUCTNAME"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(makeProductSpecific(LightweightString<wchar_t>(c.text)), c.made) << c.text;

  // A product name that holds the token is not expanded again.
  load("next IDS_P 13572\nIDS_P=[$PRODUCTNAME$]\nIDS_Q=About $PRODUCTNAME$\n");
  EXPECT_EQ(makeProductSpecific(LightweightString<wchar_t>(L"a $PRODUCTNAME$ b")), L"a [$PRODUCTNAME$] b");
  EXPECT_EQ(makeProductSpecific(13573), L"About [$PRODUCTNAME$]");
}

TEST_F(ResourceStringsTest, LabelsDaysAndMonths)
{
  load("next IDS_YES 10000\nIDS_YES=Oui\nIDS_NO=Non\n");
  const auto labels = yesNoLabels();
  EXPECT_STREQ(labels.first, "Oui");
  EXPECT_STREQ(labels.second, "Non");

  const Vector<LightweightString<char>>& days = getDays();
  ASSERT_EQ(days.size(), 7u);
  EXPECT_EQ(days[0], "10110");
  EXPECT_EQ(days[6], "10116");
  const Vector<LightweightString<char>>& months = getMonths();
  ASSERT_EQ(months.size(), 12u);
  EXPECT_EQ(months[0], "10117");
  EXPECT_EQ(months[11], "10128");
}

TEST(ResourcePathsTest, RewordingFilesLieInThePreferencesFolders)
{
  std::string shared = std::getenv("ZR_SHARED_DATA_DIR");
  if (shared.back() != '/') shared += '/';
  EXPECT_EQ(narrow(getLanguageFileDir()), shared + "korvane/");
  EXPECT_EQ(rewordingPath(iSettings::eShared), shared + "korvane/Preferences/Rewording.txt");
  EXPECT_EQ(Zr::Language::getRewordingFilename(iSettings::eUser),
            getPrefsDirectory(iSettings::eUser) + L"Rewording.txt");
}

} // namespace
