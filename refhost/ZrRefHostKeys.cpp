// Handlers of the key maps: named numbers and texts of an image window, of a series, and of
// the series' current image. A Set replaces the whole map.
#include "refhost/ZrRefHostHandlers.h"

namespace {

ZrSeriesEntry& CurrentEntry(ZrRefHostCall& call) {
  return call.host.CurrentEntry(call.Series());
}

void ImageKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("ImageKeyDouble", call.Window().keyDouble);
}

void ImageKeyDoubleSet(ZrRefHostCall& call) {
  call.request.Packer().KeyDoubleList("ImageKeyDouble", call.Window().keyDouble);
}

void ImageKeyStringGet(ZrRefHostCall& call) {
  call.Result("ImageKeyString", call.Window().keyString);
}

void ImageKeyStringSet(ZrRefHostCall& call) {
  call.request.Packer().KeyStringList("ImageKeyString", call.Window().keyString);
}

void SeriesKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("SeriesKeyDouble", call.Series().series.keyDouble);
}

void SeriesKeyStringGet(ZrRefHostCall& call) {
  call.Result("SeriesKeyString", call.Series().series.keyString);
}

void SeriesIndexKeyDoubleGet(ZrRefHostCall& call) {
  call.Result("SeriesIndexKeyDouble", CurrentEntry(call).keyDouble);
}

void SeriesIndexKeyDoubleSet(ZrRefHostCall& call) {
  call.request.Packer().KeyDoubleList("SeriesIndexKeyDouble", CurrentEntry(call).keyDouble);
}

void SeriesIndexKeyStringGet(ZrRefHostCall& call) {
  call.Result("SeriesIndexKeyString", CurrentEntry(call).keyString);
}

void SeriesIndexKeyStringSet(ZrRefHostCall& call) {
  call.request.Packer().KeyStringList("SeriesIndexKeyString", CurrentEntry(call).keyString);
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
