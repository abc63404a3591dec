// The reference host: starts the library as the editor does and shows each
// step on standard output. See Sandbox.h for where a run keeps its files
// and Steps.h for the steps.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "HostOptions.h"
#include "Sandbox.h"
#include "Steps.h"
#include "zrbase.h"

int main(int argc, char** argv)
{
  using namespace zrhost;
  // StartEnv takes wide arguments, which must live as long as it does.
  std::vector<LightweightString<wchar_t>> words;
  std::vector<wchar_t*> wideArgv;
  for (int i = 0; i < argc; ++i) words.push_back(fromUTF8(LightweightString<char>(argv[i])));
  for (auto& word : words) wideArgv.push_back(const_cast<wchar_t*>(word.c_str()));
  wideArgv.push_back(nullptr);
  StartEnv env(argc, wideArgv.data());
  env.init();

  HostOptions options;
  const std::string problem = readOptions(env, options);
  if (!problem.empty()) {
    std::fputs(problem.c_str(), stderr);
    return 2;
  }
  if (options.help) {
    std::fputs(helpText(env).c_str(), stdout);
    return 0;
  }

  if (!std::getenv(kRootVariable)) std::printf("zrhost: the reference host of zrbase\n");
  const int rc = runInSandbox(argv, options);
  if (rc >= 0) return rc;

  showCommandLine(env, options);
  showLocations();
  startLibrary();
  const Settings settings = showSettings();
  showCookies();
  showConsole();
  if (!options.quiet) showTour();
  showCommands();
  showObjects(options.objects);
  const unsigned short checker = runWorkers(settings.workers, options.seconds);
  shutDown(checker);
  std::printf("\nzrhost: done\n");
  return 0;
}
