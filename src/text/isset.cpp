#include "text/isset.h"

#include "logging/DebugConsole.h"

unsigned char isset::table_[256];
int isset::count_;

isset::isset(const char* members) : mask_(0)
{
  if (count_ >= 8) {
    herc_printf("More than 8 isxxx tests in use:  rewrite\n");
    return;
  }
  mask_ = static_cast<unsigned char>(1u << count_++);
  for (const char* p = members; p != nullptr && *p != 0; ++p)
    table_[static_cast<unsigned char>(*p)] |= mask_;
}

// Made in this order, so each has the bit of its place.
const isset iswordbreak("\x0A\xB2\xFF\x0C \t-/\\");
const isset islinebreak("\x0A\xB2\xFF\x0C");
const isset isparabreak("\x0A\xFF\x0C");
const isset iswhite(" \t");
const isset issoft("\xB2");
const isset isodd("\x0A\xB0\xB1\xB2\xB3\xB4\xB5\xB6\xB7");
const isset isfindbreak(" \x0A\t\x0D\xFF,.;:/|?[]{}()!-+=*\\$%^&*#~|\"'");
