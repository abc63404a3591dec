// zrtool cookie: what a cookie text holds, and how the library writes it back.
#include <cstdio>

#include "Tool.h"
#include "identity/Cookie.h"

namespace zrtool {

namespace {

// Decodes one text; false when it names no valid cookie, or when the text
// check rejects it even though the reader makes a cookie of it.
bool showCookie(const std::string& text)
{
  // The sub-type is read from the text as well, so that nothing in it is lost.
  const Cookie cookie(text.c_str(), true);
  const bool wellFormed = Cookie::isValid(text.c_str());
  std::printf("%s\n", text.c_str());
  if (!cookie.valid()) {
    std::printf("  not a valid cookie (%s)\n", text.size() == 8 || text.size() == 40
                                                   ? "its characters do not decode"
                                                   : "a cookie text has 8 or 40 characters");
    return false;
  }
  const bool isShort = cookie.version() == Cookie::eShort;
  std::printf("  type:        %c\n", char(cookie.type()));
  std::printf("  version:     %d (%s)\n", int(cookie.version()), isShort ? "short" : "long");
  std::printf("  sub-type:    %d\n", cookie.subType());
  if (isShort) {
    std::printf("  serial:      %u\n", cookie.serial());
    const int machine = int(cookie.machine());
    std::printf("  machine:     %d%s\n", machine,
                machine == Cookie::kReservedMachine ? " (reserved for the well-known cookies)"
                : isValidMachineNum(machine)        ? ""
                                                    : " (not a valid machine number)");
  } else {
    std::printf("  uuid:        %s\n", cookie.uuid().asString().c_str());
  }
  std::printf("  valid:       yes\n");
  std::printf("  well-formed: %s\n",
              wellFormed ? "yes" : "no (the library reads it, but does not accept it as a name)");
  std::printf("  text:        %s\n", cookie.asString(false).c_str());
  std::printf("  with sub:    %s\n", cookie.asString(true).c_str());
  return wellFormed;
}

} // namespace

int runCookie(const Args& args)
{
  if (args.empty()) return usageError("cookie", "no cookie text given");
  bool allValid = true;
  for (const std::string& text : args)
    if (!showCookie(text)) allValid = false;
  return allValid ? eOk : eBadData;
}

} // namespace zrtool
