// The string table that ships with the library loads cleanly and has every
// number the library itself looks up.
#include <gtest/gtest.h>

#include "KeysTestSupport.h"

namespace {

TEST(StringTableDataTest, ShippedTableHoldsTheLibrarysNumbers)
{
  const std::string shipped = zrtest::readFile(std::string(ZR_DATA_DIR) + "strings.txt");
  ASSERT_FALSE(shipped.empty());
  EXPECT_EQ(keystest::stdoutOf([&] { keystest::useStrings(shipped); }), "");

  std::vector<ResId> wanted = {10000, 10001, 11958, 11960, 13572};
  for (ResId id = 10110; id <= 10128; ++id) wanted.push_back(id);
  const Zr::Language::StringTable& table = Zr::Language::getStringTable();
  for (ResId id : wanted) {
    const auto found = table.find(id);
    ASSERT_NE(found, table.end()) << id;
    EXPECT_FALSE(found->second.value_.empty()) << id;
  }
  EXPECT_EQ(resourceStrW(13572), L"Korvane");
  EXPECT_EQ(resourceStrW(10110), L"Sunday");
  EXPECT_EQ(resourceStrW(10128), L"December");
  EXPECT_EQ(makeProductSpecific(11958), L"Every command of Korvane that a key can run");
}

} // namespace
