// Main-thread building blocks beside their references, in one binary and one run: decoding a
// reply envelope and larger texts (the library against nlohmann's parse and simdjson's),
// wide objects (hostile or broken replies), encoding a request body, a log call with logging off,
// the main queue's cost per task and the static-info record's round trip. The "allocs" counter
// is the number of heap allocations per iteration.
#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"
#include "platform/linux/ZefaRunLoop.h"

namespace {
std::atomic<long> allocations{0};
}  // namespace

// The replacements below pair malloc with free; g++ sees only the operators' names when it
// inlines them and warns of a mismatch that is not one.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// Counts every heap allocation of the program, so a benchmark can show how many it makes.
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

// Runs the benchmark's loop body and reports heap allocations per iteration.
template <class Body>
void measure(benchmark::State& state, Body body) {
  const long before = allocations.load(std::memory_order_relaxed);
  for (auto _ : state) body();
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(allocations.load(std::memory_order_relaxed) - before) /
                         static_cast<double>(state.iterations()));
}

std::string wideObject(int members) {
  std::string text = "{";
  for (int i = 0; i < members; ++i) {
    if (i) text += ',';
    text += "\"key" + std::to_string(i) + "\":" + std::to_string(i);
  }
  return text + "}";
}

// A reply envelope of about 300 bytes whose "data" object has 14 members.
const std::string kReply =
    R"({"state":{"code":0,"msg":"ok"},"data":{"gameAccountId":1234567890,"sessionToken":)"
    R"("3f2a9c1e-77b4-4d0e-9a51","nickName":"player\/one","level":42,"vip":false,)"
    R"("balance":1250.75,"items":[{"sku":"gem","count":3}],"serverTime":1700000000,)"
    R"("region":"eu","locale":"en","guild":null,"rank":7,"avatar":"a\/42.png","flags":[1,2]}})";

// About 100 KB: an array of records like the envelope's "data".
std::string largeText() {
  std::string text = "[";
  const std::string record = kReply.substr(kReply.find("\"data\":") + 7);
  while (text.size() < 100 * 1024) text += record.substr(0, record.size() - 1) + ",";
  text.back() = ']';
  return text;
}

const std::string kLarge = largeText();

void BM_DecodeReply_Zefa(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(ZefaSDKUtils::jsonStringToDictionary(kReply)); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kReply.size()));
}
BENCHMARK(BM_DecodeReply_Zefa);

void BM_DecodeReply_Nlohmann(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(nlohmann::json::parse(kReply)); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kReply.size()));
}
BENCHMARK(BM_DecodeReply_Nlohmann);

void BM_DecodeReply_SimdjsonDom(benchmark::State& state) {
  simdjson::dom::parser parser;
  const simdjson::padded_string padded(kReply);
  measure(state, [&] { benchmark::DoNotOptimize(parser.parse(padded).error()); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kReply.size()));
}
BENCHMARK(BM_DecodeReply_SimdjsonDom);

void BM_Decode100KB_Zefa(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(ZefaSDKUtils::jsonStringToArray(kLarge)); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLarge.size()));
}
BENCHMARK(BM_Decode100KB_Zefa)->Unit(benchmark::kMicrosecond);

void BM_Decode100KB_Nlohmann(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(nlohmann::json::parse(kLarge)); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLarge.size()));
}
BENCHMARK(BM_Decode100KB_Nlohmann)->Unit(benchmark::kMicrosecond);

void BM_Decode100KB_SimdjsonDom(benchmark::State& state) {
  simdjson::dom::parser parser;
  const simdjson::padded_string padded(kLarge);
  measure(state, [&] { benchmark::DoNotOptimize(parser.parse(padded).error()); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLarge.size()));
}
BENCHMARK(BM_Decode100KB_SimdjsonDom)->Unit(benchmark::kMicrosecond);

void BM_WideObject_Zefa(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  measure(state, [&] { benchmark::DoNotOptimize(ZefaJsonText::parse(text)); });
}
BENCHMARK(BM_WideObject_Zefa)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The same after a small text, which frees the large text's parser: its memory is faulted in
// anew, as for the first large reply after ordinary traffic.
void BM_WideObject_Zefa_AfterSmall(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  measure(state, [&] {
    benchmark::DoNotOptimize(ZefaJsonText::parse(kReply));
    benchmark::DoNotOptimize(ZefaJsonText::parse(text));
  });
}
BENCHMARK(BM_WideObject_Zefa_AfterSmall)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_WideObject_NlohmannMap(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  measure(state, [&] { benchmark::DoNotOptimize(nlohmann::json::parse(text)); });
}
BENCHMARK(BM_WideObject_NlohmannMap)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Quadratic: 100,000 members take seconds, so only the smaller size runs here.
void BM_WideObject_NlohmannOrdered(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  measure(state, [&] { benchmark::DoNotOptimize(nlohmann::ordered_json::parse(text)); });
}
BENCHMARK(BM_WideObject_NlohmannOrdered)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_EncodeBody_Zefa(benchmark::State& state) {
  const ZefaJson body = *ZefaSDKUtils::jsonStringToDictionary(kReply);
  measure(state, [&] { benchmark::DoNotOptimize(ZefaSDKUtils::objectToJsonString(body)); });
}
BENCHMARK(BM_EncodeBody_Zefa);

void BM_EncodeBody_NlohmannDump(benchmark::State& state) {
  const nlohmann::json body = nlohmann::json::parse(kReply);
  measure(state, [&] { benchmark::DoNotOptimize(body.dump()); });
}
BENCHMARK(BM_EncodeBody_NlohmannDump);

void BM_LogInfoWhenOff(benchmark::State& state) {
  ZefaLog::setShowLog(false);
  const std::string id = "3f2a9c1e-77b4-4d0e-9a51-0c2f7e8b9d10";
  measure(state, [&] { ZefaLog::i([&] { return "call " + id + " finished"; }); });
}
BENCHMARK(BM_LogInfoWhenOff);

// Posting a task to the run loop and draining it, in batches of 64 (the calls in flight).
void BM_MainQueueTask(benchmark::State& state) {
  ZefaRunLoop loop;
  long ran = 0;
  measure(state, [&] {
    for (int i = 0; i < 64; ++i) loop.async([&ran] { ++ran; });
    while (loop.runOnce() > 0) {
    }
  });
  state.SetItemsProcessed(state.iterations() * 64);
  benchmark::DoNotOptimize(ran);
}
BENCHMARK(BM_MainQueueTask);

void BM_StaticInfoRoundTrip(benchmark::State& state) {
  ZefaStaticInfo info("bench-game");
  info.appVersion = "1.2.3";
  info.deviceid = "BENCH-DEVICE";
  info.platform = "linux";
  info.model = "x86_64";
  info.isVpn = 0;
  measure(state, [&] {
    const auto text = ZefaSDKUtils::modelToJsonString(info);
    benchmark::DoNotOptimize(ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(*text));
  });
}
BENCHMARK(BM_StaticInfoRoundTrip);

}  // namespace

BENCHMARK_MAIN();
