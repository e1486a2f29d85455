// Handlers of the key maps: named numbers and texts of an image window, of a series, and of
// the series' current image. A Set replaces the whole map.
#include "refhost/ZrRefHostHandlers.h"

namespace {

ZrSeriesEntry& CurrentEntry(ZrRefHostCall& call) {
  return call.Host.CurrentEntry(call.Series());
}

void ImageKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("ImageKeyDouble", call.Window().KeyDouble);
}

void ImageKeyDoubleSet(ZrRefHostCall& call) {
  call.Request.Packer().KeyDoubleList("ImageKeyDouble", call.Window().KeyDouble);
}

void ImageKeyStringGet(ZrRefHostCall& call) {
  call.Result("ImageKeyString", call.Window().KeyString);
}

void ImageKeyStringSet(ZrRefHostCall& call) {
  call.Request.Packer().KeyStringList("ImageKeyString", call.Window().KeyString);
}

void SeriesKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("SeriesKeyDouble", call.Series().Series.KeyDouble);
}

void SeriesKeyStringGet(ZrRefHostCall& call) {
  call.Result("SeriesKeyString", call.Series().Series.KeyString);
}

void SeriesIndexKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("SeriesIndexKeyDouble", CurrentEntry(call).KeyDouble);
}

void SeriesIndexKeyDoubleSet(ZrRefHostCall& call) {
  call.Request.Packer().KeyDoubleList("SeriesIndexKeyDouble", CurrentEntry(call).KeyDouble);
}

void SeriesIndexKeyStringGet(ZrRefHostCall& call) {
  call.Result("SeriesIndexKeyString", CurrentEntry(call).KeyString);
}

void SeriesIndexKeyStringSet(ZrRefHostCall& call) {
  call.Request.Packer().KeyStringList("SeriesIndexKeyString", CurrentEntry(call).KeyString);
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostKeyHandlers() {
  return {{ZrHostFunction::ImageKeyDoubleGet, ImageKeyDoubleGet},
          {ZrHostFunction::ImageKeyDoubleSet, ImageKeyDoubleSet},
          {ZrHostFunction::ImageKeyStringGet, ImageKeyStringGet},
          {ZrHostFunction::ImageKeyStringSet, ImageKeyStringSet},
          {ZrHostFunction::SeriesKeyDoubleGet, SeriesKeyDoubleGet},
          {ZrHostFunction::SeriesKeyStringGet, SeriesKeyStringGet},
          {ZrHostFunction::SeriesIndexKeyDoubleGet, SeriesIndexKeyDoubleGet},
          {ZrHostFunction::SeriesIndexKeyDoubleSet, SeriesIndexKeyDoubleSet},
          {ZrHostFunction::SeriesIndexKeyStringGet, SeriesIndexKeyStringGet},
          {ZrHostFunction::SeriesIndexKeyStringSet, SeriesIndexKeyStringSet}};
}
