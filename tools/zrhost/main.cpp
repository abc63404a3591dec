// The reference host: starts the library as the editor does (command line,
// crash path, services, configuration, debug console), shows what each step
// did, then exercises the platform layer end to end.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "zrbase.h"

namespace {

LightweightString<char> narrow(const LightweightString<wchar_t>& w) { return toUTF8(w); }

void section(const char* title) { std::printf("\n== %s\n", title); }

void showLocations()
{
  section("locations");
  iLocations* loc = OS()->locations();
  iFileManager* fm = OS()->fileManager();
  std::printf("user data (4):      %s\n", narrow(loc->getSpecialFolder(iLocations::eUserData)).c_str());
  std::printf("shared data (3):    %s\n", narrow(loc->getSpecialFolder(iLocations::eSharedData)).c_str());
  std::printf("machine folder:     %s%s/\n", narrow(loc->getMachineApplicationFolder()).c_str(),
              narrow(loc->getMachineSubFolderName()).c_str());
  std::printf("application path:   %s\n", narrow(fm->getApplicationPath()).c_str());
  std::printf("C:\\ZRPROJ maps to:  %s\n", narrow(fm->mapPath(L"C:\\ZRPROJ")).c_str());
}

void showFiles()
{
  section("files");
  iFileManager* fm = OS()->fileManager();
  const LightweightString<wchar_t> folder = L"C:\\zrhost";
  fm->makeDirectory(folder, true);
  const LightweightString<wchar_t> name = folder + L"\\hello.txt";
  const LightweightString<wchar_t> tmp = name + L".TMP";
  {
    Zr::Ptr<iFile> f = fm->open(tmp, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
    if (!f) {
      std::printf("could not open %s\n", narrow(fm->mapPath(tmp)).c_str());
      return;
    }
    const char text[] = "written through the .TMP twin\n";
    std::printf("wrote %u bytes to %s\n", f->write(text, sizeof text - 1), narrow(fm->mapPath(tmp)).c_str());
    Zr::Ptr<iFile> second = fm->open(tmp, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
    std::printf("a second open while it is held: %s\n", second ? "granted" : "refused (share mode)");
  }
  std::printf("durable rename to hello.txt: %s\n", fm->rename(tmp, name) ? "ok" : "failed");
  std::vector<iFileManager::DirectoryItem> items;
  fm->listDirectory(folder + L"\\*.txt", true, false, items);
  for (const auto& item : items)
    std::printf("listed %s, %lu bytes\n", narrow(item.name).c_str(), item.size);
}

void showRegistry()
{
  section("registry");
  Zr::Ptr<iSettings> user = OS()->registry()->getSettings(iSettings::eUser);
  const LightweightString<char> runs = user->getValue("zrhost runs", "0", "Configuration");
  const int count = std::atoi(runs.c_str()) + 1;
  user->setValue("zrhost runs", StringFromInteger(count), "Configuration");
  std::printf("run %d, stored in %s\n", count, narrow(user->getFileName()).c_str());
}

struct PingPong
{
  Zr::Ptr<iThreadEvent> ping;
  Zr::Ptr<iThreadEvent> pong;
  int rounds = 0;
};

iThread::eExecRC pongThread(void* arg)
{
  PingPong* pp = static_cast<PingPong*>(arg);
  for (int i = 0; i < 1000; ++i) {
    pp->ping->wait(iWaitable::kInfinite);
    ++pp->rounds;
    pp->pong->set();
  }
  return iThread::eOK;
}

void showThreads()
{
  section("threads");
  iThreadManager* tm = OS()->threadMgr();
  PingPong pp;
  pp.ping = tm->createEvent(false, false, nullptr);
  pp.pong = tm->createEvent(false, false, nullptr);
  iThread::Params params;
  params.launch = pongThread;
  params.arg = &pp;
  params.name = "$ zrhost pong";
  const double t0 = OS()->timer()->getMilliseconds();
  Zr::Ptr<iThread> thread = tm->createThread(params);
  for (int i = 0; i < 1000; ++i) {
    pp.ping->set();
    pp.pong->wait(iWaitable::kInfinite);
  }
  thread->waitForEnd(iWaitable::kInfinite);
  std::printf("thread \"%s\" (tid %u) answered %d pings in %.1f ms\n", thread->getName().c_str(),
              thread->getId(), pp.rounds, OS()->timer()->getMilliseconds() - t0);

  CriticalSection lock("zrhost lock");
  lock.enter();
  std::printf("critical section \"zrhost lock\" owned by tid %u (this thread is %u)\n", lock.owner(),
              tm->currentThreadId());
  lock.leave();
}

void showStrings()
{
  section("strings and identities");
  const LightweightString<wchar_t> wide = fromUTF8(LightweightString<char>("Caf\xc3\xa9 \xe2\x82\xac 12"));
  std::printf("decoded %u characters, encoded back: %s\n", wide.size(), toUTF8(wide).c_str());
  std::printf("invalid bytes decode with U+FFFD: %u characters\n",
              fromUTF8("\xff\xfe" "ab", 4).size());
  const Zr::UUID id = Zr::UUID::generate();
  std::printf("new UUID %s\n", id.asString().c_str());
}

void onShutdown(Shutdown::eExitType) { std::printf("shutdown callback ran\n"); }

// Copies the debug console's non-blank rows to standard output.
void printConsole(const char* prefix)
{
  Zr::Ptr<iStatusWindow> window = herc_window();
  for (int y = 0; window && y < window->height(); ++y) {
    const LightweightString<char> line = Zr::stripTrailingChars(narrow(window->getLine(y)), " ");
    if (!line.empty()) std::printf("%s%s\n", prefix, line.c_str());
  }
}

// The host's own options, as usage() and -help show them.
const wchar_t kOptions[] = L"-quiet -run <name>";
const wchar_t kPreamble[] = L"zrhost: the reference host of zrbase";

void showStartup(StartEnv& env)
{
  section("start-up");
  std::printf("except_init() = %d, service_init() = %d\n", except_init(), service_init());
  std::printf("command line: %d plain argument(s), debug %s, verbose %s\n", env.nargs(),
              env.debug() ? "on" : "off", env.verbose() ? "on" : "off");
  const wchar_t* run = env.optionArg(L"-run");
  std::printf("-run: %s\n", run ? narrow(run).c_str() : "(not given)");

  // config.dat beside the program overrides the registry; config_init reads
  // the one in the current folder or "\qor\dat\config.dat".
  std::printf("config_init(config.dat) = %d (%s)\n", config_init(nullptr),
              configb::pconf_ ? "read" : "no config.dat here or under \\qor\\dat");
  std::printf("herc_width = %d, herc_height = %d, sysdat_path = %s\n", config_int("herc_width", 80),
              config_int("herc_height", 25), config_string("sysdat_path", "C:\\ZRPROJ"));
  co_init();
  std::printf("co_init(): this thread is process %u\n", co_pid());
  const int runs = UserConfig().getValue("zrhost runs", 0, "Configuration") + 1;
  UserConfig().setValue("zrhost runs", runs, "Configuration");
  std::printf("UserConfig: run %d (\"zrhost runs\" in section Configuration)\n", runs);
}

void showCookies()
{
  section("cookies");
  std::printf("video_black %s, audio_mix50 %s, invalid %s\n", video_black.asString().c_str(),
              audio_mix50.asString(true).c_str(), invalid_cookie.asString().c_str());
  const Cookie parsed("V00X0001", false);
  std::printf("\"V00X0001\" reads as type %c, serial %u, machine %u\n", parsed.type(), parsed.serial(),
              parsed.machine());
  const Cookie longForm(CookieTypeE, Zr::UUID::generate(), 3);
  std::printf("a long-form cookie: %s\n", longForm.asString(true).c_str());

  // The jar numbers short cookies across runs through cookie.num.
  std::printf("machine number %d; cookie.num at %s\n", Cookie::getLocalMachineNumber(),
              narrow(CookieJar::getCookieDotNumPath()).c_str());
  const Cookie fresh = newCookie(CookieTypeE);
  const Cookie next = newCookie(CookieTypeP);
  std::printf("new cookies from the jar: %s (serial %u), %s (serial %u)\n", fresh.asString().c_str(),
              fresh.serial(), next.asString().c_str(), next.serial());
  const IdStamp first, second;
  std::printf("two stamps: %s, %s (%s)\n", first.asString().c_str(), second.asString().c_str(),
              first == second ? "equal!" : "different");
}

// A work item, pooled: after warm-up, making and dropping one takes no heap call.
struct WorkItem : ZrDC::DefaultPoolBase<WorkItem>
{
  unsigned long value = 0;
};

constexpr int kWorkers = 3;
constexpr int kItemsEach = 20000;

struct SharedWork
{
  RWLock lock{RWLock::ePreferWriters, 100, 1};
  unsigned long total = 0;  // guarded by lock
  std::atomic<int> done{0};
  std::atomic<int> reads{0};
};

iThread::eExecRC worker(void* arg)
{
  SharedWork& work = *static_cast<SharedWork*>(arg);
  for (int i = 1; i <= kItemsEach; ++i) {
    WorkItem* item = new WorkItem;
    item->value = (unsigned long)i;
    if (i % 8 == 0) {
      work.lock.enterAsReader();
      work.reads.fetch_add(work.total > 0 ? 1 : 0);
      work.lock.leaveAsReader();
    }
    work.lock.enterAsWriter();
    work.total += item->value;
    work.lock.leaveAsWriter();
    delete item;
  }
  work.done.fetch_add(1);
  return iThread::eOK;
}

void showWorkers()
{
  section("co-processes");
  static SharedWork work;
  for (int n = 1; n <= kWorkers; ++n) {
    char name[32];
    std::snprintf(name, sizeof name, "worker %d", n);
    co_create(worker, name, 0, &work, -1, 0);
  }
  co_print();
  for (int waited = 0; work.done.load() < kWorkers && waited < 30000; waited += 10) OS()->threadMgr()->sleep(10);
  const unsigned long expected = (unsigned long)kWorkers * kItemsEach * (kItemsEach + 1) / 2;
  std::printf("%d workers added %lu under the RWLock (expected %lu): %s\n", work.done.load(), work.total, expected,
              work.total == expected ? "ok" : "WRONG");
  std::printf("readers looked in %d times; pooled work items now idle: %u\n", work.reads.load(),
              Zr::Private::StackHolder<WorkItem>::getStack()->count());
  if (work.total != expected) std::exit(1);
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

void showSystem()
{
  section("system");
  iSystemInfo::MemoryInfo mem;
  OS()->systemInfo()->getMemoryInfo(mem);
  std::printf("%u processors, %lu MiB of %lu MiB physical memory free, this process %lu MiB\n",
              OS()->systemInfo()->getProcessorCount(), mem.freePhysical >> 20, mem.totalPhysical >> 20,
              mem.processSize >> 20);
  std::printf("keep-alive: %s\n", OS()->keepAlive() ? "told systemd" : "no supervisor (NOTIFY_SOCKET unset)");

  iStatusWindow::Params params;
  params.width = 40;
  params.height = 3;
  Zr::Ptr<iStatusWindow> window = OS()->createStatusWindow(params);
  window->putString(0, 0, L"status window line 1");
  window->putString(0, 1, L"status window line 2");
  window->scroll(0, 2, 1);
  std::printf("status window after a scroll: \"%s\"\n", narrow(window->getLine(0)).c_str());

  const auto stack = OS()->debug()->getStackTrace();
  std::printf("stack trace here, innermost frame: %s\n", stack.empty() ? "(none)" : stack[0].c_str());
}

} // namespace

int main(int argc, char** argv)
{
  // The library takes wide arguments.
  std::vector<LightweightString<wchar_t>> words;
  std::vector<wchar_t*> wideArgv;
  for (int i = 0; i < argc; ++i) words.push_back(fromUTF8(LightweightString<char>(argv[i])));
  for (auto& word : words) wideArgv.push_back(const_cast<wchar_t*>(word.c_str()));
  wideArgv.push_back(nullptr);
  StartEnv env(argc, wideArgv.data());
  env.init();
  const LightweightString<wchar_t> problem = env.usage(kOptions, 0, 0, kPreamble);
  if (!problem.empty()) {
    std::fprintf(stderr, "%s", narrow(problem).c_str());
    return 2;
  }
  if (env.arg(L"-help")) {
    herc_init();
    showDebugWindow(true);
    env.helpMessage(true);
    printConsole("");
    return 0;
  }

  std::printf("zrhost: the reference host of zrbase\n");
  showStartup(env);
  showCookies();
  showConsole();
  if (!env.arg(L"-quiet")) {
    showLocations();
    showFiles();
    showRegistry();
    showThreads();
    showStrings();
    showSystem();
  }
  showWorkers();
  section("shutdown");
  // A clean exit: the next start of the cookie jar will not warn.
  UserConfig().setValue("Normal Exit", true, "Configuration");
  CookieJar::instance().flush();
  Shutdown::addCallback(onShutdown, 700);
  Shutdown::executeCallbacks(Shutdown::eExitType(0));
  std::printf("isExiting: %s\n", Shutdown::isExiting() ? "yes" : "no");
  return 0;
}
