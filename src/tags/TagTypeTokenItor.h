// TagTypeTokenItor walks the tokens of a TagTypeId. It holds a pointer to the
// id (neither owning nor copying it; the id must outlive the iterator and its
// changes are seen) and a position: the byte index of the separator of the
// current token. A new iterator stands at position 0.
//
// The iterator's rules are old and persistent in their effects, odd ones
// included:
// - The text of a token begins one byte behind the position. At position 0
//   of an id that does not start with a separator the first letter is lost:
//   "Taggable.Effect" reads "aggable" there. Take the first token of such an
//   id from id(), not from operator*.
// - Moving back never reaches position 0 unless byte 0 is a separator.
// - The end is the separator of the last token, so the last token counts as
//   at end, and findNextMatch never examines it.
// - On a non-empty id with no separator, position 0 is not at end and
//   operator++ cannot leave it. A findNextMatch from there never returns
//   unless it matches at once, which it does only for eTagTokenAny or
//   eTagTokenNone with empty text. Do not search such ids any other way.
//
// - Appending to the id keeps every separator where it was, so an iterator
//   on a separator stays valid. An iterator at the end of an id with no
//   separator stands past the text; after the id grows, start a new one.
//
// Not thread-safe; an iterator and its id belong to one thread at a time.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"
#include "tags/TagTypeId.h"

class TagTypeTokenItor
{
public:
  explicit TagTypeTokenItor(const TagTypeId& id) noexcept : id_(&id) {}
  TagTypeTokenItor(const TagTypeTokenItor&) noexcept = default;
  TagTypeTokenItor& operator=(const TagTypeTokenItor&) noexcept = default;

  // Moves to the nearest separator behind the position; stays where it is
  // when there is none or the id is empty.
  TagTypeTokenItor& operator++() noexcept;
  TagTypeTokenItor operator++(int) noexcept;
  // Moves to the nearest separator before the position; stays where it is
  // when there is none or the id is empty.
  TagTypeTokenItor& operator--() noexcept;
  TagTypeTokenItor operator--(int) noexcept;

  // The current token's text without its separator; empty on an empty id.
  // Where operator++ cannot move off a position that is not at end (only
  // position 0 of an id with no separator) the token is empty.
  LightweightString<char> operator*() const;
  // Whether the current token's text equals `text` byte for byte; a null
  // text is empty.
  bool operator==(const char* text) const noexcept;
  bool operator!=(const char* text) const noexcept { return !(*this == text); }

  // The kind of separator at the position: eTagTokenNone on an empty id or
  // where the position is not on a separator.
  TagTokenType getTokenType() const noexcept;

  // Moves to the separator of the last token. On a non-empty id with no
  // separator the position becomes the length plus 1.
  void moveToEnd() noexcept;
  // Whether the position is where moveToEnd leads; always true on an empty id.
  bool isAtEnd() const noexcept;

  // If the id starts with `prefix` (compared from byte 0, not from the
  // position) and the byte `strlen(prefix)` behind the position is a
  // separator, moves there; if that byte is the end of the id, moves to end.
  // Gives false and stays otherwise. Meaningful from position 0 only.
  bool moveOver(const char* prefix) noexcept;

  // The id from its start through the current token.
  LightweightString<char> getIdToCurrentPos() const;

  // Moves to the first token from the position on, the last token excluded,
  // whose kind is `kind` (any kind for eTagTokenAny) and whose text is `text`
  // (any text when `text` is empty). Gives false and stays when there is
  // none. See the header comment for the ids on which it never returns.
  bool findNextMatch(const LightweightString<char>& text, TagTokenType kind);

  // The byte index of the current token's separator.
  uint32_t position() const noexcept { return pos_; }

private:
  const LightweightString<char>& text() const noexcept { return id_->id(); }

  const TagTypeId* id_;
  uint32_t pos_ = 0;
};
