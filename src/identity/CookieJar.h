// CookieJar: fresh cookies for this machine, numbered across runs.
//
// Short cookies take their serials from a counter kept in "cookie.num" in
// the default local projects folder; the machine part comes from
// Cookie::getLocalMachineNumber. A serial used twice on one machine names
// two things alike, so every failure here is logged loudly, and the program
// goes on. The jar has no lock: cookies are made on the main thread, and a
// caller elsewhere brings its own lock.
#pragma once

#include <cstdint>

#include "identity/Cookie.h"
#include "libOS/LightweightString.h"

class CookieJar
{
public:
  // The one jar, made at first use. Making it reads "cookie.num" (with a
  // warning block if that fails), logs "previous run exited incorrectly\n"
  // when the user setting "Normal Exit" of "Configuration" is false, and then
  // sets it false: the host sets it true on a clean exit.
  static CookieJar& instance();

  // The next serial, counted on. The last serial, 1679615, is still given,
  // and the counter starts again at 0 with a line in the log.
  std::uint32_t cookieNum();

  // A fresh cookie: type I gives the invalid cookie; a non-zero version a
  // long cookie with a new UUID; version 0 a short cookie of this machine.
  // A type or sub-type that no short cookie can have gives the invalid
  // cookie rather than spending serials.
  Cookie makeCookie(CookieType type, Cookie::eVersion version, int subType);

  Cookie::eVersion getDefaultCookieVersion() const { return defaultVersion_; }
  void setDefaultCookieVersion(Cookie::eVersion version) { defaultVersion_ = version; }

  // Writes the counter to "cookie.num" if it moved since the last write.
  void flush();

  // Reads a counter of 1 to 1679615 from the file; false, with the counter
  // unchanged, for anything else.
  bool readCookieNum(const LightweightString<wchar_t>& path);
  // Writes the counter through a ".TMP" file renamed over the old one, so a
  // crash never leaves a torn counter; logs the warning block on failure.
  bool writeCookieNum(const LightweightString<wchar_t>& path);
  // The default local projects folder, then "cookie.num"; fixed at first use.
  static const LightweightString<wchar_t>& getCookieDotNumPath();

  // For tests and repair tools: sets the next serial.
  void setNextSerial(std::uint32_t next) { next_ = next; }

  ~CookieJar();

private:
  CookieJar();
  void init();

  Cookie::eVersion defaultVersion_ = Cookie::eShort;
  std::uint32_t next_ = 0;
  std::uint32_t lastSaved_ = 0;
};

// A cookie of the jar's default version.
Cookie newCookie(CookieType type, int subType = Cookie::kDefaultSubType);

// This machine's number: the setting "machine.num", the registry value
// "machine.num" of "HKEY_LOCAL_MACHINE\SOFTWARE\Korvane\Configuration", or
// the file "machine.num" ("c:\machine.num", the current folder, or the
// machine folder, where a new random number is made on first use). A
// setting or registry value is trusted as it stands; a file's number must
// pass isValidMachineNum, else the warning box is logged and 0 given.
int our_machine_number_get_from_file();
