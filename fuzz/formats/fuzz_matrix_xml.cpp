// The matrix reader on arbitrary documents: each matrix type in turn reads the next "m",
// complex matrices read "c"; bad input must end in a ZrError.
#include <cstddef>
#include <cstdint>
#include <string>

#include "formats/ZrBarnXml.h"

namespace {

template <class M>
void ReadOne(ZrBarnXml& xml) {
  M m;
  try {
    xml.Value("m", m, "b");
  } catch (const ZrError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ZrBarnXml xml("r");
  try {
    xml.SetText(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const ZrError&) {
    return 0;
  }
  ReadOne<ZrFloatMatrix>(xml);
  ReadOne<ZrDoubleMatrix>(xml);
  ReadOne<ZrLongMatrix>(xml);
  ReadOne<ZrInt32Matrix>(xml);
  ReadOne<ZrLDoubleMatrix>(xml);
  ZrLComplexMatrix c;
  try {
    xml.Value("c", c, "t");
  } catch (const ZrError&) {
  }
  return 0;
}
