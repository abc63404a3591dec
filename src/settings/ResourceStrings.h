// Resource strings: every user-visible text of the editor by number.
//
// The table is read from "strings.txt" in the language file folder at first
// use, and rewording files ("Rewording.txt" in the user's and then the
// shared preferences folder) may replace any text by its name. An unknown
// number gives "NOT FOUND!", so that a missing text shows on screen; a
// missing "strings.txt" is fatal.
//
// The table is built by the first caller, under the guard of its first
// construction, and read without a lock from then on. Reloading and adding
// rewordings are for start-up and changes of language, when no other thread
// reads.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "Zr/Vector.h"
#include "core/LightweightString.h"
#include "libOS/iSettings.h"

// The number of a text. kNoResource stands for no text at all.
using ResId = int32_t;
constexpr ResId kNoResource = 999999;

// An error code; its value is the number of its message.
class ZrResult
{
public:
  constexpr ZrResult() noexcept = default;
  constexpr explicit ZrResult(int32_t value) noexcept : value_(value) {}

  constexpr int32_t value() const noexcept { return value_; }
  constexpr operator ResId() const noexcept { return value_; }

  friend constexpr bool operator==(ZrResult, ZrResult) = default;

private:
  int32_t value_ = 0;
};

// The form of a text. Values above 6 act as 0.
using ResStrFmt = int;
enum eResStrFmt : int
{
  eResStrAsStored = 0,
  eResStrLower = 1,
  eResStrUpper = 2,
  eResStrSentence = 3,   // all lower, then the first character upper
  eResStrFirstUpper = 4, // the first character upper, the rest as stored
  eResStrTitle = 5,      // all lower, then the first and each one behind a blank upper
  eResStrWordsUpper = 6, // the first and each one behind a blank upper, the rest as stored
};

namespace Zr {
namespace Language {

// One text of the table: its name in the file ("IDS_YES") and the text.
struct ResourceStringItem
{
  LightweightString<char> name_;
  LightweightString<wchar_t> value_;
};

using StringTable = std::map<ResId, ResourceStringItem>;

// The table, loaded on the first call and whenever it is empty. A missing or
// empty "strings.txt" shows "Unable to find 'strings.txt'" in a message box
// and ends the program through qor_splat.
StringTable& getStringTable();
// Empties the table and loads it again, rewordings included.
void reloadStringTable();
// Applies a rewording file (UTF-8 "NAME=TEXT" lines) to the table: a known
// name gets the new text, an unknown one is dropped. A missing file changes
// nothing.
void addRewordings(const LightweightString<wchar_t>& file);
// The preferences folder of that type, then "Rewording.txt".
LightweightString<wchar_t> getRewordingFilename(iSettings::eType type);
// The configuration key "force_non_ascii" as read while the library loaded.
bool forceNonAscii();

} // namespace Language
} // namespace Zr

// The text of a number: empty for kNoResource (without loading the table),
// "NOT FOUND!" for a number the table does not have.
LightweightString<wchar_t> resourceStrW(ResId id);
LightweightString<wchar_t> resourceStrW(ResId id, ResStrFmt format);
// The same in UTF-8.
LightweightString<char> resourceStr(ResId id, ResStrFmt format = eResStrAsStored);
// An error code's message.
LightweightString<wchar_t> resourceStrW(ZrResult result);
LightweightString<wchar_t> resourceStrW(ZrResult result, ResStrFmt format);
LightweightString<char> resourceStr(ZrResult result, ResStrFmt format = eResStrAsStored);

// before, the text, after; a null or empty piece is left out.
LightweightString<wchar_t> paddedResourceStrW(ResId id, const wchar_t* before, const wchar_t* after,
                                              ResStrFmt format = eResStrAsStored);
// The same in UTF-8, as stored; before and after are taken as they are.
LightweightString<char> paddedResourceStr(ResId id, const char* before, const char* after);
// The text followed by "..".
LightweightString<wchar_t> ellipsisResourceStrW(ResId id, ResStrFmt format = eResStrAsStored);

// The text in the given form. Case changes go through towlower/towupper and
// tolower/toupper, so they follow the process's LC_CTYPE locale (in the "C"
// locale only ASCII letters change). A blank is the space.
LightweightString<char> formatString(LightweightString<char> text, ResStrFmt format);
LightweightString<wchar_t> formatString(const LightweightString<wchar_t>& text, ResStrFmt format);

// The texts of 10000 and 10001 in UTF-8, looked up once; the pointers stay
// valid until exit.
std::pair<const char*, const char*> yesNoLabels();
// The numbers (not the texts) of the day names, "10110" to "10116" from
// Sunday, and of the month names, "10117" to "10128": callers look them up.
const Vector<LightweightString<char>>& getDays();
const Vector<LightweightString<char>>& getMonths();

// The text with every "$PRODUCTNAME$" replaced by the product's name (13572).
LightweightString<wchar_t> makeProductSpecific(const LightweightString<wchar_t>& text);
LightweightString<wchar_t> makeProductSpecific(ResId id);
