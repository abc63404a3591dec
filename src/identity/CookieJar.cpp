#include "identity/CookieJar.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "files/Paths.h"
#include "files/TextFile.h"
#include "files/ZrkFile.h"
#include "libOS/OS.h"
#include "libOS/iFileManager.h"
#include "libOS/iServices.h"
#include "libOS/iSettings.h"
#include "libzr/Strings.h"
#include "libzr/UUID.h"
#include "logging/DebugConsole.h"
#include "settings/RegistryConfig.h"

namespace {

// Log lines hold 256 bytes; a longer warning would be dropped whole, so
// each goes out as whole lines that fit, and is seen.
void logBlock(const std::string& text)
{
  constexpr size_t kLine = 255;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = start;
    for (;;) {
      size_t next = text.find('\n', end);
      next = next == std::string::npos ? text.size() : next + 1;
      if (next - start > kLine) break;
      end = next;
      if (end == text.size()) break;
    }
    if (end == start) end = std::min(text.size(), start + kLine);
    LogBoth("%s", text.substr(start, end - start).c_str());
    start = end;
  }
}

// Reads the leading bytes of a file, at most `limit`; false if it does not open.
bool readHead(const LightweightString<wchar_t>& path, unsigned int limit, std::string& bytes)
{
  Zr::Ptr<iFile> file = OS()->fileManager()->open(path, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
  if (!file) return false;
  std::vector<char> buffer(limit);
  unsigned int got = file->read(buffer.data(), limit);
  bytes.assign(buffer.data(), got);
  return true;
}

const char kMachineWarning[] =
  "\n*********************************************************\n"
  "***                                                   ***\n"
  "***  !! WARNING !!  Cannot find valid Machine Number. ***\n"
  "***                                                   ***\n"
  "***  You are strongly advised to ABORT and get help.  ***\n"
  "***                                                   ***\n"
  "*********************************************************\n\n";

} // namespace

CookieJar& CookieJar::instance()
{
  static CookieJar jar;
  return jar;
}

CookieJar::CookieJar() { init(); }

CookieJar::~CookieJar() { flush(); }

void CookieJar::init()
{
  const LightweightString<wchar_t>& path = getCookieDotNumPath();
  if (!readCookieNum(path)) {
    LogBoth("******************************************\n\n");
    LogBoth(" WARNING!!! UNABLE TO FIND COOKIE NUMBER FILE\n");
    // The path as UTF-8: "%ls" would fail on a non-ASCII name in the C locale.
    LogBoth(" in the current directory or (%s)\n", toUTF8(path).c_str());
    LogBoth(" This WILL cause repeat cookies and missing shots.\n");
    LogBoth(" System will attempt to repair automatically\n\n");
    LogBoth("******************************************\n");
    cookieNum();
  }
  if (!UserConfig().getValue("Normal Exit", false, "Configuration")) Log("previous run exited incorrectly\n");
  UserConfig().setValue("Normal Exit", false, "Configuration");
}

std::uint32_t CookieJar::cookieNum()
{
  const std::uint32_t taken = next_++;
  if (taken < std::uint32_t(Cookie::kMaxSerial)) return taken;
  LogBoth("CookieJar::cookieNum() : next Cookie number is too big! ...setting to zero\n");
  next_ = 0;
  return taken;
}

Cookie CookieJar::makeCookie(CookieType type, Cookie::eVersion version, int subType)
{
  if (type == CookieTypeI) return Cookie();
  if (version != Cookie::eShort) {
    Cookie cookie(type, Zr::UUID::generate(), subType);
    return cookie;
  }
  // A type or sub-type that can never make a short cookie would spin here
  // through every serial for ever.
  if (!Cookie(type, 0, subType, 1).valid()) return Cookie();
  for (;;) {
    Cookie cookie(type, int(cookieNum()), subType, Cookie::kLocalMachine);
    if (cookie.valid()) return cookie;
  }
}

void CookieJar::flush()
{
  if (next_ != lastSaved_) writeCookieNum(getCookieDotNumPath());
}

bool CookieJar::readCookieNum(const LightweightString<wchar_t>& path)
{
  std::string bytes;
  if (!readHead(path, 256, bytes)) return false;
  const long value = std::strtol(bytes.c_str(), nullptr, 10);
  if (value < 1 || value > Cookie::kMaxSerial) return false;
  next_ = std::uint32_t(value);
  lastSaved_ = next_;
  return true;
}

