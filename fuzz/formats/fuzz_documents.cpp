// The document readers on arbitrary text: key record, series index and menu file. Whatever a
// reader takes in must write out again; for the key record and the series index, whose texts
// are escaped once, that text must read back to itself. (The menu file's extension list is
// escaped twice, and reading over-unescapes it, so "&amp;lt;" settles only after two trips.)
#include <cstddef>
#include <cstdint>
#include <string>

#include "formats/ZrKeyRecord.h"
#include "formats/ZrMenuFile.h"
#include "formats/ZrSeriesIndex.h"

namespace {

// Runs parse(text), writes what it gave and, when stable, checks that this text reads back to
// itself.
template <class Parse, class Write>
void Check(const std::string& text, Parse parse, Write write, bool stable) {
  std::string once;
  try {
    once = write(parse(text));
  } catch (const ZrError&) {
    return;
  }
  if (stable && write(parse(once)) != once) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  using Keys = std::pair<std::map<std::string, double>, std::map<std::string, std::string>>;
  Check(
      text,
      [](const std::string& t) {
        Keys k;
        ZrKeyRecordParse(t, "fuzz", k.first, k.second);
        return k;
      },
      [](const Keys& k) { return ZrKeyRecordText(k.first, k.second); }, true);
  Check(text, ZrSeriesIndexParse, ZrSeriesIndexText, true);
  using Menu = std::pair<std::vector<ZrMenuEntry>, std::vector<std::string>>;
  Check(
      text,
      [](const std::string& t) {
        Menu m;
        ZrMenuFileParse(t, m.first, m.second);
        return m;
      },
      [](const Menu& m) { return ZrMenuFileText(m.first, m.second); }, false);
  return 0;
}
