#include "settings/ResourceStrings.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <vector>

#include "core/Assert.h"
#include "core/Config.h"
#include "core/Crash.h"
#include "files/Paths.h"
#include "files/TextFile.h"
#include "libOS/OS.h"
#include "libzr/AttribValuePair.h"
#include "libzr/Strings.h"

namespace {

const char kMissingStrings[] = "Unable to find 'strings.txt'";

const bool forceNonAsciiFlag = config_int("force_non_ascii", 0) != 0;

bool startsWith(const LightweightString<char>& line, const char* prefix)
{
  const unsigned int n = unsigned(std::strlen(prefix));
  return line.size() >= n && std::strncmp(line.c_str(), prefix, n) == 0;
}

bool contains(const LightweightString<wchar_t>& text, const wchar_t* what)
{
  return std::wcsstr(text.c_str(), what) != nullptr;
}

// A text with a line break or a printf directive breaks the callers that
// format it; the text is kept all the same.
void checkValue(const Zr::Language::ResourceStringItem& item)
{
  Zr::softAssert(!contains(item.value_, L"\n"), "item.value_.find( L\"\\n\" ) == WString::npos",
                 "misc/resutil line 109");
  Zr::softAssert(!contains(item.value_, L"%s"), "item.value_.find( L\"%s\" ) == WString::npos",
                 "misc/resutil line 110");
  Zr::softAssert(!contains(item.value_, L"%c"), "item.value_.find( L\"%c\" ) == WString::npos",
                 "misc/resutil line 111");
  Zr::softAssert(!contains(item.value_, L"%d"), "item.value_.find( L\"%d\" ) == WString::npos",
                 "misc/resutil line 112");
}

// "next NAME NUMBER" sets the number of the next string; false if the line
// does not hold both.
bool readNextLine(const LightweightString<char>& line, int& number)
{
  // The name can be no longer than the line.
  std::vector<char> name(line.size() + 1);
  int value = 0;
  if (std::sscanf(line.c_str(), "next %s %d", name.data(), &value) != 2) return false;
  number = value;
  return true;
}

void loadStringsFromFile(const LightweightString<wchar_t>& file, Zr::Language::StringTable& table)
{
  const TextFile lines(file, true);
  for (const LightweightString<char>& line : lines) {
    if (isEssentiallyEmpty(line)) continue;
    const char first = line.c_str()[0];
    if (first != 'I' && first != 'E' && first != 'O') continue;
    const Zr::AttribValuePair<char> pair(line);
    if (!pair.valid()) continue;
    // Linear, but it runs once per line at start-up.
    for (auto& entry : table) {
      if (entry.second.name_ == pair.attrib()) {
        entry.second.value_ = fromUTF8(pair.value());
        break;
      }
    }
  }
}

void loadStringTable(Zr::Language::StringTable& table)
{
  const TextFile lines(getLanguageFileDir() + L"strings.txt", true);
  if (lines.empty()) {
    OS()->messageBox()->show(Zr::WStringFromAscii(kMissingStrings), L"Korvane");
    qor_splat(kMissingStrings);
    return;
  }
  int current = 0;
  for (const LightweightString<char>& line : lines) {
    if (line.empty() || isEssentiallyEmpty(line)) continue;
    if (startsWith(line, "next ")) {
      if (!readNextLine(line, current)) Zr::softAssert(false, "false", "misc/resutil line 98");
      continue;
    }
    if (!startsWith(line, "IDS_") && !startsWith(line, "Err_") && !startsWith(line, "OsErr_")) continue;
    const Zr::AttribValuePair<char> pair(line);
    Zr::Language::ResourceStringItem item;
    item.name_ = pair.attrib();
    item.value_ = Zr::WStringFromAscii(pair.value());
    checkValue(item);
    table[current] = item;
    ++current;
  }
  // The shared file goes last, so that it beats the user's.
  const LightweightString<wchar_t> userFile = Zr::Language::getRewordingFilename(iSettings::eUser);
  loadStringsFromFile(userFile, table);
  const LightweightString<wchar_t> sharedFile = Zr::Language::getRewordingFilename(iSettings::eShared);
  if (sharedFile != userFile) loadStringsFromFile(sharedFile, table);
}

// Made and loaded under the guard of its construction, so that two threads'
// first look-ups do not load it twice. `loadedNow` tells the caller whose
// call made it, so that a first reload does not read the files twice.
Zr::Language::StringTable& theTable(bool* loadedNow = nullptr)
{
  bool made = false;
  static Zr::Language::StringTable table = [&made] {
    Zr::Language::StringTable loaded;
    loadStringTable(loaded);
    made = true;
    return loaded;
  }();
  if (loadedNow) *loadedNow = made;
  return table;
}

bool isBlank(wchar_t c)
{
  return c == L' ';
}
bool isBlank(char c)
{
  return c == ' ';
}

// Case changes go through the C library's classification, so that they
// follow the process's locale as the rest of the editor's text handling does.
wchar_t lowerOne(wchar_t c)
{
  return wchar_t(std::towlower(wint_t(c)));
}
wchar_t upperOne(wchar_t c)
{
  return wchar_t(std::towupper(wint_t(c)));
}
char lowerOne(char c)
{
  return char(std::tolower(static_cast<unsigned char>(c)));
}
char upperOne(char c)
{
  return char(std::toupper(static_cast<unsigned char>(c)));
}

template <class T, class Change> void changeCase(LightweightString<T>& text, bool all, bool afterBlanks, Change change)
{
  if (text.empty()) return;
  T* p = text.writableBuffer();
  const unsigned int n = text.size();
  for (unsigned int i = 0; i < n; ++i) {
    if (all || i == 0 || (afterBlanks && isBlank(p[i - 1]))) p[i] = change(p[i]);
  }
}

template <class T> LightweightString<T> format(LightweightString<T> text, ResStrFmt how)
{
  const auto lower = [](T c) { return lowerOne(c); };
  const auto upper = [](T c) { return upperOne(c); };
  switch (how) {
  case eResStrLower:
    changeCase(text, true, false, lower);
    break;
  case eResStrUpper:
    changeCase(text, true, false, upper);
    break;
  case eResStrSentence:
    changeCase(text, true, false, lower);
    changeCase(text, false, false, upper);
    break;
  case eResStrFirstUpper:
    changeCase(text, false, false, upper);
    break;
  case eResStrTitle:
    changeCase(text, true, false, lower);
    changeCase(text, false, true, upper);
    break;
  case eResStrWordsUpper:
    changeCase(text, false, true, upper);
    break;
  default:
    break;
  }
  return text;
}

} // namespace

