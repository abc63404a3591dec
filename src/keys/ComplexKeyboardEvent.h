// ComplexKeyboardEvent, a key gesture that a plain key code cannot say: a key
// pressed (or tapped) while another is held.
#pragma once

#include <cstdint>

struct ComplexKeyboardEvent
{
  ComplexKeyboardEvent() = default;
  constexpr ComplexKeyboardEvent(int32_t key, int32_t holdKey, bool press) noexcept
      : key(key), holdKey(holdKey), press(press)
  {}

  // Equal when all three fields are.
  friend bool operator==(const ComplexKeyboardEvent&, const ComplexKeyboardEvent&) = default;

  int32_t key = 0;
  // The key that must be held down, 0 for none.
  int32_t holdKey = 0;
  // True for a press, false for a tap.
  bool press = false;
};
