// Cookie text forms: printing a cookie and reading it back, as every file
// name of an edit does. The long form stands beside libuuid's text codec,
// which a user would otherwise pick for the UUID inside it; libuuid's work is
// the 36-character part only, so the comparison flatters the peer slightly.
#include <benchmark/benchmark.h>

#include <cstring>
#include <uuid/uuid.h>

#include "identity/Cookie.h"

namespace {

const Cookie& shortCookie()
{
  static const Cookie c(CookieTypeE, 1234567, 3, 1999);
  return c;
}

const Cookie& longCookie()
{
  static const Cookie c(CookieTypeP, Zr::UUID::generate(), 7);
  return c;
}

void peerUuid(uuid_t out)
{
  std::memcpy(out, longCookie().uuid().data(), sizeof(uuid_t));
}

void ShortRoundTripOurs(benchmark::State& state)
{
  const Cookie& source = shortCookie();
  for (auto _ : state) {
    const LightweightString<char> text = source.asString(true);
    const Cookie back(text.c_str(), true);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(ShortRoundTripOurs)->Name("cookie short text round trip/ours");

void LongRoundTripOurs(benchmark::State& state)
{
  const Cookie& source = longCookie();
  for (auto _ : state) {
    const LightweightString<char> text = source.asString(true);
    const Cookie back(text.c_str(), true);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(LongRoundTripOurs)->Name("cookie long text round trip/ours");

void LongRoundTripPeer(benchmark::State& state)
{
  uuid_t source;
  peerUuid(source);
  for (auto _ : state) {
    char text[37];
    uuid_unparse_upper(source, text);
    uuid_t back;
    benchmark::DoNotOptimize(uuid_parse(text, back));
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(LongRoundTripPeer)->Name("cookie long text round trip/peer:libuuid");

void LongToTextOurs(benchmark::State& state)
{
  const Cookie& source = longCookie();
  for (auto _ : state) {
    const LightweightString<char> text = source.asString(true);
    benchmark::DoNotOptimize(text.c_str());
  }
}
BENCHMARK(LongToTextOurs)->Name("cookie long to text/ours");

void LongToTextPeer(benchmark::State& state)
{
  uuid_t source;
  peerUuid(source);
  for (auto _ : state) {
    char text[37];
    uuid_unparse_upper(source, text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(LongToTextPeer)->Name("cookie long to text/peer:libuuid");

void LongFromTextOurs(benchmark::State& state)
{
  const LightweightString<char> text = longCookie().asString(true);
  for (auto _ : state) {
    const Cookie back(text.c_str(), true);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(LongFromTextOurs)->Name("cookie long from text/ours");

void LongFromTextPeer(benchmark::State& state)
{
  uuid_t source;
  peerUuid(source);
  char text[37];
  uuid_unparse_upper(source, text);
  for (auto _ : state) {
    uuid_t back;
    benchmark::DoNotOptimize(uuid_parse(text, back));
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(LongFromTextPeer)->Name("cookie long from text/peer:libuuid");

void ShortFromTextOurs(benchmark::State& state)
{
  const LightweightString<char> text = shortCookie().asString(true);
  for (auto _ : state) {
    const Cookie back(text.c_str(), true);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(ShortFromTextOurs)->Name("cookie short from text/ours");

} // namespace
