// MapItem, one key bound to one key map: the key code, whether the user may
// remove it, and the gesture behind it when the code is a complex event.
//
// Only the blank item is made here: it is what a command without a key of
// its own carries. The constructors from a key code or a gesture, which own
// a slot in the complex-event table, come with the key maps.
#pragma once

#include <cstdint>

#include "keys/ComplexKeyboardEvent.h"

class MapItem
{
public:
  // No key: code 0, read-only, not valid.
  MapItem() = default;

  int32_t mappedKeyCode() const noexcept { return mappedKeyCode_; }
  // The user may not remove the key.
  bool readOnly() const noexcept { return readOnly_; }
  // A real item, not the blank one.
  bool valid() const noexcept { return valid_; }
  // The gesture, zero unless usingCke().
  const ComplexKeyboardEvent& cke() const noexcept { return cke_; }
  // The item holds a registered slot of the complex-event table.
  bool usingCke() const noexcept { return usingCke_; }

  // Equal when every field is.
  friend bool operator==(const MapItem&, const MapItem&) = default;

private:
  int32_t mappedKeyCode_ = 0;
  bool readOnly_ = true;
  bool valid_ = false;
  ComplexKeyboardEvent cke_;
  bool usingCke_ = false;
};
