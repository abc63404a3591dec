#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "text/Base64.h"

namespace {

std::string encode(const std::string& bytes)
{
  return base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()).c_str();
}

std::string decode(const char* text)
{
  size_t n = 12345;
  std::unique_ptr<unsigned char[]> bytes(base64Decode(text, &n));
  return std::string(reinterpret_cast<const char*>(bytes.get()), n);
}

TEST(Base64, EncodesTheStandardVectorsWithPadding)
{
  const std::pair<const char*, const char*> cases[] = {
    {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},          {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
  };
  for (const auto& [plain, coded] : cases) {
    EXPECT_EQ(encode(plain), coded) << plain;
    EXPECT_EQ(decode(coded), plain) << coded;
  }
}

TEST(Base64, RoundTripsEveryByteValue)
{
  std::string all;
  for (int i = 0; i < 256; ++i) all.push_back(char(i));
  for (size_t n = 0; n <= all.size(); n += 37) EXPECT_EQ(decode(encode(all.substr(0, n)).c_str()), all.substr(0, n));
  EXPECT_EQ(encode(std::string("\xfb\xff", 2)), "+/8=");
}

TEST(Base64, DecodingStopsAtTheFirstCharacterOutsideTheAlphabet)
{
  EXPECT_EQ(decode("Zm9v\nYmFy"), "foo");
  EXPECT_EQ(decode("Zm9v=YmFy"), "foo");
  EXPECT_EQ(decode("!Zm9v"), "");
  EXPECT_EQ(decode(nullptr), "");
}

} // namespace