namespace Zr {
namespace Language {

StringTable& getStringTable()
{
  StringTable& table = theTable();
  if (table.empty()) loadStringTable(table);
  return table;
}

void reloadStringTable()
{
  bool loadedNow = false;
  StringTable& table = theTable(&loadedNow);
  if (loadedNow) return;
  table.clear();
  loadStringTable(table);
}

void addRewordings(const LightweightString<wchar_t>& file)
{
  loadStringsFromFile(file, getStringTable());
}

LightweightString<wchar_t> getRewordingFilename(iSettings::eType type)
{
  return getPrefsDirectory(type) + L"Rewording.txt";
}

bool forceNonAscii()
{
  return forceNonAsciiFlag;
}

} // namespace Language
} // namespace Zr

LightweightString<char> formatString(LightweightString<char> text, ResStrFmt how)
{
  return format(std::move(text), how);
}

LightweightString<wchar_t> formatString(const LightweightString<wchar_t>& text, ResStrFmt how)
{
  return format(text, how);
}

LightweightString<wchar_t> resourceStrW(ResId id)
{
  if (id == kNoResource) return {};
  const Zr::Language::StringTable& table = Zr::Language::getStringTable();
  const auto found = table.find(id);
  return found == table.end() ? LightweightString<wchar_t>(L"NOT FOUND!") : found->second.value_;
}

LightweightString<wchar_t> resourceStrW(ResId id, ResStrFmt how)
{
  return formatString(resourceStrW(id), how);
}

LightweightString<char> resourceStr(ResId id, ResStrFmt how)
{
  return toUTF8(resourceStrW(id, how));
}

LightweightString<wchar_t> resourceStrW(ZrResult result)
{
  return resourceStrW(ResId(result.value()));
}

LightweightString<wchar_t> resourceStrW(ZrResult result, ResStrFmt how)
{
  return resourceStrW(ResId(result.value()), how);
}

LightweightString<char> resourceStr(ZrResult result, ResStrFmt how)
{
  return resourceStr(ResId(result.value()), how);
}

LightweightString<wchar_t> paddedResourceStrW(ResId id, const wchar_t* before, const wchar_t* after,
                                              ResStrFmt how)
{
  LightweightString<wchar_t> text;
  if (before) text += before;
  text += resourceStrW(id, how);
  if (after) text += after;
  return text;
}

LightweightString<char> paddedResourceStr(ResId id, const char* before, const char* after)
{
  LightweightString<char> text;
  if (before) text += before;
  text += resourceStr(id, eResStrAsStored);
  if (after) text += after;
  return text;
}

LightweightString<wchar_t> ellipsisResourceStrW(ResId id, ResStrFmt how)
{
  return resourceStrW(id, how) + L"..";
}

std::pair<const char*, const char*> yesNoLabels()
{
  static const LightweightString<char> yes = resourceStr(10000);
  static const LightweightString<char> no = resourceStr(10001);
  return {yes.c_str(), no.c_str()};
}

namespace {

Vector<LightweightString<char>> numbersFrom(int first, int count)
{
  Vector<LightweightString<char>> numbers;
  for (int n = first; n < first + count; ++n) numbers.add(StringFromInteger(n));
  return numbers;
}

} // namespace

const Vector<LightweightString<char>>& getDays()
{
  static const Vector<LightweightString<char>> days = numbersFrom(10110, 7);
  return days;
}

const Vector<LightweightString<char>>& getMonths()
{
  static const Vector<LightweightString<char>> months = numbersFrom(10117, 12);
  return months;
}

LightweightString<wchar_t> makeProductSpecific(const LightweightString<wchar_t>& text)
{
  static const wchar_t kToken[] = L"$PRODUCTNAME$";
  const unsigned int tokenLength = unsigned(std::wcslen(kToken));
  const wchar_t* p = text.c_str();
  const unsigned int n = text.size();
  LightweightString<wchar_t> product;
  LightweightString<wchar_t> result;
  bool replaced = false;
  unsigned int copied = 0;
  // Scanning goes on behind each replacement, so a product name that holds
  // the token is not replaced again.
  for (unsigned int i = 0; i + tokenLength <= n;) {
    if (std::wmemcmp(p + i, kToken, tokenLength) != 0) {
      ++i;
      continue;
    }
    if (!replaced) product = resourceStrW(13572);
    replaced = true;
    result.append(p + copied, i - copied);
    result += product;
    i += tokenLength;
    copied = i;
  }
  if (!replaced) return text;
  result.append(p + copied, n - copied);
  return result;
}

LightweightString<wchar_t> makeProductSpecific(ResId id)
{
  return makeProductSpecific(resourceStrW(id));
}
