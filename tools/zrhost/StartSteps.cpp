// The steps of start-up and shutdown, and the small ones between.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Report.h"
#include "Sandbox.h"
#include "Steps.h"
#include "zrbase.h"

namespace zrhost {

namespace {

std::string narrow(const LightweightString<wchar_t>& text)
{
  return toUTF8(text).c_str();
}

std::string configPath()
{
  std::string folder = narrow(OS()->fileManager()->getApplicationPath());
  if (!folder.empty() && folder.back() != '/') folder += '/';
  return folder + "config.dat";
}

// Copies the debug console's non-blank rows to standard output.
void printConsole(const char* prefix)
{
  Zr::Ptr<iStatusWindow> window = herc_window();
  for (int y = 0; window && y < window->height(); ++y) {
    const LightweightString<char> line = Zr::stripTrailingChars(toUTF8(window->getLine(y)), " ");
    if (!line.empty()) std::printf("%s%s\n", prefix, line.c_str());
  }
}

// One setting as the run uses it, and where its value came from.
struct SettingRow
{
  const char* name;
  std::string value;
  std::string dflt;
  const char* from;
};

const char* sourceOf(const char* name)
{
  const configb* overrides = GlobalConfig().overrides();
  if (overrides && overrides->find_var(name) != overrides->end()) return "config.dat";
  Zr::Ptr<iSettings> shared = OS()->registry()->getSettings(iSettings::eShared);
  if (shared && !shared->getValue(name, "", "").empty()) return "registry";
  return "default";
}

constexpr int kDefaultWorkers = 3;
constexpr int kSeededWorkers = 4;
constexpr int kMostWorkers = 16;

// The order numbers of the host's shutdown callbacks; co_shutdown is 700.
constexpr int kMarkExitOrder = 100;
constexpr int kFlushJarOrder = 450;
constexpr int kCheckOrder = 900;

std::vector<int> ranOrders;
unsigned short checkerId = 0;
bool checkerEnded = false;

void markCleanExit(Shutdown::eExitType)
{
  ranOrders.push_back(kMarkExitOrder);
  UserConfig().setValue("Normal Exit", true, "Configuration");
  std::printf("callback %d: marked the clean exit (\"Normal Exit\" of Configuration is true)\n",
              kMarkExitOrder);
}

void flushCookieJar(Shutdown::eExitType)
{
  ranOrders.push_back(kFlushJarOrder);
  CookieJar::instance().flush();
  std::printf("callback %d: flushed the cookie jar to %s\n", kFlushJarOrder,
              narrow(CookieJar::getCookieDotNumPath()).c_str());
}

void checkCoShutdown(Shutdown::eExitType)
{
  ranOrders.push_back(kCheckOrder);
  checkerEnded = coThreadId(checkerId) == 0;
  std::printf("callback %d: co_shutdown (700) ended the checker: %s\n", kCheckOrder,
              checkerEnded ? "yes" : "no");
}

} // namespace

void showCommandLine(StartEnv& env, const HostOptions& options)
{
  section("command line");
  std::printf("plain arguments: %d; debug %s, verbose %s\n", env.nargs(), env.debug() ? "on" : "off",
              env.verbose() ? "on" : "off");
  std::printf("objects %d, seconds %g, project %s, tour %s\n", options.objects, options.seconds,
              options.project.empty() ? "(none)" : options.project.c_str(), options.quiet ? "off" : "on");
}

void startLibrary()
{
  section("start-up");
  std::printf("order: except_init, service_init, config_init, co_init\n");
  std::printf("except_init() = %d: the crash banner's session starts here\n", except_init());
  std::printf("service_init() = %d: the service layer and its \"global int lock\"\n", service_init());

  const std::string config = configPath();
  const bool present = ::access(config.c_str(), F_OK) == 0;
  const int rc = config_init(config.c_str());
  if (rc != 0 && present)
    fail("config_init(" + config + ")", "the file has no end line \"}\" or cannot be read");
  if (rc != 0)
    std::printf("config_init(%s) = %d: no config.dat; the registry and the defaults stand\n", config.c_str(),
                rc);
  else
    std::printf("config_init(%s) = 0: %zu entries in configb::pconf_\n", config.c_str(),
                configb::pconf_ ? configb::pconf_->entries().size() : size_t(0));

  co_init();
  std::printf("co_init(): this thread is process %u, \"$ root\"\n", co_pid());
}

Settings showSettings()
{
  section("settings");
  Zr::Ptr<iSettings> shared = OS()->registry()->getSettings(iSettings::eShared);
  std::printf("registry: %s\n", narrow(shared->getFileName()).c_str());
  // A sandbox's first run puts one value in the registry, so that a run
  // shows each source; edit it or config.dat and run again.
  if (std::getenv(kRootVariable) && shared->getValue("zrhost_workers", "", "").empty()) {
    GlobalConfig().setValue("zrhost_workers", kSeededWorkers, "");
    std::printf("seeded zrhost_workers = %d in the registry (it had no value)\n", kSeededWorkers);
  }

  std::vector<SettingRow> rows;
  const auto readInt = [&](const char* name, int dflt) {
    const int value = config_int(name, dflt);
    rows.push_back({name, std::to_string(value), std::to_string(dflt), sourceOf(name)});
    return value;
  };
  readInt("herc_width", 80);
  readInt("herc_height", 25);
  const char* sysdat = config_string("sysdat_path", "C:\\ZRPROJ");
  rows.push_back({"sysdat_path", sysdat, "C:\\ZRPROJ", sourceOf("sysdat_path")});
  Settings settings;
  settings.workers = readInt("zrhost_workers", kDefaultWorkers);

  std::printf("%-16s %-12s %-12s %s\n", "setting", "value", "default", "from");
  std::string overridden;
  for (const SettingRow& row : rows) {
    std::printf("%-16s %-12s %-12s %s\n", row.name, row.value.c_str(), row.dflt.c_str(), row.from);
    if (row.value != row.dflt) overridden += std::string(overridden.empty() ? "" : ", ") + row.name;
  }
  std::printf("overridden defaults: %s\n", overridden.empty() ? "none" : overridden.c_str());
  if (settings.workers < 1 || settings.workers > kMostWorkers) {
    const int used = settings.workers < 1 ? 1 : kMostWorkers;
    std::printf("zrhost_workers %d is outside 1 to %d: %d are used\n", settings.workers, kMostWorkers, used);
    settings.workers = used;
  }

  const int runs = UserConfig().getValue("zrhost runs", 0, "Configuration") + 1;
  UserConfig().setValue("zrhost runs", runs, "Configuration");
  std::printf("run %d in these locations (\"zrhost runs\" of Configuration in the user store)\n", runs);
  return settings;
}

void showCookies()
{
  section("cookies and stamps");
  std::printf("well-known: video_black %s, audio_mix50 %s, invalid %s\n", video_black.asString().c_str(),
              audio_mix50.asString(true).c_str(), invalid_cookie.asString().c_str());
  const Cookie parsed("V00X0001", false);
  std::printf("\"V00X0001\" reads as type %c, serial %u, machine %u\n", parsed.type(), parsed.serial(),
              parsed.machine());
  std::printf("machine number %d; cookie.num at %s\n", Cookie::getLocalMachineNumber(),
              narrow(CookieJar::getCookieDotNumPath()).c_str());
  // The jar numbers short cookies across runs through cookie.num.
  const Cookie fresh = newCookie(CookieTypeE);
  const Cookie next = newCookie(CookieTypeP);
  if (!fresh.valid() || !next.valid() || next.serial() == fresh.serial())
    fail("taking cookies from the jar",
         "got " + std::string(fresh.asString().c_str()) + " and " + next.asString().c_str());
  std::printf("from the jar: %s (serial %u), %s (serial %u)\n", fresh.asString().c_str(), fresh.serial(),
              next.asString().c_str(), next.serial());
  const Cookie longForm(CookieTypeE, Zr::UUID::generate(), 3);
  std::printf("a long cookie: %s\n", longForm.asString(true).c_str());
  const IdStamp first, second;
  if (first == second)
    fail("making IdStamps", "two stamps are equal: " + std::string(first.asString().c_str()));
  std::printf("two IdStamps: %s, %s\n", first.asString().c_str(), second.asString().c_str());
}

void showConsole()
{
  section("debug console");
  herc_init();
  showDebugWindow(true);
  LogBoth("LogBoth reaches standard output and the console\n");
  herc_printf("herc_printf reaches the console only\n");
  printConsole("console| ");
}

void shutDown(unsigned short checker)
{
  section("shutdown");
  checkerId = checker;
  // Registered out of order: Shutdown runs them by their numbers.
  Shutdown::addCallback(checkCoShutdown, kCheckOrder);
  Shutdown::addCallback(markCleanExit, kMarkExitOrder);
  Shutdown::addCallback(flushCookieJar, kFlushJarOrder);
  std::printf("callbacks %d, %d, %d registered, with co_shutdown at 700 from co_init\n", kCheckOrder,
              kMarkExitOrder, kFlushJarOrder);
  Shutdown::executeCallbacks(Shutdown::eNormal);

  std::string order;
  for (int n : ranOrders) order += (order.empty() ? "" : " ") + std::to_string(n);
  const std::vector<int> expected = {kMarkExitOrder, kFlushJarOrder, kCheckOrder};
  if (ranOrders != expected) fail("the shutdown", "the callbacks ran as \"" + order + "\"");
  if (!checkerEnded) fail("the shutdown", "co_shutdown left the checker running");
  std::printf("callbacks ran in order: %s; isExiting: %s\n", order.c_str(),
              Shutdown::isExiting() ? "yes" : "no");
}

} // namespace zrhost
