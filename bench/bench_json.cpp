// Parsing speed of JSON objects: the library's insertion-ordered objects against nlohmann's
// std::map objects and its linear-scan ordered_json, for wide objects (hostile or broken
// replies) and a typical reply envelope.
#include <benchmark/benchmark.h>

#include <string>

#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaSDKUtils.h"

namespace {

std::string wideObject(int members) {
  std::string text = "{";
  for (int i = 0; i < members; ++i) {
    if (i) text += ',';
    text += "\"key" + std::to_string(i) + "\":" + std::to_string(i);
  }
  return text + "}";
}

const std::string kReply =
    R"({"state":{"code":0,"msg":"ok"},"data":{"gameAccountId":1234567890,"sessionToken":)"
    R"("3f2a9c1e-77b4-4d0e-9a51-0c2f7e8b9d10","nickName":"player\/one","level":42,)"
    R"("vip":false,"balance":1250.75,"items":[{"sku":"gem_pack_1","count":3},)"
    R"({"sku":"gold_2","count":10}],"serverTime":1700000000}})";

void BM_ZefaParseWideObject(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ZefaJsonText::parse(text));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ZefaParseWideObject)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_NlohmannMapParseWideObject(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(text));
}
BENCHMARK(BM_NlohmannMapParseWideObject)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Quadratic: 100,000 members take seconds, so only the smaller size runs here.
void BM_NlohmannOrderedParseWideObject(benchmark::State& state) {
  const std::string text = wideObject(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::ordered_json::parse(text));
}
BENCHMARK(BM_NlohmannOrderedParseWideObject)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_ZefaDecodeReply(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ZefaSDKUtils::jsonStringToDictionary(kReply));
}
BENCHMARK(BM_ZefaDecodeReply);

void BM_ZefaEncodeBody(benchmark::State& state) {
  const ZefaJsonObject body = *ZefaSDKUtils::jsonStringToDictionary(kReply);
  for (auto _ : state) benchmark::DoNotOptimize(ZefaSDKUtils::objectToJsonString(body));
}
BENCHMARK(BM_ZefaEncodeBody);

}  // namespace

BENCHMARK_MAIN();
