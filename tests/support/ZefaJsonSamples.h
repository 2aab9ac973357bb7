#pragma once
// JSON values that tests build rather than parse.
#include <utility>

#include "ZefaBase/ZefaJson.h"

// {"deep": [[...[1]...]]} with `depth` arrays, built without recursion (as a caller's code might).
inline ZefaJsonObject zefaNestedObject(int depth) {
  ZefaJson value = 1;
  for (int i = 0; i < depth; ++i) {
    ZefaJsonArray wrapper;
    wrapper.push_back(std::move(value));
    value = std::move(wrapper);
  }
  ZefaJsonObject object;
  object.emplace("deep", std::move(value));
  return object;
}
