// UTF-8 conversion and UUIDs beside what a user would otherwise pick: utfcpp's
// checked conversions (into standard strings, as its convenience forms give)
// and libuuid.
#include <benchmark/benchmark.h>

#include <string>
#include <utf8.h>
#include <uuid/uuid.h>

#include "libzr/Strings.h"
#include "libzr/UUID.h"

namespace {

// About 4 KB of mixed text: English, German, Greek, Japanese and emoji, the
// mix of a project with international clip names.
std::string mixedText()
{
  const std::string piece = "Clip 12 \xE2\x80\x93 Stra\xC3\x9F"
                            "e bei Nacht, \xCE\xBA\xCE\xB1\xCE\xBB\xCE\xB7\xCE\xBC\xCE\xAD\xCF\x81\xCE\xB1 "
                            "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x8E\xAC take_03.mov; ";
  std::string text;
  while (text.size() < 4096) text += piece;
  return text;
}

std::string asciiText()
{
  const std::string piece = "C:\\ZRPROJ\\media\\reel_04\\clip_0017_take_03.mov ";
  std::string text;
  while (text.size() < 4096) text += piece;
  return text;
}

void fromUtf8Ours(benchmark::State& state, const std::string& source)
{
  const LightweightString<char> text(source.c_str(), unsigned(source.size()));
  for (auto _ : state) {
    LightweightString<wchar_t> wide = fromUTF8(text);
    benchmark::DoNotOptimize(wide.c_str());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}

void fromUtf8Peer(benchmark::State& state, const std::string& source)
{
  for (auto _ : state) {
    std::u32string wide = utf8::utf8to32(source);
    benchmark::DoNotOptimize(wide.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}

void toUtf8Ours(benchmark::State& state, const std::string& source)
{
  const LightweightString<wchar_t> wide = fromUTF8(source.c_str(), unsigned(source.size()));
  for (auto _ : state) {
    LightweightString<char> text = toUTF8(wide);
    benchmark::DoNotOptimize(text.c_str());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}

void toUtf8Peer(benchmark::State& state, const std::string& source)
{
  const std::u32string wide = utf8::utf8to32(source);
  for (auto _ : state) {
    std::string text = utf8::utf32to8(wide);
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}

BENCHMARK_CAPTURE(fromUtf8Ours, mixed, mixedText())->Name("fromUTF8 mixed text/ours");
BENCHMARK_CAPTURE(fromUtf8Peer, mixed, mixedText())->Name("fromUTF8 mixed text/peer:utfcpp");
BENCHMARK_CAPTURE(fromUtf8Ours, ascii, asciiText())->Name("fromUTF8 ASCII text/ours");
BENCHMARK_CAPTURE(fromUtf8Peer, ascii, asciiText())->Name("fromUTF8 ASCII text/peer:utfcpp");
BENCHMARK_CAPTURE(toUtf8Ours, mixed, mixedText())->Name("toUTF8 mixed text/ours");
BENCHMARK_CAPTURE(toUtf8Peer, mixed, mixedText())->Name("toUTF8 mixed text/peer:utfcpp");
BENCHMARK_CAPTURE(toUtf8Ours, ascii, asciiText())->Name("toUTF8 ASCII text/ours");
BENCHMARK_CAPTURE(toUtf8Peer, ascii, asciiText())->Name("toUTF8 ASCII text/peer:utfcpp");

void uuidGenerateOurs(benchmark::State& state)
{
  for (auto _ : state) {
    Zr::UUID id = Zr::UUID::generate();
    benchmark::DoNotOptimize(id);
  }
}
BENCHMARK(uuidGenerateOurs)->Name("UUID generate/ours");

void uuidGeneratePeer(benchmark::State& state)
{
  for (auto _ : state) {
    uuid_t id;
    uuid_generate_random(id);
    benchmark::DoNotOptimize(id);
  }
}
BENCHMARK(uuidGeneratePeer)->Name("UUID generate/peer:libuuid");

// Both write the 36 characters into a caller's buffer.
void uuidToTextOurs(benchmark::State& state)
{
  const Zr::UUID id = Zr::UUID::generate();
  char text[Zr::UUID::kTextLength + 1];
  for (auto _ : state) {
    benchmark::DoNotOptimize(id);
    id.format(text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(uuidToTextOurs)->Name("UUID to text/ours");

void uuidToTextPeer(benchmark::State& state)
{
  uuid_t id;
  uuid_generate_random(id);
  char text[37];
  for (auto _ : state) {
    benchmark::DoNotOptimize(id);
    uuid_unparse_upper(id, text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(uuidToTextPeer)->Name("UUID to text/peer:libuuid");

// The string form that callers of asString() pay for: the text plus one
// string block.
void uuidAsStringOurs(benchmark::State& state)
{
  const Zr::UUID id = Zr::UUID::generate();
  for (auto _ : state) {
    LightweightString<char> text = id.asString();
    benchmark::DoNotOptimize(text.c_str());
  }
}
BENCHMARK(uuidAsStringOurs)->Name("UUID asString/ours");

} // namespace
