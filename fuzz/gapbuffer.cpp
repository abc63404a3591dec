// A sequence of editing operations, two bytes each (operation, argument),
// applied to a small text and a second one that shares its clipboard. After
// every step the text must still be consistent: the line counter agrees with
// the breaks before the cursor and the copy of the text has its length.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "text/text.h"

namespace {

void check(text& t)
{
  std::vector<char> copy(t.getused() + 1);
  strcpy(copy.data(), t);
  if (t.getused() > t.getmax() || t.getindex() > t.getused()) __builtin_trap();
  int line = 1;
  for (unsigned int i = 0; i < t.getindex(); ++i)
    if (copy[i] == '\n' || static_cast<unsigned char>(copy[i]) == 0xB2) ++line;
  if (line != t.getline()) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  text t(64), other(32);
  for (size_t i = 0; i + 1 < size; i += 2) {
    const uint8_t op = data[i];
    const uint8_t arg = data[i + 1];
    switch (op % 40) {
    case 0: case 1: case 2: case 3: case 4: case 5: t.insert(static_cast<char>(arg)); break;
    case 6: t.insert('\n'); break;
    case 7: t.insert(static_cast<char>(0xB2)); break;
    case 8: t.del(); break;
    case 9: t.rub(); break;
    case 10: t.del(static_cast<unsigned int>(arg % 8)); break;
    case 11: t.rub(static_cast<unsigned int>(arg % 8)); break;
    case 12: t.forpop(); break;
    case 13: t.backpop(); break;
    case 14: t.findindex(arg); break;
    case 15: t.findline(arg % 10); break;
    case 16: t.crsup(); break;
    case 17: t.crsdown(); break;
    case 18: t.wordfwd(); break;
    case 19: t.wordback(); break;
    case 20: t.linefwd(); break;
    case 21: t.lineback(); break;
    case 22: t.parafwd(); break;
    case 23: t.paraback(); break;
    case 24: t.worddel(); break;
    case 25: t.wordrub(); break;
    case 26: t.linedel(); break;
    case 27: t.linerub(); break;
    case 28: t.linekill(); break;
    case 29: t.paradel(); break;
    case 30: t.pararub(); break;
    case 31: t.exchange(); break;
    case 32: t.setblock(static_cast<int>(arg % 3) - 1); break;
    case 33: t.noteblock(); break;
    case 34: t.blockdel(arg & 1); break;
    case 35: t.paste(); other.paste(); break;
    case 36: t.setovertype(arg & 1); break;
    case 37: t.resize_buf(arg); break;
    case 38: t.getnumlines(arg & 1); break;
    default: other.insert(&t, arg % 16); t.insert(&other, arg % 4); t.flipblock(); break;
    }
    check(t);
    check(other);
  }
  return 0;
}
