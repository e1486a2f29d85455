// A small series index for the tests that write, read or load one: two images beside the
// index's folder ("../in/img0.rawf", "../in/img1.rawf") with a key each, and series keys that
// need escaping.
#pragma once

#include "formats/ZrSeriesIndex.h"

inline ZrSeriesIndex ZrTestSeriesIndex() {
  ZrSeriesIndex index;
  index.KeyDouble = {{"energy", 95.5}};
  index.KeyString = {{"sample", "Cu(111) <clean>"}};
  for (int i = 0; i < 2; ++i) {
    index.Entries.push_back({"../in/img" + std::to_string(i) + ".rawf", {{"t", i}}, {}});
  }
  return index;
}
