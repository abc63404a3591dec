// Commands and the string table: what a key press reaches at the end of its
// way, and the texts that a user sees.
#include <cstdio>
#include <filesystem>
#include <string>

#include "Report.h"
#include "Steps.h"
#include "zrbase.h"

namespace zrhost {

namespace {

// The host's own command, registered while the program loads as every
// module of the editor registers its commands.
const CommandRegistrar printProcesses("zrhostPrintProcesses", &co_print, nullptr, CommandMapRec::eUserVisible,
                                      UIString(L"Print the process table"),
                                      UIString(L"Logs every co-process with its state"), MapItem());

void showCommand(const char* name)
{
  const unsigned int index = CommandMap::instance()->findCommand(name);
  if (index == CommandMap::kNoCommand) fail(std::string("finding the command ") + name, "it is not registered");
  const CommandMapRec* record = CommandMap::instance()->getCommand(index);
  std::printf("command %u: %s, %s, %s\n", index, name,
              record->attribs() & CommandMapRec::eUserVisible ? "user-visible" : "internal",
              record->defaultMapItem().valid() ? "with a default key" : "no default key");
}

} // namespace

void showCommands()
{
  section("commands and strings");
  std::printf("%u commands in the table\n", CommandMap::instance()->size());
  showCommand("_DumpCurrentMemoryAllocs");
  showCommand("_Crash");
  showCommand("zrhostPrintProcesses");
  const unsigned int found =
      CommandMap::instance()->findCommandByDisplayName(LightweightString<wchar_t>(L"print THE process table"));
  std::printf("found by its display name, in any case: command %u\n", found);
  std::printf("running \"zrhostPrintProcesses\" by name through CommandMap::callCommand:\n");
  std::fflush(stdout);
  CommandMap::instance()->callCommand("zrhostPrintProcesses", Cmd::Context());
  std::fflush(stdout);

  // A missing string table is fatal to the library, so a run placed by its
  // caller without one leaves the table alone.
  const LightweightString<char> folder = toUTF8(getLanguageFileDir());
  if (!std::filesystem::is_regular_file(std::string(folder.c_str()) + "strings.txt")) {
    std::printf("no strings.txt in %s: the string table is left alone\n", folder.c_str());
    return;
  }
  std::printf("strings.txt from %s\n", folder.c_str());
  const std::size_t strings = Zr::Language::getStringTable().size();
  std::printf("%zu strings; the product (13572) is \"%s\", yes and no are \"%s\" and \"%s\"\n", strings,
              resourceStr(13572, eResStrAsStored).c_str(), yesNoLabels().first, yesNoLabels().second);
  std::printf("\"$PRODUCTNAME$ project\" reads \"%s\"; an unknown number reads \"%s\"\n",
              toUTF8(makeProductSpecific(LightweightString<wchar_t>(L"$PRODUCTNAME$ project"))).c_str(),
              resourceStr(123456789, eResStrAsStored).c_str());
}

} // namespace zrhost
