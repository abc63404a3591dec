// UIString, a user-visible text given either as it is or by resource number.
#pragma once

#include "core/LightweightString.h"
#include "settings/ResourceStrings.h"

class UIString
{
public:
  // No text and no number.
  UIString() = default;
  // A text as it is.
  UIString(const LightweightString<wchar_t>& text) : text_(text) {}
  UIString(const wchar_t* text) : text_(text) {}
  // A text by number; `format` is handed to the look-up (ResStrFmt).
  explicit UIString(ResId id, ResStrFmt format = eResStrAsStored) : id_(id), format_(format) {}

  // The text given, when the number is kNoResource; otherwise the resource
  // text of the number in its form, which may load the string table.
  LightweightString<wchar_t> resolve() const;

  const LightweightString<wchar_t>& text() const noexcept { return text_; }
  ResId resourceId() const noexcept { return id_; }
  ResStrFmt resourceFormat() const noexcept { return format_; }

private:
  LightweightString<wchar_t> text_;
  ResId id_ = kNoResource;
  ResStrFmt format_ = eResStrAsStored;
};
