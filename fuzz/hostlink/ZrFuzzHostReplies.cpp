// Arbitrary host answers through SetText, OpenCmd and the reading of every host operation,
// and arbitrary bytes as a shared-memory image block. Only ZrError may come out.
#include <cstddef>
#include <cstdint>
#include <string>

#include "hostlink/ZrHostReplies.h"
#include "hostlink/ZrSharedImageBlock.h"

namespace {

template <class F>
void Try(const std::string& text, F&& read) {
  try {
    ZrCmdPackUnpack response("r");
    response.SetText(text);
    read(response);
  } catch (const ZrError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The socket hands over text up to the first zero byte.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string text = bytes.substr(0, bytes.find('\0'));
  using namespace ZrHostReply;
  Try(text, [](ZrCmdPackUnpack& r) {
    r.OpenCmd();
    r.CloseCmd();
  });
  Try(text, [](ZrCmdPackUnpack& r) { WindowId(r, -1); });
  Try(text, [](ZrCmdPackUnpack& r) { IsModeImage(r); });
  Try(text, [](ZrCmdPackUnpack& r) { IsModeSeries(r); });
  Try(text, [](ZrCmdPackUnpack& r) { SharedMemoryKey(r); });
  Try(text, [](ZrCmdPackUnpack& r) {
    ZrFloatMatrix m;
    ImageMatrix(r, m);
  });
  Try(text, [](ZrCmdPackUnpack& r) { RegionId(r, 0); });
  Try(text, [](ZrCmdPackUnpack& r) {
    ZrLongMatrix m;
    IdList(r, m);
  });
  Try(text, [](ZrCmdPackUnpack& r) {
    ZrRegion region;
    RegionRecord(r, region);
  });
  Try(text, [](ZrCmdPackUnpack& r) {
    float a = 0, b = 0, c = 0;
    MinMaxAverage(r, a, b, c);
  });
  Try(text, [](ZrCmdPackUnpack& r) { Count(r); });
  Try(text, [](ZrCmdPackUnpack& r) { FileName(r); });
  for (const char* key : {"ImageKeyDouble", "SeriesKeyDouble", "SeriesIndexKeyDouble"}) {
    Try(text, [key](ZrCmdPackUnpack& r) {
      std::map<std::string, double> m;
      KeyDoubles(r, key, m);
    });
  }
  for (const char* key : {"ImageKeyString", "SeriesKeyString", "SeriesIndexKeyString"}) {
    Try(text, [key](ZrCmdPackUnpack& r) {
      std::map<std::string, std::string> m;
      KeyStrings(r, key, m);
    });
  }
  Try(text, [](ZrCmdPackUnpack& r) {
    bool a = false, b = false;
    Loaded(r, a, b);
  });
  try {
    ZrFloatMatrix image;
    ZrSharedImageBlock::Decode(data, static_cast<int64_t>(size), image);
  } catch (const ZrError&) {
  }
  return 0;
}
