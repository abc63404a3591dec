// Reading a settings file of 10,000 entries and looking every key up: the
// settings block beside Qt's QSettings with its INI reader.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QSettings>
#include <QString>
#include <QStringList>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/configb.h"

namespace {

constexpr int kEntries = 10000;

struct Files
{
  std::string block;
  std::string ini;
  std::vector<std::string> names;
};

// The same entries in both formats, written once per run.
const Files& files()
{
  static const Files made = [] {
    Files f;
    const std::string dir = "/tmp/zr_bench_settings_" + std::to_string(getpid());
    mkdir(dir.c_str(), 0700);
    f.block = dir + "/config.dat";
    f.ini = dir + "/config.ini";
    std::ofstream block(f.block), ini(f.ini);
    block << "{\n";
    ini << "[General]\n";
    for (int i = 0; i < kEntries; ++i) {
      const std::string name = "setting_" + std::to_string(i);
      const std::string value = "value " + std::to_string(i * 7919) + " for the clip bin";
      f.names.push_back(name);
      block << "  " << name << " " << value << "\n";
      ini << name << "=" << value << "\n";
    }
    block << "}\n";
    // The files go when the run ends.
    static std::string folder = dir;
    std::atexit([] { std::filesystem::remove_all(folder); });
    return f;
  }();
  return made;
}

// QSettings keeps parsed files in a process-wide cache and reparses only a
// file whose time stamp moved, so each pass gives the file a new one.
void touch(const std::string& path)
{
  static long seconds = 1000000;
  const timespec times[2] = {{++seconds, 0}, {seconds, 0}};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

void readAllOurs(benchmark::State& state)
{
  const Files& f = files();
  for (auto _ : state) {
    configb block(f.block.c_str());
    size_t total = 0;
    for (const std::string& name : f.names) total += block.in(name.c_str()).size();
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kEntries);
}

void readAllQSettings(benchmark::State& state)
{
  const Files& f = files();
  const QString path = QString::fromStdString(f.ini);
  for (auto _ : state) {
    state.PauseTiming();
    touch(f.ini);
    state.ResumeTiming();
    QSettings settings(path, QSettings::IniFormat);
    qsizetype total = 0;
    for (const QString& key : settings.allKeys()) total += settings.value(key).toString().size();
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kEntries);
}

// Lookups alone, in a block already read: the cost of the case-insensitive map.
void lookupOurs(benchmark::State& state)
{
  const Files& f = files();
  const configb block(f.block.c_str());
  for (auto _ : state) {
    size_t total = 0;
    for (const std::string& name : f.names) total += block.in(name.c_str()).size();
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kEntries);
}

void lookupQSettings(benchmark::State& state)
{
  const Files& f = files();
  QSettings settings(QString::fromStdString(f.ini), QSettings::IniFormat);
  std::vector<QString> keys;
  for (const std::string& name : f.names) keys.push_back(QString::fromStdString(name));
  for (auto _ : state) {
    qsizetype total = 0;
    for (const QString& key : keys) total += settings.value(key).toString().size();
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kEntries);
}

} // namespace

BENCHMARK(readAllOurs)->Name("settings file 10k: read and look up all/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(readAllQSettings)
    ->Name("settings file 10k: read and look up all/peer:QSettings INI")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(lookupOurs)->Name("settings 10k: look up all, block in memory/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(lookupQSettings)
    ->Name("settings 10k: look up all, block in memory/peer:QSettings INI")
    ->Unit(benchmark::kMillisecond);
