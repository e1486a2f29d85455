// Handlers of the window functions: focus, new windows, modes and file names.
#include <QFileInfo>

#include "refhost/ZrRefHostHandlers.h"

namespace {

std::string BaseName(const std::string& path) {
  return QFileInfo(QString::fromStdString(path)).fileName().toStdString();
}

void Update(ZrRefHostCall&) {}

void WindowGetFocusedID(ZrRefHostCall& call) {
  call.Result("IDDocChildWindow", call.host.focus);
}

void ImageNewWindow(ZrRefHostCall& call) {
  call.Result("IDDocChildWindow", call.host.NewWindow(ZrRefHostWindow()));
}

// A window that does not exist is in no mode.
void GetIsModeImage(ZrRefHostCall& call) {
  const auto it = call.host.windows.find(call.window);
  call.Result("isModeImage", it != call.host.windows.end() && it->second.mode == "image");
}

void GetIsModeSeries(ZrRefHostCall& call) {
  const auto it = call.host.windows.find(call.window);
  call.Result("isModeSeries", it != call.host.windows.end() && it->second.isSeries);
}

// Without its folder; of a series, the current image's.
void GetFileName(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Window();
  call.Result("filenameUtf8", BaseName(w.isSeries ? call.host.CurrentEntry(w).file : w.fileName));
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostWindowHandlers() {
  return {{ZrHostFunction::Update, Update},
          {ZrHostFunction::WindowGetFocusedID, WindowGetFocusedID},
          {ZrHostFunction::ImageNewWindow, ImageNewWindow},
          {ZrHostFunction::GetIsModeImage, GetIsModeImage},
          {ZrHostFunction::GetIsModeSeries, GetIsModeSeries},
          {ZrHostFunction::GetFileName, GetFileName}};
}
