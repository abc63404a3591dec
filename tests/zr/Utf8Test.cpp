#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "libOS/Utf8.h"

namespace {

using ::testing::ElementsAreArray;

std::vector<wchar_t> decodeBytes(const std::string& bytes)
{
  std::vector<wchar_t> out(bytes.size() + 1, L'#');
  out.resize(OSUtf8::decode(bytes.data(), bytes.size(), out.data()));
  return out;
}

std::string encodeChars(const std::vector<wchar_t>& chars)
{
  std::string out(4 * chars.size() + 1, '#');
  out.resize(OSUtf8::encode(chars.data(), chars.size(), out.data()));
  return out;
}

// Every scalar value from 1 up, surrogates left out.
std::vector<wchar_t> allScalarValues()
{
  std::vector<wchar_t> all;
  for (wchar_t c = 1; c <= 0x10FFFF; ++c)
    if (c < 0xD800 || c > 0xDFFF) all.push_back(c);
  return all;
}

// Two pages, the second unreadable: a text placed to end at `end` is followed
// by memory whose reading faults.
class GuardedPage
{
public:
  GuardedPage()
  {
    pageSize_ = size_t(sysconf(_SC_PAGESIZE));
    base_ = static_cast<char*>(
        mmap(nullptr, 2 * pageSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_ + pageSize_, pageSize_, PROT_NONE);
  }
  ~GuardedPage() { munmap(base_, 2 * pageSize_); }

  // Copies n items so that they end exactly at the guard; returns their start.
  template <class T> const T* placeAtEnd(const T* items, size_t n)
  {
    char* start = base_ + pageSize_ - n * sizeof(T);
    std::memcpy(start, items, n * sizeof(T));
    return reinterpret_cast<const T*>(start);
  }

private:
  size_t pageSize_;
  char* base_;
};

TEST(Utf8, EveryScalarValueSurvivesEncodeAndDecode)
{
  const std::vector<wchar_t> all = allScalarValues();
  const std::string bytes = encodeChars(all);
  EXPECT_EQ(OSUtf8::encodedLength(all.data(), all.size()), bytes.size());
  // 127 one-byte, 1920 two-byte, 61440 three-byte and 1048576 four-byte values.
  EXPECT_EQ(bytes.size(), 127u + 2u * 1920u + 3u * 61440u + 4u * 1048576u);
  EXPECT_EQ(decodeBytes(bytes), all);
}

TEST(Utf8, EncodesTheBoundariesOfEachLength)
{
  EXPECT_EQ(encodeChars({0x7F}), "\x7F");
  EXPECT_EQ(encodeChars({0x80}), "\xC2\x80");
  EXPECT_EQ(encodeChars({0x7FF}), "\xDF\xBF");
  EXPECT_EQ(encodeChars({0x800}), "\xE0\xA0\x80");
  EXPECT_EQ(encodeChars({0xD7FF}), "\xED\x9F\xBF");
  EXPECT_EQ(encodeChars({0xE000}), "\xEE\x80\x80");
  EXPECT_EQ(encodeChars({0xFFFF}), "\xEF\xBF\xBF");
  EXPECT_EQ(encodeChars({0x10000}), "\xF0\x90\x80\x80");
  EXPECT_EQ(encodeChars({0x10FFFF}), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8, EncodesWhatIsNoScalarValueAsReplacement)
{
  const std::vector<wchar_t> bad = {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x110000, 0x7FFFFFFF, -1, -0x80};
  for (wchar_t c : bad) {
    SCOPED_TRACE(testing::Message() << "char " << static_cast<long>(c));
    EXPECT_EQ(encodeChars({L'a', c, L'b'}), "a\xEF\xBF\xBD"
                                            "b");
    EXPECT_EQ(OSUtf8::encodedLength(&c, 1), 3u);
  }
  // The same in a run long enough for the block-wise length count.
  std::vector<wchar_t> run;
  for (int i = 0; i < 5; ++i) run.insert(run.end(), bad.begin(), bad.end());
  EXPECT_EQ(OSUtf8::encodedLength(run.data(), run.size()), 3 * run.size());
  EXPECT_EQ(encodeChars(run).size(), 3 * run.size());
}

struct InvalidCase
{
  const char* name;
  std::string bytes;
  std::vector<wchar_t> expected;
};

constexpr wchar_t R = 0xFFFD;

TEST(Utf8, ReplacesEachMaximalInvalidSubsequence)
{
  const std::vector<InvalidCase> cases = {
      {"stray continuation", "\x80", {R}},
      {"two stray continuations", "\xBF\x80", {R, R}},
      {"overlong slash, two bytes", "\xC0\xAF", {R, R}},
      {"overlong by C1", "\xC1\xBF", {R, R}},
      {"overlong slash, three bytes", "\xE0\x80\xAF", {R, R, R}},
      {"overlong, four bytes", "\xF0\x80\x80\xAF", {R, R, R, R}},
      {"overlong just below U+0800", "\xE0\x9F\xBF", {R, R, R}},
      {"overlong just below U+10000", "\xF0\x8F\xBF\xBF", {R, R, R, R}},
      {"high surrogate", "\xED\xA0\x80", {R, R, R}},
      {"low surrogate", "\xED\xBF\xBF", {R, R, R}},
      {"above U+10FFFF", "\xF4\x90\x80\x80", {R, R, R, R}},
      {"F5 lead", "\xF5\x80\x80\x80", {R, R, R, R}},
      {"FE and FF", "\xFE\xFF", {R, R}},
      {"two-byte cut by ASCII", "\xC3\x41", {R, L'A'}},
      {"three-byte cut after two", "\xE2\x82\x41", {R, L'A'}},
      {"four-byte cut after three", "\xF0\x9F\x98\x41", {R, L'A'}},
      {"three-byte with bad second", "\xE2\x28\xA1", {R, L'(', R}},
      {"lead after lead", "\xE2\xE2\x82\xAC", {R, 0x20AC}},
      // The example of the Unicode standard's section on U+FFFD substitution.
      {"standard example",
       "\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
       {0x61, R, R, R, 0x62, R, 0x63, R, R, 0x64}},
  };
  for (const InvalidCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(decodeBytes(c.bytes), ElementsAreArray(c.expected));
  }
}

TEST(Utf8, NeverReadsPastTheEndOfTheInputAndACutSequenceThereGivesOneReplacement)
{
  GuardedPage page;
  // Cut sequences, and ASCII runs of every length around the 8- and 16-byte
  // steps of the fast path, each ending at an unreadable page.
  for (const std::string tail : {"\xC3", "\xE2\x82", "\xE2", "\xF0\x9F\x98", "\xF0\x9F", "\xF4"}) {
    SCOPED_TRACE(testing::Message() << tail.size() << " byte tail");
    const std::string bytes = "ok" + tail;
    std::vector<wchar_t> out(bytes.size());
    out.resize(OSUtf8::decode(page.placeAtEnd(bytes.data(), bytes.size()), bytes.size(), out.data()));
    EXPECT_THAT(out, ElementsAreArray({L'o', L'k', R}));
  }
  for (size_t len = 1; len <= 40; ++len) {
    const std::string ascii(len, 'q');
    std::vector<wchar_t> out(len);
    EXPECT_EQ(OSUtf8::decode(page.placeAtEnd(ascii.data(), len), len, out.data()), len);
    EXPECT_EQ(out, std::vector<wchar_t>(len, L'q'));
  }
  for (size_t len = 1; len <= 20; ++len) {
    const std::vector<wchar_t> wide(len, L'q');
    std::string out(len, '\0');
    EXPECT_EQ(OSUtf8::encode(page.placeAtEnd(wide.data(), len), len, out.data()), len);
    EXPECT_EQ(OSUtf8::encodedLength(page.placeAtEnd(wide.data(), len), len), len);
    EXPECT_EQ(out, std::string(len, 'q'));
  }
}

TEST(Utf8, DecodesAndEncodesNonAsciiAtEveryPositionOfAnAsciiRun)
{
  // A two-byte and a four-byte character (or a replacement) at each place in
  // runs that cover the fast path's 8- and 16-byte blocks and their remainders.
  for (size_t len = 0; len <= 40; ++len) {
    for (size_t pos = 0; pos <= len; ++pos) {
      SCOPED_TRACE(testing::Message() << "length " << len << ", position " << pos);
      std::string bytes(len, 'a'), encoded(len, 'a');
      bytes.insert(pos, "\xC3\xA9\xF0\x9F\x98\x80");
      encoded.insert(pos, "\xC3\xA9\xEF\xBF\xBD");
      std::vector<wchar_t> chars(len, L'a'), bad(len, L'a');
      chars.insert(chars.begin() + long(pos), {0xE9, 0x1F600});
      bad.insert(bad.begin() + long(pos), {0xE9, -5});
      ASSERT_EQ(decodeBytes(bytes), chars);
      ASSERT_EQ(encodeChars(bad), encoded);
    }
  }
}

TEST(Utf8, StringFormsKeepEmbeddedZerosAndTightCapacity)
{
  const std::string bytes("a\0b", 3);
  const LightweightString<wchar_t> wide = OSUtf8::toWide(bytes.data(), bytes.size());
  ASSERT_EQ(wide.size(), 3u);
  EXPECT_EQ(wide[1], L'\0');
  EXPECT_EQ(OSUtf8::toNarrow(wide.c_str(), wide.size()).size(), 3u);

  // 40 three-byte characters decode to 40 characters: the block is the one
  // a string of 40 gets, not the one for 120.
  std::string cjk;
  for (int i = 0; i < 40; ++i) cjk += "\xE6\x97\xA5";
  const LightweightString<wchar_t> days = OSUtf8::toWide(cjk.data(), cjk.size());
  EXPECT_EQ(days.size(), 40u);
  EXPECT_EQ(days.capacity(), 64u);
  EXPECT_EQ(days[39], wchar_t(0x65E5));

  EXPECT_TRUE(OSUtf8::toWide(nullptr, 5).empty());
  EXPECT_TRUE(OSUtf8::toNarrow(nullptr, 5).empty());
}

} // namespace