bool CookieJar::writeCookieNum(const LightweightString<wchar_t>& path)
{
  char text[16];
  const int n = std::snprintf(text, sizeof text, "%d", int(next_));
  ZrkFile file(path, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  bool ok = file.valid() && file.write(reinterpret_cast<unsigned char*>(text), unsigned(n));
  ok = file.close() && ok;
  if (ok) {
    lastSaved_ = next_;
    return true;
  }
  char block[512];
  std::snprintf(block, sizeof block,
                "******************************************\n\nWARNING!!! UNABLE TO UPDATE COOKIE NUMBER FILE\n(%s)\n "
                "This WILL cause repeat cookies and missing shots.\n DO SOMETHING NOW!!!\n \n "
                "**************************************\n",
                toUTF8(path).c_str());
  logBlock(block);
  return false;
}

const LightweightString<wchar_t>& CookieJar::getCookieDotNumPath()
{
  static const LightweightString<wchar_t> path = getDefaultLocalProjectsDir() + L"cookie.num";
  return path;
}

Cookie newCookie(CookieType type, int subType)
{
  CookieJar& jar = CookieJar::instance();
  return jar.makeCookie(type, jar.getDefaultCookieVersion(), subType);
}

int Cookie::localMachineNumber_ = 0;

int Cookie::getLocalMachineNumber()
{
  if (isValidMachineNum(localMachineNumber_)) return localMachineNumber_;
  localMachineNumber_ = our_machine_number_get_from_file();
  return localMachineNumber_;
}

int our_machine_number_get_from_file()
{
  const int setting = GlobalConfig().getValue("machine.num", 0, "");
  if (setting != 0) return setting;

  LightweightString<wchar_t> registryValue;
  if (OS()->registry()->readString(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Korvane\\Configuration", L"machine.num", "wow32",
                                   registryValue)) {
    const int number = int(std::wcstol(registryValue.c_str(), nullptr, 10));
    if (number != 0) return number;
  }

  iFileManager* files = OS()->fileManager();
  std::string bytes;
  bool opened = readHead(L"c:\\machine.num", 33, bytes) || readHead(L"machine.num", 33, bytes);
  if (!opened) {
    LightweightString<wchar_t> folder =
      OS()->locations()->getMachineApplicationFolder() + OS()->locations()->getMachineSubFolderName();
    if (!files->exists(folder)) files->makeDirectory(folder, true);
    folder.push_back(files->pathSeparator());
    const LightweightString<wchar_t> path = folder + L"machine.num";
    if (!files->exists(path)) {
      std::srand(unsigned(OS()->timer()->getMilliseconds()));
      int number = 0;
      while (number == 0 || number == Cookie::kReservedMachine) number = std::rand() % 2700;
      TextFile file;
      file.appendLine(LightweightString<char>(std::to_string(number).c_str()));
      file.save(path, TextFile::eLF);
    }
    opened = readHead(path, 33, bytes);
  }

  int number = 0;
  if (opened && std::sscanf(bytes.c_str(), "%d", &number) == 1 && isValidMachineNum(number)) return number;
  logBlock(kMachineWarning);
  return 0;
}

unsigned int Cookie::findHighestCookieNum()
{
  const int machine = getLocalMachineNumber();
  // A trusted setting may name a machine that no code can hold.
  const int encoded = encodeMachineNumber(machine);
  if (machine == 0 || encoded < 0) return 0;
  const unsigned short code = get2DigitBase52Map36Code(unsigned(encoded));
  unsigned int highest = 0;
  for (char type : {'P', 'E'}) {
    const wchar_t mask[] = {wchar_t(type), wchar_t(code & 0xFF), L'?', wchar_t(code >> 8), L'?', L'?', L'?', L'?', 0};
    std::vector<iFileManager::DirectoryItem> items;
    OS()->fileManager()->listDirectory(getProjectsBaseDirectory() + mask, true, true, items);
    for (const iFileManager::DirectoryItem& item : items) {
      const Cookie cookie(item.name, false);
      if (cookie.valid() && cookie.version() == eShort && int(cookie.machine()) == machine && cookie.serial() > highest)
        highest = cookie.serial();
    }
  }
  LogBoth("Highest Cookie num found is %u\n", highest);
  return highest;
}
