// A tour of the platform layer under the library: locations, files,
// threads, strings and system information, as the host sees them.
#include <cstdio>
#include <vector>

#include "Report.h"
#include "Steps.h"
#include "zrbase.h"

namespace zrhost {

namespace {

LightweightString<char> narrow(const LightweightString<wchar_t>& w)
{
  return toUTF8(w);
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
  for (const auto& item : items) std::printf("listed %s, %lu bytes\n", narrow(item.name).c_str(), item.size);
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
  std::printf("invalid bytes decode with U+FFFD: %u characters\n", fromUTF8("\xff\xfe"
                                                                            "ab",
                                                                            4)
                                                                       .size());
  const Zr::UUID id = Zr::UUID::generate();
  std::printf("new UUID %s\n", id.asString().c_str());
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

void showTour()
{
  showFiles();
  showThreads();
  showStrings();
  showSystem();
}

} // namespace zrhost
