#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "libzr/UUID.h"

namespace {

using Zr::UUID;

const uint8_t kSampleBytes[16] = {0x78, 0x56, 0x34, 0x12, 0xBC, 0x9A, 0xF0, 0xDE,
                                  0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
const char kSampleText[] = "12345678-9ABC-DEF0-0123-456789ABCDEF";

std::vector<UUID> generateMany(size_t n)
{
  std::vector<UUID> ids(n);
  for (UUID& id : ids) id = UUID::generate();
  return ids;
}

size_t distinctCount(std::vector<UUID> ids)
{
  std::sort(ids.begin(), ids.end());
  return size_t(std::unique(ids.begin(), ids.end()) - ids.begin());
}

TEST(UUIDText, PrintsGuidFieldOrderInUpperCase)
{
  const UUID id = UUID::fromBytes(kSampleBytes);
  EXPECT_EQ(id.asString(), kSampleText);
  EXPECT_EQ(id.asWString(), L"12345678-9ABC-DEF0-0123-456789ABCDEF");
  char buffer[UUID::kTextLength + 1];
  id.format(buffer);
  EXPECT_STREQ(buffer, kSampleText);

  // So a short cookie's serial and machine number in the first words read as themselves.
  UUID cookie;
  const uint32_t serial = 1234, machine = 647;
  std::memcpy(cookie.data(), &serial, 4);
  std::memcpy(cookie.data() + 4, &machine, 4);
  EXPECT_EQ(cookie.asString(), "000004D2-0287-0000-0000-000000000000");
}

TEST(UUIDText, ParsesEitherCaseBackToTheSameBytes)
{
  const UUID upper(kSampleText);
  const UUID lower("12345678-9abc-def0-0123-456789abcdef");
  EXPECT_TRUE(upper.valid());
  EXPECT_EQ(upper, UUID::fromBytes(kSampleBytes));
  EXPECT_EQ(lower, upper);
  EXPECT_EQ(UUID(L"12345678-9abc-DEF0-0123-456789ABCDEF"), upper);
  EXPECT_EQ(UUID(LightweightString<char>(kSampleText)), upper);
  EXPECT_EQ(UUID(LightweightString<wchar_t>(L"12345678-9ABC-DEF0-0123-456789ABCDEF")), upper);
  EXPECT_EQ(UUID::fromString(kSampleText), upper);
}

TEST(UUIDText, AnythingButTheExactFormIsInvalid)
{
  const char* bad[] = {
      "",
      "12345678-9ABC-DEF0-0123-456789ABCDE",   // 35 characters
      "12345678-9ABC-DEF0-0123-456789ABCDEF0", // 37
      "123456789-ABC-DEF0-0123-456789ABCDEF",  // hyphen one place late
      "1234567-89ABC-DEF0-0123-456789ABCDEF",  // one place early
      "12345678-9ABC-DEF0-0123+456789ABCDEF",  // wrong separator
      "12345678-9ABC-DEF0-0123-456789ABCDEG",  // not hex
      "12345678 9ABC DEF0 0123 456789ABCDEF",
      "{12345678-9ABC-DEF0-0123-456789ABCDEF}",
      " 12345678-9ABC-DEF0-0123-456789ABCDEF",
      "123456789ABCDEF0123456789ABCDEF0",     // no hyphens
      "00000000-0000-0000-0000-000000000000", // nil
  };
  for (const char* text : bad) {
    EXPECT_FALSE(UUID(text).valid()) << text;
    EXPECT_EQ(UUID(text), UUID()) << text;
  }
  EXPECT_FALSE(UUID(static_cast<const char*>(nullptr)).valid());
  EXPECT_FALSE(UUID(static_cast<const wchar_t*>(nullptr)).valid());
  // An embedded zero, and wide characters whose low byte is a hex digit.
  EXPECT_FALSE(UUID(LightweightString<char>("12345678-9ABC-DEF0-0123-456789ABCDE\0", 36)).valid());
  EXPECT_FALSE(UUID(L"12345678-9ABC-DEF0-0123-456789ABCDE\uFF10").valid());
  EXPECT_FALSE(UUID(L"12345678-9ABC-DEF0-0123-456789ABCDE\u0130").valid());
  EXPECT_FALSE(UUID().valid());
}

TEST(UUIDOrder, ComparesBytesInMemoryOrder)
{
  uint8_t low[16] = {}, high[16] = {};
  low[15] = 0xFF;
  high[0] = 0x01;
  EXPECT_TRUE(UUID::fromBytes(low) < UUID::fromBytes(high));
  EXPECT_FALSE(UUID::fromBytes(high) < UUID::fromBytes(low));
  EXPECT_FALSE(UUID::fromBytes(low) < UUID::fromBytes(low));
  EXPECT_NE(UUID::fromBytes(low), UUID::fromBytes(high));
}

TEST(UUIDGenerate, GivesVersionFourWithEveryRandomBitTakingBothValues)
{
  // A stuck byte, or a pool handed out before it was filled, shows up here.
  uint8_t anySet[16] = {}, allSet[16];
  std::memset(allSet, 0xFF, sizeof allSet);
  for (const UUID& id : generateMany(2000)) {
    ASSERT_TRUE(id.valid());
    const LightweightString<char> text = id.asString();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::strchr("89AB", text[19]), nullptr) << text.c_str();
    EXPECT_EQ(UUID(text), id);
    for (int i = 0; i < 16; ++i) {
      anySet[i] |= id.data()[i];
      allSet[i] &= id.data()[i];
    }
  }
  for (int i = 0; i < 16; ++i) {
    const uint8_t fixed = i == 7 ? 0xF0 : i == 8 ? 0xC0 : 0x00;
    EXPECT_EQ(anySet[i] | fixed, 0xFF) << "byte " << i;
    EXPECT_EQ(allSet[i] & uint8_t(~fixed), 0x00) << "byte " << i;
  }
}

TEST(UUIDGenerate, UniqueAcrossThreads)
{
  constexpr size_t kThreads = 4, kEach = 5000;
  std::vector<std::vector<UUID>> results(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) threads.emplace_back([&, t] { results[t] = generateMany(kEach); });
  for (std::thread& t : threads) t.join();
  std::vector<UUID> all;
  for (const auto& r : results) all.insert(all.end(), r.begin(), r.end());
  EXPECT_EQ(distinctCount(all), kThreads * kEach);
}

TEST(UUIDGenerate, ForkedChildDoesNotRepeatTheParentsBufferedValues)
{
  constexpr size_t kEach = 100, kBytes = kEach * sizeof(UUID);
  UUID::generate(); // the parent now holds a buffer of unused values
  // The child's values come back through memory that both processes share.
  void* shared = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::memcpy(shared, generateMany(kEach).data(), kBytes);
    _exit(0);
  }
  std::vector<UUID> all = generateMany(kEach);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  all.resize(2 * kEach);
  std::memcpy(all.data() + kEach, shared, kBytes);
  munmap(shared, kBytes);
  EXPECT_EQ(distinctCount(all), 2 * kEach);
}

} // namespace
