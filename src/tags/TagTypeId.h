// TagTypeId names the type of a stored object as one string of tokens, so
// that the type of an object that is not in memory can be told without
// loading it. Each token is introduced by one separator byte: "\" for a
// backslash token, "." for a dot token. Ids of today are dotted class paths
// ("Taggable.FXGraphNodeBase.EffectInstance"); an id built by
// appendTypeToken starts with a separator. TagTypeTokenItor walks the tokens.
//
// An id whose first byte is not a separator reads differently under the
// iterator (see TagTypeTokenItor.h). Both forms are persistent and both keep
// their behaviour.
#pragma once

#include "core/LightweightString.h"

// The numbers are persistent.
enum TagTokenType
{
  eTagTokenBackslash = 0, // token introduced by "\"
  eTagTokenDot = 1,       // token introduced by "."
  eTagTokenAny = 2,       // search argument only: any kind of token matches
  eTagTokenNone = 3,      // not on a separator, or the id is empty
};

class TagTypeId
{
public:
  // The empty id; it equals "".
  TagTypeId() noexcept = default;
  // An id with the given text, taken as it is: nothing checks its tokens.
  explicit TagTypeId(const char* text) : id_(text) {}
  explicit TagTypeId(const LightweightString<char>& text) noexcept : id_(text) {}

  // Copies share the text; assigning an id to itself does nothing.
  TagTypeId(const TagTypeId&) noexcept = default;
  TagTypeId& operator=(const TagTypeId& other) noexcept;

  // The whole text.
  const LightweightString<char>& id() const noexcept { return id_; }
  bool empty() const noexcept { return id_.empty(); }

  // Appends a token with its separator: "\" for eTagTokenBackslash, "." for
  // every other kind. Gives false and leaves the id unchanged when the token
  // is empty or holds "\" or ".", or when a backslash token would follow a
  // dot token. The dot token that is last in the id does not count for that
  // rule: ".A" takes "\X", ".A.B" refuses it.
  //
  // Never returns for a non-empty token of kind eTagTokenBackslash on a
  // non-empty id that holds no separator (see findNextMatch): callers append
  // backslash tokens only to ids that are empty or start with a separator.
  bool appendTypeToken(const LightweightString<char>& token, TagTokenType kind);

  bool operator==(const TagTypeId& other) const noexcept { return id_ == other.id_; }
  bool operator!=(const TagTypeId& other) const noexcept { return !(*this == other); }
  // A null text equals the empty id.
  bool operator==(const char* text) const noexcept { return id_ == text; }
  bool operator!=(const char* text) const noexcept { return !(*this == text); }

private:
  LightweightString<char> id_;
};
