// Uses one thing of each library through the installed headers.
#include <cstdio>

#include "zrbase.h"

int main()
{
  const Zr::UUID id = Zr::UUID::generate();
  const LightweightString<char> text = id.asString();
  Zr::softAssert(text.size() == 36, "text.size() == 36", "consumer line 10");
  const double ms = OS()->timer()->getMilliseconds();
  std::printf("consumer: uuid %s, clock %.1f ms, %u processors\n", text.c_str(), ms,
              OS()->systemInfo()->getProcessorCount());
  return text.size() == 36 && Zr::UUID(text.c_str()).valid() ? 0 : 1;
}
